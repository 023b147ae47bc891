#pragma once

#include <QJsonObject>
#include <QNetworkAccessManager>
#include <QProcess>
#include <QString>
#include <QUrl>

// A real Chromium without a window, driven through chromedriver. It does not touch the user's profile or home, and
// its network services are off. Its processes end with the object.
class Browser final
{
public:
    explicit Browser(const QString &directory); // for profile and home
    ~Browser();
    Q_DISABLE_COPY(Browser)

    static bool isInstalled();
    bool start(); // false when it does not start; errorText() has the reason
    QString errorText() const { return m_error; }

    bool open(const QUrl &url);
    bool openTab(const QUrl &url); // and makes it the current one
    bool goToTab(int number);
    // Elements by CSS selector; empty or false when there is none.
    QString text(const QString &selector);
    QString attribute(const QString &selector, const QString &name);
    bool click(const QString &selector);
    bool type(const QString &selector, const QString &text);

private:
    bool startDriver();
    QJsonValue command(const QByteArray &verb, const QString &path, const QJsonObject &body = {});
    bool did(const QByteArray &verb, const QString &path, const QJsonObject &body = {});
    QString element(const QString &selector);

    const QString m_directory;
    QProcess m_driver;
    QNetworkAccessManager m_network;
    QString m_address; // of the driver
    QString m_session; // path of the session
    QString m_error;
};
