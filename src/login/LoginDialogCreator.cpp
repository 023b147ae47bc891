#include "login/LoginDialogCreator.h"
#include "base/Log.h"
#include "login/AccountSignIn.h"
#include "login/CloudCalls.h"
#include "login/QueryQRCodeResult.h"
#include "login/YunLoginDlg.h"
#include "upgrade/ProcessChecker.h"
#include "widgets/BringToFront.h"
#include "widgets/ForeignWindow.h"
#include "widgets/Placement.h"
#include "widgets/Toolkit.h"
#include <QCoreApplication>
#include <QThreadPool>
#include <utility>

using namespace tarn::visualized;
using ServiceVisualized::CToolkit;

namespace {
// A poller between two polls ends within 100 ms. One that hangs in a call ends when the connections are cut, later.
constexpr int PollersMs = 500;
constexpr int ThreadsMs = 1000; // for threads whose connections are cut
} // namespace

LoginDialogCreator *LoginDialogCreator::s_instance = nullptr;
QMutex LoginDialogCreator::s_lock;

LoginDialogCreator *LoginDialogCreator::getInst()
{
    const QMutexLocker locker(&s_lock);
    if (!s_instance)
        s_instance = new LoginDialogCreator;
    return s_instance;
}

void LoginDialogCreator::FreeInst()
{
    delete std::exchange(s_instance, nullptr);
    delete AccountSignIn::current(); // its late answer has no receiver any more
    if (!CQueryQRCodeResult::waitForStopped(PollersMs))
        VT_LOG(warning) << QStringLiteral("【云登录】扫码结果查询仍在等待云服务的应答。");
}

void LoginDialogCreator::joinThreads()
{
    if (!cloudcalls::pool().waitForDone(ThreadsMs))
        VT_LOG(warning) << QStringLiteral("【云登录】登录线程仍在等待云服务的应答。");
    CQueryQRCodeResult::deleteStopped(ThreadsMs);
}

LoginDialogCreator::LoginDialogCreator()
{
    // The first call can come from an RPC thread, which runs no event loop.
    if (QCoreApplication::instance())
        moveToThread(QCoreApplication::instance()->thread());
}

// Deletes the dialog now: the event loop may not run again. look::deleteWindows() deletes those that are closed.
LoginDialogCreator::~LoginDialogCreator()
{
    delete m_dialog.exchange(nullptr);
}

void LoginDialogCreator::show(QSharedPointer<ICloudLoginNotify> notify, void *parentHandle)
{
    startCheck();
    const bool fromActiveWindow = foreign::isActive(quintptr(parentHandle)); // the dialog itself is active later
    CYunLoginDialog *dialog = m_dialog;
    if (!dialog)
        dialog = createDialog();
    // A further request must not take the keyboard away from the field that the user is typing in.
    const QPointer<QWidget> typing = dialog->isVisible() && dialog->isActiveWindow() ? dialog->focusWidget() : nullptr;
    CToolkit::MoveToParentCenter(dialog, parentHandle, 0);
    dialog->SetLoginNotify(std::move(notify));
    dialog->SetYunLockError(m_yunLockErrorTip);
    front::bringToFront(dialog);
    if (typing)
        typing->setFocus(Qt::OtherFocusReason);
    else if (fromActiveWindow)
        dialog->focusEmptyField();
}

CYunLoginDialog *LoginDialogCreator::createDialog()
{
    auto *dialog = new CYunLoginDialog; // deletes itself, see front::bringToFront()
    connect(dialog, &CYunLoginDialog::LoginDialogClosed, this, &LoginDialogCreator::onDialogClosed);
    connect(dialog, &QObject::destroyed, this, &LoginDialogCreator::onDialogClosed);
    m_dialog = dialog;
    // For a caller without a window, or with one that cannot be read.
    dialog->move(placement::availableFor(dialog).center() - dialog->rect().center());
    return dialog;
}

// The sender can be a closing dialog while the next one is already open.
void LoginDialogCreator::onDialogClosed()
{
    if (sender() != static_cast<QObject *>(m_dialog.load()))
        return;
    m_dialog = nullptr;
    stopCheck(false);
}

void LoginDialogCreator::setSoftware(const QString &exeName, const QString &softId)
{
    m_exeName = exeName;
    m_softId = softId;
}

void LoginDialogCreator::closeDlg()
{
    if (CYunLoginDialog *dialog = m_dialog)
        dialog->close();
}

void LoginDialogCreator::startCheck()
{
    if (!m_checker) {
        m_checker = std::make_unique<CProcessChecker>();
        connect(m_checker.get(), &CProcessChecker::processNoFind, this, &LoginDialogCreator::closeDlg);
    }
    m_checker->setProcessName(m_exeName);
    if (!m_checker->isRunning())
        m_checker->start(QThread::InheritPriority);
}

void LoginDialogCreator::stopCheck(bool)
{
    m_checker.reset(); // a stopped checker cannot be started again
}
