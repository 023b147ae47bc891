#pragma once
#include <QVariant>
#include <QWidget>

class QPushButton;

namespace upgrade::controls {

/// First cell of an upgrade row: the product's icon, name and installed version, never refreshed. GUI thread.
class CSoftInfoItem final : public QWidget
{
    Q_OBJECT
public:
    /// @param info a display row. The inner widgets are created by ensureBuilt(): of thousands of rows a handful is seen.
    explicit CSoftInfoItem(const QVariant &info, QWidget *parent = nullptr);

    QMap<QString, QVariant> GetOnlineInfo() const { return m_info; } ///< the row's part for this cell
    QString spokenText() const;                                      ///< name and version for screen readers
    void ensureBuilt();

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    void InitUi();
    QWidget *InitLeftWidget();
    QWidget *InitRightWidget();
    void elideName();

    const QMap<QString, QVariant> m_info;
    QPushButton *m_name = nullptr; ///< null until the cell is built
};

} // namespace upgrade::controls
