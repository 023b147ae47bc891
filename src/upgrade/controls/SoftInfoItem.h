#pragma once
#include "upgrade/controls/LazyCell.h"
#include <QVariant>

namespace upgrade::controls {

/// First cell of an upgrade row: the product's icon, name and installed version, never refreshed. GUI thread.
class CSoftInfoItem final : public LazyCell
{
    Q_OBJECT
public:
    /// @param info a display row
    explicit CSoftInfoItem(const QVariant &info, QWidget *parent = nullptr);

    QMap<QString, QVariant> GetOnlineInfo() const { return m_info; } ///< the row's part for this cell
    QString spokenText() const override { return m_name + QStringLiteral("，") + versionText(); }

protected:
    void build() override { InitUi(); }
    void paintEvent(QPaintEvent *event) override;

private:
    void InitUi();
    QWidget *InitLeftWidget();
    QWidget *InitRightWidget();
    QString versionText() const;

    const QMap<QString, QVariant> m_info;
    const QString m_name;
};

} // namespace upgrade::controls
