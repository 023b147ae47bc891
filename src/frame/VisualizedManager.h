#pragma once
#include "frame/VisualizedEvents.h"
#include "frame/WindowHost.h"
#include <QMap>
#include <QMutex>
#include <QObject>
#include <QPointer>
#include <QStringList>
#include <optional>

class CCheckUpdateDial;
class CInstallSilentPatchDlg;
class CMsgCenterDlg;
class CUpdateExplainDial;
class CUpgradeDialog;
class NotifyWnd;
class QRect;

/// Owns the service's windows and answers the questions of the operations about them. Lives on the application's thread,
/// also when an RPC thread creates it; the handlers run there. Other threads reach it through CManagerAccess.
class CVisualizedManager final : public QObject, public WindowHost
{
    Q_OBJECT
public:
    static CVisualizedManager *GetInstance(); ///< any thread
    static void FreeInstance();               ///< GUI thread; closes the windows
    ~CVisualizedManager() override;           ///< by FreeInstance() only

    bool YunDiaIsExist() const; ///< any thread
    /// One of tarn::upgrade::silent; an end state is returned once and then forgotten. Any thread.
    int getSilentPatchInstallState(const QString &softName);
    /// Keeps the states of the newest 64 products; a name of more than 256 characters is refused.
    void setSilentPatchInstallState(const QString &softName, int state) override;
    void CloseNotifyWnd();
    void CloseAutoUpdateDialog() override { m_autoUpdateDlg.clear(); }
    void RemoveUpdExpDlg(const QString &softName) override { m_explainDlgs.remove(softName); }
    void RemoveSilentInstDlg(const QString &softName) override { m_silentDlgs.remove(softName); }
    void showUpgradeDialog(); ///< the one online-upgrade window, created for the first request and kept
    /// Removes the platform's own assistant: it is never offered in the check-update prompt.
    static void FilterVtSoftMgr(QList<QVariant> &list);

    bool event(QEvent *e) override;

public slots:
    void onShowExplain(QString softName);

private:
    CVisualizedManager();

    /// Calls a handler with the event's data; not when the data is another request's or its input object is missing.
    template <class Data>
    void handle(QEvent *e, void (CVisualizedManager::*handler)(const Data &));

    void ShowCloudLoginDlg(const CCloudLoginEventData &data);
    void ShowNotifyMessageDlg(const CNotifyMsgEventData &data);
    void ShowMessageCenterDlg(const CMsgCenterEventData &data);
    /// The network-licence sign-in is not part of this product; its two requests are refused before they are posted.
    void ShowNetLockDlg(const CNetLockLoginEventData &) {}
    void NotifyLicParentFinish(const CNotifyLicEventData &) {}
    void NotifyCloudParentFinish(const CNotifyCloudEventData &data);
    void showUpgradeExplainDialog(const CUpgradeExplainEveData &data);
    void showAutoCheckUpdateDialog(const CAutoCheckUpdateEveData &data);
    void showUpgradeDownloadDialog(const CUpgradeDownloadEveData &) { showUpgradeDialog(); }
    void showUpgradeCurExplainDialog(const CUpgradeExplainEveData &data);
    void showSilentPatchInstallDialog(const CSilentPatchInstallEveData &data);

    template <class Dialog>
    void showNotes(const char *function, const CUpgradeExplainEveData &data, const QString &beginning,
                   bool (*hasContent)(const QVariantMap &), const QString &empty);

    /// Asks the cloud account service; empty when it did not answer, which is then logged.
    static std::optional<int> queryLoginState();
    void showNotice(const QMap<QString, QVariant> &values);
    void showWaitingNotice();
    void replaceNotice();
    /// Centres the message center over the caller's window, or on its own screen (a new one: the primary screen) where
    /// no window was given.
    void placeMessageCenter(const QRect &parentWindow);

    QPointer<NotifyWnd> m_notifyWnd;
    QPointer<CMsgCenterDlg> m_msgCenterDlg; ///< null as soon as it is closed
    QMutex m_autoUpdateLock;
    QPointer<CCheckUpdateDial> m_autoUpdateDlg;
    QMutex m_upgradeLock;
    QPointer<CUpgradeDialog> m_upgradeDlg;
    QMap<QString, QPointer<CUpdateExplainDial>> m_explainDlgs; ///< by product; new versions' and patches' notes alike
    QMutex m_silentStateLock;
    QMap<QString, int> m_silentStates;                            ///< by software name
    QMap<QString, QPointer<CInstallSilentPatchDlg>> m_silentDlgs; ///< by software name

    QStringList m_silentOrder; ///< the names of m_silentStates, the one stored last at the end; under the same lock

    static CVisualizedManager *_pInst;
    static QMutex instLock;
};
