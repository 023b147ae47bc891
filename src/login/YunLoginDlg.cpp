#include "login/YunLoginDlg.h"
#include "login/AccountSignIn.h"
#include "login/LoginPage.h"
#include "login/WaitNotice.h"
#include "tarn/keys/CloudKeys.h"
#include "widgets/BringToFront.h"
#include "widgets/CustomLineEdit.h"
#include "widgets/WebLink.h"
#include <QApplication>
#include <QCloseEvent>
#include <QTabWidget>
#include <QUuid>
#include <utility>

using namespace tarn::visualized;
namespace key = tarn::cloud::key;

namespace {
constexpr int PhoneLength = 11;
constexpr int ShortestCode = 6;
constexpr int SecondsBetweenCodes = 60;

/// Calls under the wait cursor: the call holds the GUI thread.
template <class Call>
auto underWaitCursor(Call call)
{
    QApplication::setOverrideCursor(Qt::WaitCursor);
    const auto result = call();
    QApplication::restoreOverrideCursor();
    return result;
}

void notifyAfterAccount(const LoginCaller &caller)
{
    cloudcalls::notify(caller, QStringLiteral("开始通知云登录后事件"));
}

void notifyAfterScan(const LoginCaller &caller)
{
    cloudcalls::notify(caller, QStringLiteral("扫码登录：开始通知云登录后事件"), QStringLiteral("快捷登录成功。"));
}

QPointer<CYunLoginDialog> newest; // the dialog created last
} // namespace

CYunLoginDialog::CYunLoginDialog(QWidget *parent, const Rhythm &rhythm)
    : ToolDialog(parent, Qt::Dialog)
    , m_caller(std::make_shared<QSharedPointer<ICloudLoginNotify>>())
    , m_rhythm(rhythm)
{
    newest = this;
    InitDialog();
}

CYunLoginDialog::~CYunLoginDialog()
{
    leave();
}

void CYunLoginDialog::FillMemoryLoginInfo()
{
    auto memory = call(service::cloud(), &ICloudServiceAssistant::GetMemoryLoginInfo, {},
                       {key::LoginModel, key::AutoLoginStored, key::RememberPassword, key::RememberPhone,
                        key::StoredAccount, key::StoredPassword, key::StoredPhone});
    if (!memory.called())
        return; // InitCloudAddr() logs that there is no assistant
    if (memory.accepted())
        return fillFrom(std::move(memory.values));
    VT_LOG(critical) << memory.failure(
        QStringLiteral("【获取记忆的云账号登录信息】rpc接口通信失败，记录错误码为：%1，错误信息为：%2"),
        QStringLiteral("【获取记忆的云账号登录信息】获取失败，返回错误码为：%1，错误信息为：%2"));
}

void CYunLoginDialog::fillFrom(QVariantMap memory)
{
    m_tabs->setCurrentIndex(memory.value(key::LoginModel).toInt() == 0 ? 1 : 0); // crossed, deliberately
    const bool automatic = memory.value(key::AutoLoginStored).toBool();
    const bool password = memory.value(key::RememberPassword).toBool();
    const bool phone = memory.value(key::RememberPhone).toBool();
    QString secret = memory.take(key::StoredPassword).toString();
    m_accountPage->fill(
        {memory.value(key::StoredAccount).toString(), password ? secret : QString(), automatic, automatic || password});
    m_phonePage->fill(
        {phone ? memory.value(key::StoredPhone).toString() : QString(), QString(), automatic, automatic || phone});
    wipeText(&secret); // has an effect only when the field does not share the text
}

void CYunLoginDialog::InitCloudAddr()
{
    if (!service::cloud()) {
        VT_LOG(critical) << QStringLiteral("【云登录窗口初始化跳转链接地址】失败，原因为获取云服务客户端接口对象失败");
        return;
    }
    for (const QString &linkKey : {key::LinkRegister, key::LinkForgetPassword, key::LinkBindAccount}) {
        if (cloudcalls::linkAddress(linkKey, &m_links[linkKey]).transportFailed())
            return; // each further call could block as long; a missing address is requested when its link is clicked
    }
}

void CYunLoginDialog::onRegisterAccount()
{
    VT_LOG(info) << QStringLiteral("【立即注册】用户点击立即注册按钮。");
    followLink(QStringLiteral("【立即注册】"), key::LinkRegister);
}

void CYunLoginDialog::onForgetPassword()
{
    VT_LOG(info) << QStringLiteral("【忘记密码】用户点击忘记密码。");
    followLink(QStringLiteral("【忘记密码】"), key::LinkForgetPassword);
}

void CYunLoginDialog::followLink(const QString &where, const QString &linkKey)
{
    QString &address = m_links[linkKey];
    if (address.isEmpty())
        underWaitCursor([&] { return cloudcalls::linkAddress(linkKey, &address); });
    if (address.isEmpty()) {
        VT_LOG(warning) << where + QStringLiteral("获取的跳转地址为空。");
        showLoginTip(QStringLiteral("获取跳转链接失败"), eTipError);
        return;
    }
    VT_LOG(info) << where + QStringLiteral("获取的跳转链接地址为：%1，即将跳转。").arg(address);
    openPage(where, address);
}

// Does not log the address: that of a QR code is a secret.
bool CYunLoginDialog::openPage(const QString &where, const QString &address)
{
    const bool isPage = weblink::isPage(address);
    if (isPage && weblink::open(address))
        return true;
    VT_LOG(critical) << where + (isPage ? QStringLiteral("没有程序可以打开网页。")
                                        : QStringLiteral("地址不是网页地址，未打开。"));
    showLoginTip(QStringLiteral("无法打开网页"), eTipError);
    return false;
}

void CYunLoginDialog::refuse(const QString &where, const QString &tip, QWidget *field)
{
    VT_LOG(critical) << where + tip;
    if (field) // the focus is there when the tip is closed
        field->setFocus(Qt::OtherFocusReason);
    showLoginTip(tip, eTipError);
}

void CYunLoginDialog::leave()
{
    stopPoller();
    m_countdown.stop();
    leaveAccountSignIn();
    hideNotice();
    m_accountPage->wipe();
    m_phonePage->wipe();
}

void CYunLoginDialog::closeEvent(QCloseEvent *event)
{
    event->accept();
    if (std::exchange(m_closed, true))
        return;
    leave();
    emit LoginDialogClosed();
}

void CYunLoginDialog::PasswordStateChanged()
{
    showPassword(m_accountPage->secretEdit()->echoMode() == QLineEdit::Password);
}

// The remember box follows in both directions, deliberately.
void CYunLoginDialog::OnAccountAutoLoginChkChanged(int state)
{
    m_accountPage->followAutomatic(state);
}

void CYunLoginDialog::onAccountLoginBtn()
{
    if (!canStart())
        return;
    if (AccountSignIn::current()) { // of a wait that was cancelled, or of a dialog that has been closed
        showLoginTip(QStringLiteral("上一次登录尚未完成，请稍候再试。"), eTipNormal);
        return;
    }
    if (!ExecuteLoginByAccount())
        return;
    close();
    notifyAfterAccount(m_caller);
}

// When it returns false, this dialog can have been destroyed.
bool CYunLoginDialog::ExecuteLoginByAccount()
{
    stopPoller();
    const SignInRequest request = m_accountPage->request(m_yunLockErrorTip);
    if (request.user.isEmpty() || request.secret.isEmpty()) {
        const bool hasUser = !request.user.isEmpty();
        refuse(QString(), hasUser ? QStringLiteral("密码不能为空!") : QStringLiteral("账号不能为空!"),
               hasUser ? m_accountPage->secretEdit() : m_accountPage->userEdit());
        return false;
    }
    if (!service::cloud()) {
        refuse(QStringLiteral("【账号密码登录】"), QStringLiteral("获取云服务失败"));
        return false;
    }
    VT_LOG(info) << QStringLiteral("开始登录云账号");
    const QPointer<CYunLoginDialog> self(this);
    beginWaiting();
    const auto outcome = AccountSignIn::run(request);
    if (!self)
        return false;
    endWaiting();
    if (!outcome)
        return false;
    const QString tip = AccountSignIn::conclude(request.user, *outcome);
    if (!tip.isEmpty())
        showLoginTip(tip, eTipError);
    return tip.isEmpty();
}

// The service may still sign the user in, also when this dialog has been destroyed.
void CYunLoginDialog::leaveAccountSignIn()
{
    AccountSignIn *left = m_waiting ? AccountSignIn::current() : nullptr;
    endWaiting();
    if (!left)
        return;
    left->leave();
    connect(left, &AccountSignIn::answered, left,
            [caller = m_caller, account = m_accountPage->request().user](const ServiceOutcome &outcome) {
                if (AccountSignIn::conclude(account, outcome).isEmpty())
                    signedIn(caller, notifyAfterAccount);
            });
}

// Ends the sign-in of this caller, and that of a later one whose dialog is open by now: the user is signed in.
void CYunLoginDialog::signedIn(const LoginCaller &caller, void (*notify)(const LoginCaller &))
{
    LoginCaller later;
    if (newest && !newest->m_closed)
        later = newest->m_caller;
    if (newest)
        newest->close();
    notify(caller);
    if (later && later != caller && *later)
        notify(later);
}

void CYunLoginDialog::cancelWait()
{
    if (m_waiting) {
        VT_LOG(info) << QStringLiteral("【账号密码登录】用户取消等待。");
        leaveAccountSignIn();
        return;
    }
    VT_LOG(info) << QStringLiteral("【扫码登录】用户取消等待扫码。");
    stopPoller();
    front::raiseOnce(this);
    focusEmptyField();
}

void CYunLoginDialog::OnVerifCodeAutoLogin(int state)
{
    m_phonePage->followAutomatic(state);
}

void CYunLoginDialog::onGetVerificationCodeBtn()
{
    if (!m_codeButton->isEnabled())
        return;
    const QString phone = m_phonePage->request().user;
    if (phone.size() < PhoneLength) {
        refuse(QString(), QStringLiteral("手机号填写不正确!"), m_phonePage->userEdit());
        return;
    }
    m_codeButton->setEnabled(false);
    m_codeButton->repaint(); // the call that follows holds the GUI thread
    m_countdown.stop();
    m_sinceCode = 0;
    const auto outcome = underWaitCursor([&] { return cloudcalls::sendCode(phone); });
    if (outcome.accepted()) {
        m_countdown.start(std::chrono::seconds(1));
        m_phonePage->secretEdit()->setFocus(Qt::OtherFocusReason);
        showLoginTip(QStringLiteral("发送成功，请查收!"), eTipNormal);
        return;
    }
    m_codeButton->setEnabled(true);
    showLoginTip(outcome.error.isEmpty() ? QStringLiteral("发生通信错误") : outcome.error, eTipError);
}

void CYunLoginDialog::OnTimeOut()
{
    ++m_sinceCode;
    const int passed = int(m_sinceCode % SecondsBetweenCodes);
    if (passed == 0)
        m_countdown.stop();
    m_codeButton->setEnabled(passed == 0);
    m_codeButton->setText(passed == 0 ? QStringLiteral("  获取动态密码  ")
                                      : QStringLiteral("  重试(%1)  ").arg(SecondsBetweenCodes - passed));
    m_codeButton->setAccessibleName(m_codeButton->text().trimmed());
}

void CYunLoginDialog::onVerificationCodeLoginBtn()
{
    if (!canStart())
        return;
    stopPoller();
    const SignInRequest request = m_phonePage->request(m_yunLockErrorTip);
    const QString where = QStringLiteral("【云登录对话框验证码登录】");
    if (request.user.size() < PhoneLength)
        return refuse(where, QStringLiteral("手机号填写不正确!"), m_phonePage->userEdit());
    if (request.secret.size() < ShortestCode)
        return refuse(where, QStringLiteral("动态密码不正确，请重新输入!"), m_phonePage->secretEdit());
    CCustomBtn *button = m_phonePage->loginButton();
    button->setText(QStringLiteral("登录中..."));
    button->repaint(); // the call that follows holds the GUI thread
    const SignInEnd end = underWaitCursor([&] { return cloudcalls::signInByCode(request); });
    button->setText(QStringLiteral("立即登录"));
    if (end.closes)
        m_countdown.stop();
    const QPointer<CYunLoginDialog> self(this);
    if (!end.tip.isEmpty())
        showLoginTip(end.tip, eTipError);
    if (!self || m_closed || !end.closes)
        return;
    close();
    cloudcalls::notify(m_caller, where + QStringLiteral("开始通知云登录后事件"));
}

void CYunLoginDialog::quickLogin(const QString &type, const QString &clickLine)
{
    if (!canStart())
        return;
    stopPoller();
    const QString where = QStringLiteral("【扫码登录】");
    if (!service::cloud())
        return refuse(where, QStringLiteral("获取云服务失败"));
    VT_LOG(info) << clickLine;
    const QString randomCode = QUuid::createUuid().toString().mid(1, 8);
    const QString address = underWaitCursor([&] { return cloudcalls::qrAddress(type, randomCode); });
    if (address.isEmpty())
        showLoginTip(QStringLiteral("获取扫码登录地址失败"), eTipError);
    else if (openPage(where, address))
        waitForScan(randomCode);
}

void CYunLoginDialog::waitForScan(const QString &randomCode)
{
    showPassword(false); // another user may see this dialog next
    hide();              // the browser shows the QR code
    auto *poller = new CQueryQRCodeResult(currentPage()->request().automatic, m_yunLockErrorTip, randomCode, m_rhythm);
    poller->setBindingAddress(m_links.value(key::LinkBindAccount));
    m_poller = poller;
    connect(poller, &CQueryQRCodeResult::loginFail, this, &CYunLoginDialog::QuickLoginFail);
    connect(poller, &CQueryQRCodeResult::yunlockFail, this, &CYunLoginDialog::YunLockLoginFail);
    connect(poller, &CQueryQRCodeResult::loginTimeout, this, &CYunLoginDialog::QuickLoginTimerOut);
    // The service has signed the user in, also when the wait has been stopped or this dialog has been destroyed.
    connect(poller, &CQueryQRCodeResult::loginSuccess, poller,
            [self = QPointer<CYunLoginDialog>(this), caller = m_caller](const QString &token) {
                if (self)
                    self->QuickLoginSuccess(token);
                else
                    signedIn(caller, notifyAfterScan);
            });
    poller->start();
    if (poller->isRunning() || poller->isFinished())
        return showNotice(QStringLiteral("请在浏览器中扫描二维码完成登录。"), false);
    delete poller;
    endScan(QStringLiteral("【扫码登录】无法启动等待扫码结果的线程。"), QStringLiteral("扫码登录失败，请重试。"));
}

// Does not wait for the poller's thread, which can hang in a call.
void CYunLoginDialog::stopPoller()
{
    if (m_poller)
        m_poller->stop();
    m_poller.clear();
}

void CYunLoginDialog::QuickLoginSuccess(QString)
{
    close();
    signedIn(m_caller, notifyAfterScan);
}

void CYunLoginDialog::QuickLoginFail(QString strError)
{
    endScan(QStringLiteral("快捷登录失败，") + strError,
            strError.isEmpty() ? QStringLiteral("快捷登录失败") : strError);
}

void CYunLoginDialog::QuickLoginTimerOut()
{
    if (isLate())
        return;
    stopPoller();
    const QString tip = QStringLiteral("扫码登录超时，请重新扫码。");
    VT_LOG(warning) << QStringLiteral("快捷登录失败，") + tip;
    if (!isVisible()) // otherwise the user may be typing in this dialog, which was shown for a further request
        showAgain(tip);
}

void CYunLoginDialog::YunLockLoginFail(QString strError)
{
    endScan(QStringLiteral("快捷登录：云锁登录失败，") + strError,
            strError.isEmpty() ? QStringLiteral("云锁登录失败。") : strError);
}

// Whether the signal that is being handled was on its way when the wait for its poller was stopped.
bool CYunLoginDialog::isLate() const
{
    const auto *poller = qobject_cast<CQueryQRCodeResult *>(sender());
    return poller && poller != m_poller;
}

void CYunLoginDialog::endScan(const QString &line, const QString &tip)
{
    if (isLate())
        return;
    stopPoller();
    VT_LOG(critical) << line;
    showAgain(tip);
}
