#include "frame/VisualizedManager.h"
#include "base/Log.h"
#include "login/LoginDialogCreator.h"
#include "message/MsgCenterDlg.h"
#include "message/NoticeQueue.h"
#include "message/NotifyWnd.h"
#include "tarn/keys/UpgradeKeys.h"
#include "widgets/Look.h"
#include <QCoreApplication>
#include <algorithm>
#include <type_traits>

using namespace tarn::visualized;

namespace silent = tarn::upgrade::silent;

namespace {
constexpr int MaxNameSize = 256; // characters
constexpr int MaxStates = 64;    // of products for which no caller asks any more
} // namespace

CVisualizedManager *CVisualizedManager::_pInst = nullptr;
QMutex CVisualizedManager::instLock;

CVisualizedManager *CVisualizedManager::GetInstance()
{
    const QMutexLocker locker(&instLock);
    if (!_pInst)
        _pInst = new CVisualizedManager;
    return _pInst;
}

void CVisualizedManager::FreeInstance()
{
    LoginDialogCreator::FreeInst();
    delete _pInst;
    _pInst = nullptr;
}

CVisualizedManager::CVisualizedManager()
{
    // The first call may come from an RPC thread, which has no event loop.
    if (QCoreApplication::instance())
        moveToThread(QCoreApplication::instance()->thread());
}

// The end of the online-upgrade window ends the polling; the tasks belong to the upgrade service and continue.
CVisualizedManager::~CVisualizedManager()
{
    NoticeQueue::instance().clear();
    CloseNotifyWnd();
    if (m_msgCenterDlg)
        m_msgCenterDlg->close();
    look::deleteWindows(); // the others unclosed: close() would ask questions
}

bool CVisualizedManager::YunDiaIsExist() const
{
    return LoginDialogCreator::getInst()->DiaIsExist();
}

int CVisualizedManager::getSilentPatchInstallState(const QString &softName)
{
    const QMutexLocker locker(&m_silentStateLock);
    const int state = m_silentStates.value(softName, silent::Installing);
    if (state == silent::Done || state == silent::Failed) {
        m_silentStates.remove(softName);
        m_silentOrder.removeOne(softName);
    }
    return state;
}

void CVisualizedManager::setSilentPatchInstallState(const QString &softName, int state)
{
    if (softName.size() > MaxNameSize) {
        VT_LOG(warning) << QStringLiteral("【记录静默补丁安装状态】时传入的名称或地址过长，操作失败");
        return;
    }
    const QMutexLocker locker(&m_silentStateLock);
    m_silentStates.insert(softName, state);
    m_silentOrder.removeOne(softName);
    m_silentOrder.append(softName);
    if (m_silentOrder.size() <= MaxStates)
        return;
    // An installation that is not stored is answered like one that is; an end state would be lost.
    const auto installing = std::find_if(m_silentOrder.cbegin(), m_silentOrder.cend(), [this](const QString &name) {
        return m_silentStates.value(name) == silent::Installing;
    });
    const int victim = installing == m_silentOrder.cend() ? 0 : int(installing - m_silentOrder.cbegin());
    m_silentStates.remove(m_silentOrder.takeAt(victim));
}

void CVisualizedManager::CloseNotifyWnd()
{
    if (!m_notifyWnd)
        return;
    VT_LOG(info) << QStringLiteral("关闭通知栏窗口。消息ID:%1").arg(m_notifyWnd->GetMsgId());
    m_notifyWnd->close();
    m_notifyWnd.clear();
}

template <class Data>
void CVisualizedManager::handle(QEvent *e, void (CVisualizedManager::*handler)(const Data &))
{
    const auto *request = dynamic_cast<CVisualizedEvents *>(e);
    const auto *data = request ? dynamic_cast<const Data *>(request->GetEventData()) : nullptr;
    if (!data)
        return;
    if constexpr (!std::is_same_v<Data, CNotifyMsgEventData>) {
        if (!data->inputArgs)
            return;
    }
    (this->*handler)(*data);
}

bool CVisualizedManager::event(QEvent *e)
{
    if (!e)
        return false;
    using M = CVisualizedManager;
    using E = CVisualizedEvents;
    const QPointer<CVisualizedManager> self(this);
    const auto on = [this, e](QEvent::Type type, auto handler) { // of the calls below, the one for its type handles it
        if (e->type() == type)
            handle(e, handler);
    };
    on(E::eShowCloudLoginDialog, &M::ShowCloudLoginDlg);
    on(E::eShowNotifyMsgDialog, &M::ShowNotifyMessageDlg);
    on(E::eShowNetLockLoginDialog, &M::ShowNetLockDlg);
    on(E::eShowMessageCenterDialog, &M::ShowMessageCenterDlg);
    on(E::eNotifyLicParentFinish, &M::NotifyLicParentFinish);
    on(E::eNotifyCloudParentFinish, &M::NotifyCloudParentFinish);
    on(E::eShowUpgradeExplainDialog, &M::showUpgradeExplainDialog);
    on(E::eShowAutoCheckUpdateDialog, &M::showAutoCheckUpdateDialog);
    on(E::eShowUpgradeDownloadDialog, &M::showUpgradeDownloadDialog);
    on(E::eShowUpgradeCurExplainDialog, &M::showUpgradeCurExplainDialog);
    on(E::eShowSilentPatchInstallDialog, &M::showSilentPatchInstallDialog);
    // A window may run an event loop in which destroy() deletes the manager.
    return self ? QObject::event(e) : true;
}

void CVisualizedManager::onShowExplain(QString softName)
{
    VT_LOG(info) << QStringLiteral("自动检测升级展现更新说明窗口：当前软件名称为：%1。").arg(softName);
}
