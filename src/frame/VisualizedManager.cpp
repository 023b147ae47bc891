#include "frame/VisualizedManager.h"
#include "base/Log.h"
#include "frame/EventRequest.h"
#include "login/LoginDialogCreator.h"
#include "message/MsgCenterDlg.h"
#include "message/NotifyWnd.h"
#include "tarn/keys/UpgradeKeys.h"
#include "upgrade/UpgradeDialog.h"
#include <QCoreApplication>
#include <QThread>

namespace silent = tarn::upgrade::silent;

std::atomic<CVisualizedManager *> CVisualizedManager::_pInst{nullptr};
QMutex CVisualizedManager::instLock;

CVisualizedManager *CVisualizedManager::GetInstance()
{
    CVisualizedManager *instance = _pInst.load(std::memory_order_acquire);
    if (instance)
        return instance;
    const QMutexLocker locker(&instLock);
    instance = _pInst.load(std::memory_order_relaxed);
    if (!instance) {
        instance = new CVisualizedManager;
        _pInst.store(instance, std::memory_order_release);
    }
    return instance;
}

void CVisualizedManager::FreeInstance()
{
    LoginDialogCreator::FreeInst();
    delete _pInst.load();
    _pInst.store(nullptr);
}

CVisualizedManager::CVisualizedManager()
{
    // The first call may come from an RPC thread, whose events nobody delivers.
    if (QCoreApplication::instance())
        moveToThread(QCoreApplication::instance()->thread());
}

CVisualizedManager::~CVisualizedManager()
{
    if (m_msgCenterDlg)
        m_msgCenterDlg->close();
    deleteDialogs();
    const QPointer<NotifyWnd> notice = m_notifyWnd;
    CloseNotifyWnd();
    delete notice;       // not left to an event loop that may not run again
    delete m_upgradeDlg; // with its polling; the tasks are the upgrade service's and go on
}

bool CVisualizedManager::YunDiaIsExist() const
{
    return LoginDialogCreator::getInst()->DiaIsExist();
}

int CVisualizedManager::getSilentPatchInstallState(const QString &softName)
{
    const QMutexLocker locker(&m_silentStateLock);
    const auto it = m_silentStates.find(softName);
    if (it == m_silentStates.end())
        return silent::Installing;
    const int state = *it;
    if (state == silent::Done || state == silent::Failed)
        m_silentStates.erase(it);
    return state;
}

void CVisualizedManager::setSilentPatchInstallState(const QString &softName, int state)
{
    const QMutexLocker locker(&m_silentStateLock);
    if (state == silent::Installing)
        m_silentStates.remove(softName); // what an unknown name answers, so that nothing is kept for it
    else
        m_silentStates.insert(softName, state);
}

void CVisualizedManager::CloseNotifyWnd()
{
    if (!m_notifyWnd)
        return;
    VT_LOG(info) << QStringLiteral("关闭通知栏窗口。消息ID:%1").arg(m_notifyWnd->GetMsgId());
    m_notifyWnd->close();
    m_notifyWnd.clear();
}

bool CVisualizedManager::event(QEvent *e)
{
    if (!e)
        return false;
    using Handler = void (CVisualizedManager::*)(QEvent *);
    static constexpr struct
    {
        QEvent::Type type;
        Handler handle;
    } routes[] = {
        {CVisualizedEvents::eShowCloudLoginDialog, &CVisualizedManager::ShowCloudLoginDlg},
        {CVisualizedEvents::eShowNotifyMsgDialog, &CVisualizedManager::ShowNotifyMessageDlg},
        {CVisualizedEvents::eShowNetLockLoginDialog, &CVisualizedManager::ShowNetLockDlg},
        {CVisualizedEvents::eShowMessageCenterDialog, &CVisualizedManager::ShowMessageCenterDlg},
        {CVisualizedEvents::eNotifyLicParentFinish, &CVisualizedManager::NotifyLicParentFinish},
        {CVisualizedEvents::eNotifyCloudParentFinish, &CVisualizedManager::NotifyCloudParentFinish},
        {CVisualizedEvents::eShowUpgradeExplainDialog, &CVisualizedManager::showUpgradeExplainDialog},
        {CVisualizedEvents::eShowAutoCheckUpdateDialog, &CVisualizedManager::showAutoCheckUpdateDialog},
        {CVisualizedEvents::eShowUpgradeDownloadDialog, &CVisualizedManager::showUpgradeDownloadDialog},
        {CVisualizedEvents::eShowUpgradeCurExplainDialog, &CVisualizedManager::showUpgradeCurExplainDialog},
        {CVisualizedEvents::eShowSilentPatchInstallDialog, &CVisualizedManager::showSilentPatchInstallDialog},
    };
    const QPointer<CVisualizedManager> self(this);
    for (const auto &route : routes) {
        if (route.type != e->type())
            continue;
        (this->*route.handle)(e);
        break;
    }
    // A window may run an event loop in which the service is torn down.
    return self ? QObject::event(e) : true;
}

void CVisualizedManager::onShowExplain(QString softName)
{
    VT_LOG(info) << QStringLiteral("自动检测升级展现更新说明窗口：当前软件名称为：%1。").arg(softName);
}
