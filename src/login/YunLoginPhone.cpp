// The SMS page of the sign-in dialog: the one-time code, its countdown, and the sign-in with it.
#include "base/Log.h"
#include "login/DigitsValidator.h"
#include "login/LoginForm.h"
#include "login/YunLoginDlg.h"
#include "tarn/keys/CloudKeys.h"
#include "widgets/CustomBtn.h"
#include "widgets/CustomLineEdit.h"
#include "widgets/IconEditWidget.h"
#include <QApplication>
#include <QBoxLayout>
#include <QCheckBox>
#include <QTabWidget>
#include <QTimer>

namespace key = tarn::cloud::key;

namespace {
constexpr int PhoneLength = 11;
constexpr int ShortestCode = 6;
constexpr int TickMs = 1000;
constexpr int SecondsBetweenCodes = 60;

/// For as long as a call keeps the GUI thread.
struct WaitCursor
{
    WaitCursor() { QApplication::setOverrideCursor(Qt::WaitCursor); }
    ~WaitCursor() { QApplication::restoreOverrideCursor(); }
    Q_DISABLE_COPY(WaitCursor)
};
} // namespace

void CYunLoginDialog::InitVerificationTab()
{
    auto *page = new QWidget(m_tabs);
    QVBoxLayout *column = loginform::makeColumn(page);
    CIconEditWidget *phoneField = loginform::makeField("phoneEdit", QStringLiteral(":/images/images/phone.svg"),
                                                       QStringLiteral("请输入手机号"), page);
    m_phone = phoneField->lineEdit();
    m_phone->setValidator(new DigitsValidator(QStringLiteral("^\\d{11}$"), m_phone));
    CIconEditWidget *codeField = loginform::makeField("codeEdit", QStringLiteral(":/images/images/code.svg"),
                                                      QStringLiteral("请输入动态密码"), page);
    m_code = codeField->lineEdit();
    m_code->setValidator(new DigitsValidator(QStringLiteral("[0-9]+$"), m_code));
    m_codeButton = loginform::makeSideButton("codeButton", QStringLiteral("  获取动态密码  "), false, page);
    m_rememberPhone = loginform::makeCheckBox("rememberPhone", QStringLiteral("记住手机号"), page);
    m_phoneAuto = loginform::makeCheckBox("phoneAutoLogin", QStringLiteral("自动登录"), page);
    m_phoneLogin = loginform::makeLoginButton("phoneLoginButton", page);

    loginform::addRow(column, phoneField, nullptr);
    loginform::addRow(column, codeField, m_codeButton);
    loginform::addCheckBoxes(column, m_rememberPhone, m_phoneAuto);
    column->addWidget(m_phoneLogin);
    m_tabs->addTab(page, QStringLiteral("短信登录"));

    m_code->installEventFilter(this);
    connect(m_phone, &QLineEdit::returnPressed, this, &CYunLoginDialog::onPhoneEntered);
    startOnReturn(m_code, &CYunLoginDialog::onVerificationCodeLoginBtn);
    connect(m_codeButton, &QPushButton::clicked, this, &CYunLoginDialog::onGetVerificationCodeBtn);
    connect(m_phoneAuto, &QCheckBox::stateChanged, this, &CYunLoginDialog::OnVerifCodeAutoLogin);
    connect(m_phoneLogin, &QPushButton::clicked, this, &CYunLoginDialog::onVerificationCodeLoginBtn);
}

void CYunLoginDialog::onPhoneEntered()
{
    m_code->setFocus(Qt::TabFocusReason);
}

void CYunLoginDialog::OnVerifCodeAutoLogin(int state)
{
    if (state != Qt::PartiallyChecked)
        m_rememberPhone->setChecked(state == Qt::Checked);
}

void CYunLoginDialog::onGetVerificationCodeBtn()
{
    if (!m_codeButton->isEnabled())
        return;
    const QString phone = m_phone->text();
    if (phone.size() < PhoneLength) {
        refuse(QStringLiteral("手机号填写不正确!"), QStringLiteral("手机号填写不正确!"));
        return;
    }
    m_codeButton->setEnabled(false);
    m_codeButton->repaint(); // the call below keeps the GUI thread
    startCountdown();
    cloudcalls::Outcome outcome;
    if (ICloudServiceAssistant *assistant = cloudcalls::assistant())
        outcome = sendCode(*assistant, phone);
    else
        VT_LOG(critical) << QStringLiteral("【获取验证码】获取云服务失败");
    if (outcome.ok()) {
        m_countdown->start(TickMs);
        m_code->setFocus(Qt::OtherFocusReason);
        showLoginTip(QStringLiteral("发送成功，请查收!"), eTipNormal);
        return;
    }
    m_codeButton->setEnabled(true);
    showLoginTip(outcome.error.isEmpty() ? QStringLiteral("发生通信错误") : outcome.error, eTipError);
}

cloudcalls::Outcome CYunLoginDialog::sendCode(ICloudServiceAssistant &assistant, const QString &phone)
{
    const WaitCursor cursor;
    auto outcome = cloudcalls::call(assistant, &ICloudServiceAssistant::SendVerificationCode, {{key::Phone, phone}});
    if (outcome.ok()) {
        VT_LOG(info) << QStringLiteral("【获取验证码】调用获取验证码接口成功。");
        return outcome;
    }
    // The second one lacks a colon, deliberately.
    const QString line =
        outcome.transportFailed()
            ? QStringLiteral("【获取验证码】rpc接口通信失败，记录错误码为：%1，错误信息为：%2")
            : QStringLiteral("【获取验证码】调用获取验证码接口发生逻辑错误，返回错误码为：%1，错误信息为%2");
    VT_LOG(critical) << line.arg(QString::number(outcome.code), outcome.error);
    return outcome;
}

void CYunLoginDialog::startCountdown()
{
    m_sinceCode = 0;
    delete m_countdown;
    m_countdown = new QTimer(this);
    connect(m_countdown, &QTimer::timeout, this, &CYunLoginDialog::OnTimeOut);
}

void CYunLoginDialog::stopCountdown()
{
    if (!m_countdown)
        return;
    m_countdown->stop();
    disconnect(m_countdown, &QTimer::timeout, this, &CYunLoginDialog::OnTimeOut);
}

void CYunLoginDialog::OnTimeOut()
{
    ++m_sinceCode;
    const qint64 remaining = SecondsBetweenCodes - m_sinceCode % SecondsBetweenCodes;
    if (remaining < SecondsBetweenCodes) {
        m_codeButton->setEnabled(false); // grey
        m_codeButton->setText(QStringLiteral("  重试(%1)  ").arg(remaining));
        return;
    }
    stopCountdown();
    m_codeButton->setText(QStringLiteral("  获取动态密码  "));
    m_codeButton->setEnabled(true); // blue again
}

void CYunLoginDialog::onVerificationCodeLoginBtn()
{
    if (!mayStart())
        return;
    stopPoller();
    const QString phone = m_phone->text();
    if (phone.size() < PhoneLength) {
        refuse(QStringLiteral("手机号填写不正确!"), QStringLiteral("【云登录对话框验证码登录】手机号填写不正确!"));
        return;
    }
    if (m_code->text().size() < ShortestCode) {
        refuse(QStringLiteral("动态密码不正确，请重新输入!"),
               QStringLiteral("【云登录对话框验证码登录】动态密码不正确，请重新输入!"));
        return;
    }
    loginByCode(phone);
}

void CYunLoginDialog::loginByCode(const QString &phone)
{
    m_phoneLogin->setText(QStringLiteral("登录中..."));
    m_phoneLogin->repaint(); // the call below keeps the GUI thread
    ICloudServiceAssistant *assistant = cloudcalls::assistant();
    if (!assistant) {
        m_phoneLogin->setText(QStringLiteral("立即登录"));
        refuse(QStringLiteral("获取云服务失败"), QStringLiteral("【验证码登录】获取云服务失败"));
        return;
    }
    const auto outcome = [&] {
        const WaitCursor cursor;
        return cloudcalls::call(*assistant, &ICloudServiceAssistant::LoginByPhone, codeLoginInput());
    }();
    m_phoneLogin->setText(QStringLiteral("立即登录"));
    if (outcome.ok()) {
        VT_LOG(info) << QStringLiteral("【云登录对话框验证码登录】用户%1登录成功").arg(phone);
        finishCodeLogin();
    } else if (outcome.lockRefused()) {
        refuseByLock(outcome.error);
    } else {
        reportCodeFailure(phone, outcome);
    }
}

QVariantMap CYunLoginDialog::codeLoginInput() const
{
    return {{key::Phone, m_phone->text()},
            {key::Code, m_code->text()},
            {key::AutoLogin, m_phoneAuto->isChecked()},
            {key::Remember, m_rememberPhone->isChecked()},
            {key::YunLockErrorTip, m_yunLockErrorTip}};
}

void CYunLoginDialog::finishCodeLogin()
{
    m_sinceCode = 0;
    stopCountdown();
    const QSharedPointer<ICloudLoginNotify> notify = m_notify;
    close();
    if (!notify)
        return;
    VT_LOG(info) << QStringLiteral("【云登录对话框验证码登录】开始通知云登录后事件");
    cloudcalls::tellCaller(notify);
}

// Closes and tells the caller as a success does, deliberately.
void CYunLoginDialog::refuseByLock(const QString &tip)
{
    m_sinceCode = 0;
    stopCountdown();
    VT_LOG(critical) << QStringLiteral("【手机验证码】云锁登录失败。");
    const QPointer<CYunLoginDialog> self(this);
    showLoginTip(tip.isEmpty() ? QStringLiteral("登录失败") : tip, eTipError);
    if (self && !m_closed)
        finishCodeLogin();
}

void CYunLoginDialog::reportCodeFailure(const QString &phone, const cloudcalls::Outcome &outcome)
{
    // The numbers of the second one begin at 2, deliberately; they are filled in order.
    const QString line = outcome.transportFailed()
                             ? QStringLiteral("【验证码登录】rpc接口通信失败，记录错误码为：%1，错误信息为：%2")
                             : QStringLiteral("【验证码登录】用户使用验证码登录失败，返回错误码为：%2，错误信息为：%3");
    VT_LOG(critical) << line.arg(QString::number(outcome.code), outcome.error);
    VT_LOG(critical) << QStringLiteral("【云登录对话框验证码登录】用户%1登录失败。").arg(phone);
    const QString unnamed = outcome.transportFailed() ? QStringLiteral("发生通信错误") : QStringLiteral("登录失败");
    showLoginTip(outcome.error.isEmpty() ? unnamed : outcome.error, eTipError);
}
