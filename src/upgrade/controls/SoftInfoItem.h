#pragma once
#include <QVariant>
#include <QWidget>

class QPushButton;

namespace upgrade::controls {

/// First cell of an upgrade row: the product's icon, name and installed version. They are never refreshed. GUI thread.
class CSoftInfoItem final : public QWidget
{
    Q_OBJECT
public:
    /// WhenSeen: for a list of thousands that shows a handful. The inner widgets are made by the first setSeen(true), and
    /// the row's own ground (white, selected, under the cursor) shows through.
    enum class Build { Now, WhenSeen };

    /// @param info a display row
    explicit CSoftInfoItem(const QVariant &info, QWidget *parent = nullptr, Build build = Build::Now);

    QMap<QString, QVariant> GetOnlineInfo() const { return m_info; } ///< the row's part for this cell
    void setSeen(bool seen);

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
