#pragma once
#include "frame/WindowHost.h"
#include <QMap>
#include <QMutex>
#include <QObject>
#include <QPointer>
#include <QQueue>
#include <QSharedPointer>
#include <QVariant>
#include <atomic>
#include <optional>

class CCheckUpdateDial;
class CInstallSilentPatchDlg;
class CMsgCenterDlg;
class CUpdateExplainDial;
class CUpgradeDialog;
class IUpgaredSoftInfoService_InputParam;
class NotifyWnd;
class QDialog;
class QRect;

/// Owns the service's windows and answers what the operations ask about them. Lives on the application's thread, also
/// when an RPC thread makes it; the handlers run there. Other threads reach it through CManagerAccess.
class CVisualizedManager final : public QObject, public WindowHost
{
    Q_OBJECT
public:
    static CVisualizedManager *GetInstance(); ///< any thread
    static void FreeInstance();               ///< GUI thread; closes the windows
    ~CVisualizedManager() override;           ///< by FreeInstance() only

    bool YunDiaIsExist() const; ///< any thread
    /// Any thread. 1 installing or unknown, 2 done, 99 failed; the two end states are told once and then forgotten.
    int getSilentPatchInstallState(const QString &softName);
    void setSilentPatchInstallState(const QString &softName, int state) override;
    void CloseNotifyWnd();
    void CloseAutoUpdateDialog() override;
    void RemoveUpdExpDlg(const QString &softName) override;
    void RemoveSilentInstDlg(const QString &softName) override;
    void showUpgradeDialog(); ///< the one online-upgrade window, made for the first request and kept
    /// Removes the platform's own assistant: it is never offered in the check-update prompt.
    static void FilterVtSoftMgr(QList<QVariant> &list);

    bool event(QEvent *e) override;

public slots:
    void onShowExplain(QString softName);

private slots:
    void onMessageCenterClosed();

private:
    CVisualizedManager();

    void ShowCloudLoginDlg(QEvent *e);
    void ShowNotifyMessageDlg(QEvent *e);
    void ShowNetLockDlg(QEvent *e);
    void ShowMessageCenterDlg(QEvent *e);
    void NotifyLicParentFinish(QEvent *e);
    void NotifyCloudParentFinish(QEvent *e);
    void showUpgradeExplainDialog(QEvent *e);
    void showAutoCheckUpdateDialog(QEvent *e);
    void showUpgradeDownloadDialog(QEvent *e);
    void showUpgradeCurExplainDialog(QEvent *e);
    void showSilentPatchInstallDialog(QEvent *e);

    void closeExplainDlg(const QString &softName);
    template <class Dialog>
    void openExplainDlg(const QString &softName, const QSharedPointer<IUpgaredSoftInfoService_InputParam> &input);
    void keepTrack(QDialog *dialog);
    void deleteDialogs();

    /// Asks the cloud account service; empty when it did not answer, which is then logged.
    static std::optional<int> queryLoginState();
    void showNotice(const QMap<QString, QVariant> &values);
    void showWaitingNotice();
    void replaceNotice();
    /// Centres the message center over the caller's window, or on its screen where no window was given.
    void placeMessageCenter(const QRect &parentWindow);

    QPointer<NotifyWnd> m_notifyWnd;
    QPointer<CMsgCenterDlg> m_msgCenterDlg; ///< null as soon as it is closed
    QMutex m_upgradeLock;
    QPointer<CUpgradeDialog> m_upgradeDlg;
    QQueue<QMap<QString, QVariant>> m_waitingNotices; ///< arrived before the one on the screen could be painted
    QMutex m_autoUpdateLock;
    QPointer<CCheckUpdateDial> m_autoUpdateDlg;
    QMap<QString, QPointer<CUpdateExplainDial>> m_explainDlgs; ///< by product; new versions' and patches' notes alike
    QList<QPointer<QDialog>> m_dialogs; ///< all that may still live, also those that were replaced or are closing
    QMutex m_silentStateLock;
    QMap<QString, int> m_silentStates;                            ///< by software name
    QMap<QString, QPointer<CInstallSilentPatchDlg>> m_silentDlgs; ///< by software name

    static std::atomic<CVisualizedManager *> _pInst;
    static QMutex instLock;
};
