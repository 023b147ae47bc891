#pragma once

#include <QDesktopServices>
#include <QUrl>

// Takes the links of some schemes instead of the desktop's browser.
class LinkTaker final : public QObject
{
    Q_OBJECT
public:
    explicit LinkTaker(const QStringList &schemes)
        : m_schemes(schemes)
    {
        for (const QString &scheme : m_schemes)
            QDesktopServices::setUrlHandler(scheme, this, "take");
    }
    ~LinkTaker() override
    {
        for (const QString &scheme : m_schemes)
            QDesktopServices::unsetUrlHandler(scheme);
    }
    QStringList urls;

public slots:
    void take(const QUrl &url) { urls.append(url.toString()); }

private:
    const QStringList m_schemes;
};
