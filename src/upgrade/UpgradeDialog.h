#pragma once
#include "widgets/WindowDrag.h"
#include <QDialog>
#include <QSystemTrayIcon>

class QFrame;
class QMenu;
class QPushButton;
class QStackedWidget;

namespace upgrade::controls {
class CUpgradeTableWidget;
}
namespace upgrade::operate {
class CUpgradeDataRefresher;
}

/// The online-upgrade window: the running downloads and installations, from request to end. One per process, shown again
/// for every request; minimised it lives in the system tray. GUI thread.
class CUpgradeDialog final : public QDialog
{
    Q_OBJECT
public:
    explicit CUpgradeDialog(QWidget *parent = nullptr);
    ~CUpgradeDialog() override;

    void showUpgradeDialog(); ///< polls at once and from now on every second

public slots:
    void onOpenTriggered();
    void onActivated(QSystemTrayIcon::ActivationReason reason);
    void onMinumBtnClicked();
    void onCloseBtnClicked(); ///< asks first while tasks run
    void onClose();           ///< stops every task and the polling, hides the window and its tray icon

protected:
    void mousePressEvent(QMouseEvent *event) override;
    void mouseMoveEvent(QMouseEvent *event) override;
    void mouseReleaseEvent(QMouseEvent *event) override;
    void keyPressEvent(QKeyEvent *event) override;
    void closeEvent(QCloseEvent *event) override;

private slots:
    void showCurrentView(); ///< the table, or the notice that it is empty

private:
    void initDialog();
    void initTitleBar(QWidget *titleBar);
    void initCenterWidget(QWidget *center);
    void initHasDataView(QWidget *view);
    void initNoDataView(QWidget *view);
    void initTray();
    QFrame *windowFrame();
    void dismissBoxes();
    void showAgain();

    upgrade::controls::CUpgradeTableWidget *m_table = nullptr;
    upgrade::operate::CUpgradeDataRefresher *m_refresher = nullptr;
    QWidget *m_dataView = nullptr;
    QWidget *m_noDataView = nullptr;
    QStackedWidget *m_views = nullptr;
    QSystemTrayIcon *m_tray = nullptr;
    QMenu *m_trayMenu = nullptr;
    WindowDrag m_drag{this};
    bool m_working = false; ///< between showUpgradeDialog() and onClose()
    bool m_askingToClose = false;
    bool m_missingTrayLogged = false;
};
