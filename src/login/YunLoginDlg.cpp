#include "login/YunLoginDlg.h"
#include "login/AccountCall.h"
#include "login/AccountPage.h"
#include "login/AccountSignIn.h"
#include "login/CodeSignIn.h"
#include "login/LoginCaller.h"
#include "login/PhonePage.h"
#include "login/QrSignIn.h"
#include "login/QuickBand.h"
#include "login/WaitNotice.h"
#include "login/WipeText.h"
#include "tarn/keys/CloudKeys.h"
#include "widgets/BringToFront.h"
#include "widgets/CustomMessageBox.h"
#include "widgets/CustomTitleBar.h"
#include "widgets/Look.h"
#include "widgets/Picture.h"
#include "widgets/WebLink.h"
#include <QApplication>
#include <QBoxLayout>
#include <QCloseEvent>
#include <QTabBar>
#include <QTabWidget>
#include <QTimer>
#include <utility>

using namespace tarn::visualized;
namespace key = tarn::cloud::key;

namespace {
constexpr int PhoneLength = 11;
constexpr int ShortestCode = 6;
constexpr int SlowMs = 2000; // of waiting, until the user is offered to cancel

// Look: one sheet for the whole window
QString dialogSheet(const QWidget *w)
{
    return QStringLiteral("#loginBody{background-color:white;border:1px solid %1;}"
                          "#quickRule{background-color:%2;}"
                          "#quickTitle{color:#8A93A0;}"
                          "QTabWidget::tab-bar{alignment:center;}")
               .arg(look::FrameBlue, look::RuleGrey) +
           look::titleBand(look::BandBlue) +
           look::tabs(40, QStringLiteral("width:%1;padding:0px;").arg(look::px(150, w)), w) + look::blueButton() +
           look::whiteButton() + look::linkButton() +
           QStringLiteral("CCustomBtn[tone=\"Link\"]:disabled{background-color:transparent;border:none;}");
}

/// Calls under the wait cursor: the call holds the GUI thread.
template <class Call>
auto underWaitCursor(Call call)
{
    QApplication::setOverrideCursor(Qt::WaitCursor);
    const auto result = call();
    QApplication::restoreOverrideCursor();
    return result;
}

void notifyAccountCaller(LoginCaller &caller)
{
    caller.notify(QStringLiteral("开始通知云登录后事件"));
}
} // namespace

CYunLoginDialog::CYunLoginDialog(QWidget *parent, const Rhythm &rhythm)
    : ToolDialog(parent, Qt::Dialog)
    , m_caller(std::make_shared<LoginCaller>())
    , m_accountSignIn(new AccountSignIn(this))
    , m_codeSignIn(new CodeSignIn(this))
    , m_qrSignIn(new QrSignIn(m_caller, rhythm, this))
{
    InitDialog();
}

CYunLoginDialog::~CYunLoginDialog()
{
    leave();
}

void CYunLoginDialog::InitDialog()
{
    if (m_tabs)
        return;
    prepare(QStringLiteral("云账号登录"));
    setWindowIcon(picture::windowIcon(look::icon::Login));
    QVBoxLayout *column = addBody(QStringLiteral("loginBody"));
    auto *content = new QVBoxLayout;
    look::space(content, {36, 8, 36, 28}, 22, this);
    InitLoginTypeTab();
    content->addWidget(m_tabs);
    content->addWidget(InitQuickLogin());
    column->addLayout(content);
    InitTitleBar(column);
    setStyleSheet(dialogSheet(this));
    setFixedSize(look::scaled(400, this), sizeHint().height());
    expectUnasked();

    m_slow = new QTimer(this);
    m_slow->setSingleShot(true);
    m_slow->setInterval(SlowMs);
    connect(m_slow, &QTimer::timeout, this,
            [this] { showNotice(QStringLiteral("正在登录，请稍候。"), true, &CYunLoginDialog::cancelAccountSignIn); });
    connect(m_codeSignIn, &CodeSignIn::secondPassed, this, &CYunLoginDialog::OnTimeOut);
    connect(m_qrSignIn, &QrSignIn::succeeded, this, &CYunLoginDialog::QuickLoginSuccess);
    connect(m_qrSignIn, &QrSignIn::failed, this, &CYunLoginDialog::QuickLoginFail);
    connect(m_qrSignIn, &QrSignIn::timedOut, this, &CYunLoginDialog::QuickLoginTimerOut);
    connect(m_qrSignIn, &QrSignIn::lockRefused, this, &CYunLoginDialog::YunLockLoginFail);

    FillMemoryLoginInfo();
    InitCloudAddr();
}

void CYunLoginDialog::InitTitleBar(QVBoxLayout *column)
{
    CustomTitleBar *bar = addTitleBar(column, 44);
    bar->SetLoginTitleLogo(look::icon::Login);
    bar->SetLoginTitleText(windowTitle());
    connect(bar, &CustomTitleBar::CustomTitleBarClose, this, &CYunLoginDialog::on_close_btn_clicked);
}

void CYunLoginDialog::InitLoginTypeTab()
{
    m_tabs = new QTabWidget(this);
    m_tabs->setObjectName(QStringLiteral("loginTabs"));
    m_tabs->tabBar()->setFont(look::yaHei(15, QFont::Normal, this));
    m_tabs->tabBar()->setDrawBase(false);
    m_tabs->tabBar()->setAccessibleName(QStringLiteral("登录方式"));
    InitAccountLogin();
    InitVerificationTab();
}

void CYunLoginDialog::InitAccountLogin()
{
    m_accountPage = new AccountPage(m_tabs);
    m_tabs->addTab(m_accountPage, QStringLiteral("账号登录"));
    connect(m_accountPage, &AccountPage::signInRequested, this, &CYunLoginDialog::onAccountLoginBtn);
    connect(m_accountPage, &AccountPage::registerRequested, this, &CYunLoginDialog::onRegisterAccount);
    connect(m_accountPage, &AccountPage::forgetRequested, this, &CYunLoginDialog::onForgetPassword);
    connect(m_accountPage, &AccountPage::eyeClicked, this, &CYunLoginDialog::PasswordStateChanged);
    connect(m_accountPage, &AccountPage::automaticChanged, this, &CYunLoginDialog::OnAccountAutoLoginChkChanged);
}

void CYunLoginDialog::InitVerificationTab()
{
    m_phonePage = new PhonePage(m_tabs);
    m_tabs->addTab(m_phonePage, QStringLiteral("短信登录"));
    connect(m_phonePage, &PhonePage::codeRequested, this, &CYunLoginDialog::onGetVerificationCodeBtn);
    connect(m_phonePage, &PhonePage::signInRequested, this, &CYunLoginDialog::onVerificationCodeLoginBtn);
    connect(m_phonePage, &PhonePage::automaticChanged, this, &CYunLoginDialog::OnVerifCodeAutoLogin);
}

QWidget *CYunLoginDialog::InitQuickLogin()
{
    auto *band = new QuickBand(this);
    connect(band, &QuickBand::weixinRequested, this, &CYunLoginDialog::onWeixinLogin);
    connect(band, &QuickBand::qqRequested, this, &CYunLoginDialog::onQQLogin);
    return band;
}

void CYunLoginDialog::FillMemoryLoginInfo()
{
    auto memory = call(service::cloud(), &ICloudServiceAssistant::GetMemoryLoginInfo, {},
                       {key::LoginModel, key::AutoLoginStored, key::RememberPassword, key::RememberPhone,
                        key::StoredAccount, key::StoredPassword, key::StoredPhone});
    if (!memory.called())
        return; // InitCloudAddr() logs that there is no assistant
    if (memory.accepted()) {
        fillFrom(std::move(memory.values));
        return;
    }
    const QString line =
        memory.transportFailed()
            ? QStringLiteral("【获取记忆的云账号登录信息】rpc接口通信失败，记录错误码为：%1，错误信息为：%2")
            : QStringLiteral("【获取记忆的云账号登录信息】获取失败，返回错误码为：%1，错误信息为：%2");
    VT_LOG(critical) << line.arg(QString::number(memory.code), memory.error);
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
    const QPair<QString, QString *> links[] = {{key::LinkRegister, &m_registerAddress},
                                               {key::LinkForgetPassword, &m_forgetAddress},
                                               {key::LinkBindAccount, &m_bindingAddress}};
    for (const auto &link : links) {
        if (cloudcalls::linkAddress(link.first, link.second).transportFailed())
            return; // each further call could block as long; a missing address is requested when its link is clicked
    }
}

void CYunLoginDialog::SetLoginNotify(QSharedPointer<ICloudLoginNotify> notify)
{
    m_caller->set(std::move(notify));
}

void CYunLoginDialog::focusEmptyField()
{
    currentPage()->focusEmptyField();
}

LoginPage *CYunLoginDialog::currentPage() const
{
    return qobject_cast<LoginPage *>(m_tabs->currentWidget());
}

void CYunLoginDialog::onRegisterAccount()
{
    VT_LOG(info) << QStringLiteral("【立即注册】用户点击立即注册按钮。");
    followLink(QStringLiteral("【立即注册】"), key::LinkRegister, &m_registerAddress);
}

void CYunLoginDialog::onForgetPassword()
{
    VT_LOG(info) << QStringLiteral("【忘记密码】用户点击忘记密码。");
    followLink(QStringLiteral("【忘记密码】"), key::LinkForgetPassword, &m_forgetAddress);
}

void CYunLoginDialog::followLink(const QString &where, const QString &linkKey, QString *address)
{
    if (address->isEmpty())
        underWaitCursor([&] { return cloudcalls::linkAddress(linkKey, address); });
    if (address->isEmpty()) {
        VT_LOG(warning) << where + QStringLiteral("获取的跳转地址为空。");
        showLoginTip(QStringLiteral("获取跳转链接失败"), eTipError);
        return;
    }
    VT_LOG(info) << where + QStringLiteral("获取的跳转链接地址为：%1，即将跳转。").arg(*address);
    openPage(where, *address);
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

void CYunLoginDialog::showLoginTip(const QString &text, eTipStatus status)
{
    // When a long call has returned, the user may be working in another program.
    showTip(text, status, isActiveWindow() ? eBoxOrigin::AskedFor : eBoxOrigin::Unasked);
}

void CYunLoginDialog::showTip(const QString &text, eTipStatus status, eBoxOrigin origin)
{
    if (!m_closed)
        CstmMessageBox(QStringLiteral("提示"), text, status, this, nullptr, origin);
}

void CYunLoginDialog::refuse(const QString &tip, const QString &line)
{
    VT_LOG(critical) << line;
    showLoginTip(tip, eTipError);
}

// False for a request that arrives after the dialog has been closed, or while it waits.
bool CYunLoginDialog::canStart() const
{
    return !m_closed && !m_waiting;
}

void CYunLoginDialog::leave()
{
    m_qrSignIn->stop();
    m_codeSignIn->stopCountdown();
    leaveAccountSignIn();
    endWaiting();
    hideNotice();
    m_accountPage->wipe();
    m_phonePage->wipe();
}

void CYunLoginDialog::on_close_btn_clicked()
{
    close();
}

void CYunLoginDialog::showEvent(QShowEvent *event)
{
    ToolDialog::showEvent(event);
    hideNotice(); // the dialog itself offers another attempt
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
    m_accountPage->showPassword(!m_accountPage->showsPassword());
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
    if (AccountCall::current()) { // of a wait that was cancelled, or of a dialog that has been closed
        showLoginTip(QStringLiteral("上一次登录尚未完成，请稍候再试。"), eTipNormal);
        return;
    }
    if (!ExecuteLoginByAccount())
        return;
    close();
    notifyAccountCaller(*m_caller);
}

// When it returns false, this dialog can have been destroyed.
bool CYunLoginDialog::ExecuteLoginByAccount()
{
    m_qrSignIn->stop();
    SignInRequest request = m_accountPage->request();
    request.lockTip = m_yunLockErrorTip;
    if (request.user.isEmpty()) {
        refuse(QStringLiteral("账号不能为空!"), QStringLiteral("账号不能为空!"));
        return false;
    }
    if (request.secret.isEmpty()) {
        refuse(QStringLiteral("密码不能为空!"), QStringLiteral("密码不能为空!"));
        return false;
    }
    if (!service::cloud()) {
        refuse(QStringLiteral("获取云服务失败"), QStringLiteral("【账号密码登录】获取云服务失败"));
        return false;
    }
    VT_LOG(info) << QStringLiteral("开始登录云账号");
    const QString account = request.user;
    const QPointer<CYunLoginDialog> self(this);
    beginWaiting();
    const auto outcome = m_accountSignIn->run(std::move(request));
    if (!self)
        return false;
    endWaiting();
    if (!outcome)
        return false;
    const QString tip = AccountSignIn::conclude(account, *outcome);
    if (!tip.isEmpty())
        showLoginTip(tip, eTipError);
    return tip.isEmpty();
}

// The service may still sign the user in: the caller is notified then, even if this dialog has been destroyed.
void CYunLoginDialog::leaveAccountSignIn()
{
    const AccountCall *left = m_accountSignIn->leave();
    if (!left)
        return;
    connect(left, &AccountCall::answered, left,
            [self = QPointer<CYunLoginDialog>(this), caller = m_caller,
             account = m_accountPage->request().user](const ServiceOutcome &outcome) {
                if (!AccountSignIn::conclude(account, outcome).isEmpty())
                    return;
                if (self)
                    self->close();
                notifyAccountCaller(*caller);
            });
}

void CYunLoginDialog::cancelAccountSignIn()
{
    VT_LOG(info) << QStringLiteral("【账号密码登录】用户取消等待。");
    leaveAccountSignIn();
}

void CYunLoginDialog::beginWaiting()
{
    m_waiting = true;
    m_focusBefore = focusWidget();
    QApplication::setOverrideCursor(Qt::WaitCursor);
    setEnabled(false);
    m_slow->start();
}

void CYunLoginDialog::endWaiting()
{
    if (!m_waiting)
        return;
    m_waiting = false;
    m_slow->stop();
    hideNotice();
    setEnabled(true);
    QApplication::restoreOverrideCursor();
    if (m_focusBefore)
        m_focusBefore->setFocus(Qt::OtherFocusReason);
}

void CYunLoginDialog::OnVerifCodeAutoLogin(int state)
{
    m_phonePage->followAutomatic(state);
}

void CYunLoginDialog::onGetVerificationCodeBtn()
{
    if (!m_phonePage->canRequestCode())
        return;
    const QString phone = m_phonePage->request().user;
    if (phone.size() < PhoneLength) {
        refuse(QStringLiteral("手机号填写不正确!"), QStringLiteral("手机号填写不正确!"));
        return;
    }
    m_phonePage->allowCode(false);
    const auto outcome = underWaitCursor([&] { return m_codeSignIn->sendCode(phone); });
    if (outcome.accepted()) {
        m_phonePage->focusCode();
        showLoginTip(QStringLiteral("发送成功，请查收!"), eTipNormal);
        return;
    }
    m_phonePage->allowCode(true);
    showLoginTip(outcome.error.isEmpty() ? QStringLiteral("发生通信错误") : outcome.error, eTipError);
}

void CYunLoginDialog::OnTimeOut()
{
    m_phonePage->showCountdown(m_codeSignIn->countDown());
}

void CYunLoginDialog::onVerificationCodeLoginBtn()
{
    if (!canStart())
        return;
    m_qrSignIn->stop();
    SignInRequest request = m_phonePage->request();
    request.lockTip = m_yunLockErrorTip;
    if (request.user.size() < PhoneLength) {
        refuse(QStringLiteral("手机号填写不正确!"), QStringLiteral("【云登录对话框验证码登录】手机号填写不正确!"));
        return;
    }
    if (request.secret.size() < ShortestCode) {
        refuse(QStringLiteral("动态密码不正确，请重新输入!"),
               QStringLiteral("【云登录对话框验证码登录】动态密码不正确，请重新输入!"));
        return;
    }
    loginByCode(request);
}

void CYunLoginDialog::loginByCode(const SignInRequest &request)
{
    m_phonePage->showBusy(true);
    const auto outcome = underWaitCursor([&] { return m_codeSignIn->signIn(request); });
    m_phonePage->showBusy(false);
    if (!outcome.called())
        refuse(QStringLiteral("获取云服务失败"), QStringLiteral("【验证码登录】获取云服务失败"));
    else if (outcome.accepted())
        finishCodeLogin();
    else if (outcome.code == tarn::cloud::code::LockRefused)
        refuseByLock(outcome.error);
    else
        showLoginTip(CodeSignIn::concludeFailure(request.user, outcome), eTipError);
}

void CYunLoginDialog::finishCodeLogin()
{
    m_codeSignIn->stopCountdown();
    close();
    m_caller->notify(QStringLiteral("【云登录对话框验证码登录】开始通知云登录后事件"));
}

// Closes and notifies the caller as a success does, deliberately.
void CYunLoginDialog::refuseByLock(const QString &tip)
{
    m_codeSignIn->stopCountdown();
    VT_LOG(critical) << QStringLiteral("【手机验证码】云锁登录失败。");
    const QPointer<CYunLoginDialog> self(this);
    showLoginTip(tip.isEmpty() ? QStringLiteral("登录失败") : tip, eTipError);
    if (self && !m_closed)
        finishCodeLogin();
}

void CYunLoginDialog::onWeixinLogin()
{
    quickLogin(QStringLiteral("weixindenglu"), QStringLiteral("点击微信扫码登录。"));
}

void CYunLoginDialog::onQQLogin()
{
    quickLogin(QStringLiteral("qqdenglu"), QStringLiteral("点击QQ扫码登录。"));
}

void CYunLoginDialog::quickLogin(const QString &type, const QString &clickLine)
{
    if (!canStart())
        return;
    m_qrSignIn->stop();
    if (!service::cloud()) {
        refuse(QStringLiteral("获取云服务失败"), QStringLiteral("【扫码登录】获取云服务失败"));
        return;
    }
    VT_LOG(info) << clickLine;
    const bool automatic = currentPage()->request().automatic;
    const QString address = underWaitCursor([&] { return m_qrSignIn->begin({type, automatic, m_yunLockErrorTip}); });
    if (address.isEmpty())
        showLoginTip(QStringLiteral("获取扫码登录地址失败"), eTipError);
    else if (openPage(QStringLiteral("【扫码登录】"), address))
        waitForScan();
}

void CYunLoginDialog::waitForScan()
{
    m_accountPage->showPassword(false); // another user may see this dialog next
    hide();                             // the browser shows the QR code
    if (!m_qrSignIn->startWaiting(m_bindingAddress)) {
        VT_LOG(critical) << QStringLiteral("【扫码登录】无法启动等待扫码结果的线程。");
        showAgain(QStringLiteral("扫码登录失败，请重试。"));
        return;
    }
    showNotice(QStringLiteral("请在浏览器中扫描二维码完成登录。"), false, &CYunLoginDialog::cancelScan);
}

void CYunLoginDialog::cancelScan()
{
    VT_LOG(info) << QStringLiteral("【扫码登录】用户取消等待扫码。");
    m_qrSignIn->stop();
    front::raiseOnce(this);
    focusEmptyField();
}

void CYunLoginDialog::QuickLoginSuccess(QString)
{
    m_qrSignIn->stop();
    close();
    QrSignIn::notify(*m_caller);
}

void CYunLoginDialog::QuickLoginFail(QString strError)
{
    m_qrSignIn->stop();
    VT_LOG(critical) << QStringLiteral("快捷登录失败，") + strError;
    showAgain(strError.isEmpty() ? QStringLiteral("快捷登录失败") : strError);
}

void CYunLoginDialog::QuickLoginTimerOut()
{
    m_qrSignIn->stop();
    const QString tip = QStringLiteral("扫码登录超时，请重新扫码。");
    VT_LOG(warning) << QStringLiteral("快捷登录失败，") + tip;
    if (!isVisible()) // otherwise the user may be typing in this dialog, which was shown for a further request
        showAgain(tip);
}

void CYunLoginDialog::YunLockLoginFail(QString strError)
{
    m_qrSignIn->stop();
    VT_LOG(critical) << QStringLiteral("快捷登录：云锁登录失败，") + strError;
    showAgain(strError.isEmpty() ? QStringLiteral("云锁登录失败。") : strError);
}

void CYunLoginDialog::showAgain(const QString &tip)
{
    if (!isVisible()) // otherwise the user may be typing in it, and the field keeps the focus
        front::raiseOnce(this);
    showTip(tip, eTipError, eBoxOrigin::Unasked); // the user is in the browser or in another program
}

void CYunLoginDialog::showNotice(const QString &text, bool overDialog, void (CYunLoginDialog::*cancel)())
{
    // Without a parent it stays visible while the dialog is hidden.
    m_notice = std::make_unique<WaitNotice>(text, overDialog ? this : nullptr);
    connect(m_notice.get(), &WaitNotice::cancelled, this, cancel);
    if (overDialog)
        m_notice->showOverParent();
    else
        m_notice->showOnScreenOf(this);
}

// Hides it only: the notice can be the sender of the signal that is being handled.
void CYunLoginDialog::hideNotice()
{
    if (m_notice)
        m_notice->hide();
}
