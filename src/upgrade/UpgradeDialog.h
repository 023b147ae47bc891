#pragma once
#include "upgrade/operate/UpgradeDataRefresh.h"
#include "widgets/ToolDialog.h"
#include <QSystemTrayIcon>

class QStackedLayout;
class TitleButton;
enum class eBoxOrigin;

namespace upgrade::controls {
class CUpgradeTableWidget;
}

/// The online-upgrade window: the running downloads and installations. One per process, shown again for every request;
/// minimised it is reached through its tray icon. GUI thread.
class CUpgradeDialog final : public tarn::visualized::ToolDialog
{
    Q_OBJECT
public:
    explicit CUpgradeDialog(QWidget *parent = nullptr);

    void showUpgradeDialog(); ///< polls at once, then every second

public slots:
    void onOpenTriggered();
    void onActivated(QSystemTrayIcon::ActivationReason reason);
    void onMinumBtnClicked(); ///< hides the window into the tray; without a tray lowers it
    void onCloseBtnClicked(); ///< asks first while tasks run
    void onClose();           ///< stops every task and the polling, hides the window and its tray icon

protected:
    void keyPressEvent(QKeyEvent *event) override;
    void closeEvent(QCloseEvent *event) override;
    bool focusNextPrevChild(bool next) override;

private slots:
    void showCurrentView(); ///< the table, or the notice that it is empty
    void showWithoutTray(); ///< a tray that has disappeared gives its window back

private:
    void initDialog();
    void initTitleBar(QWidget *titleBar);
    void initCenterWidget(QWidget *center);
    void initHasDataView(QWidget *view);
    void initNoDataView(QWidget *view);
    void initTray();
    void askToClose(eBoxOrigin origin);

    upgrade::controls::CUpgradeTableWidget *m_table = nullptr;
    upgrade::operate::CUpgradeDataRefresher m_refresher;
    QStackedLayout *m_views = nullptr;
    QSystemTrayIcon *m_tray = nullptr;
    TitleButton *m_minimiseButton = nullptr;
    TitleButton *m_closeButton = nullptr;
    bool m_closedByUser = false;
    bool m_askingToClose = false;
};
