// The account page of the sign-in dialog and the sign-in by password.
#include "base/Log.h"
#include "frame/VtServiceClient.h"
#include "login/ExecYunLogin.h"
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

namespace key = tarn::cloud::key;

namespace {
// Logs the failure. Returns the tip.
QString accountFailure(const cloudcalls::Outcome &outcome)
{
    if (outcome.lockRefused()) {
        VT_LOG(critical) << QStringLiteral("【账号密码登录】云锁登录失败。");
        return outcome.error.isEmpty() ? QStringLiteral("登录失败") : outcome.error;
    }
    const QString error = outcome.transportFailed() ? outcome.error : outcome.error.trimmed();
    VT_LOG(critical) << QStringLiteral("【账号密码登录】登录失败，返回错误码为：%1，错误信息为：%2")
                            .arg(QString::number(outcome.code), error);
    if (outcome.transportFailed())
        return QStringLiteral("发生通信错误");
    return error.isEmpty() ? QStringLiteral("登录失败") : error;
}
} // namespace

/// A sign-in by password, from the call to its answer, which is the client library's: the lease goes last.
struct CYunLoginDialog::Attempt
{
    CVtServiceClient::Lease lease;
    ICloudServiceAssistant::Output output;
};

std::shared_ptr<CYunLoginDialog::Attempt> CYunLoginDialog::s_attempt;

/// Disables the dialog under a wait cursor for as long as both live.
class CYunLoginDialog::Waiting final
{
public:
    explicit Waiting(CYunLoginDialog *dialog)
        : m_dialog(dialog)
    {
        dialog->beginWaiting();
    }
    ~Waiting()
    {
        if (m_dialog)
            m_dialog->endWaiting();
    }
    Q_DISABLE_COPY(Waiting)

private:
    const QPointer<CYunLoginDialog> m_dialog;
};

void CYunLoginDialog::InitAccountLogin()
{
    auto *page = new QWidget(m_tabs);
    QVBoxLayout *column = loginform::makeColumn(page);
    CIconEditWidget *accountField = loginform::makeField("accountEdit", QStringLiteral(":/images/images/user.svg"),
                                                         QStringLiteral("请输入账号"), page);
    m_account = accountField->lineEdit();
    m_passwordField = loginform::makeField("passwordEdit", QStringLiteral(":/images/images/lock.svg"),
                                           QStringLiteral("请输入密码"), page);
    m_password = m_passwordField->lineEdit();
    m_password->setPasswordField(true);
    m_passwordField->setSuffixIconPath(QStringLiteral(":/images/images/closeEye.svg"));
    m_passwordField->setSuffixName(QStringLiteral("显示密码"));
    m_rememberPassword = loginform::makeCheckBox("rememberPassword", QStringLiteral("记住密码"), page);
    m_accountAuto = loginform::makeCheckBox("accountAutoLogin", QStringLiteral("自动登录"), page);
    CCustomBtn *login = loginform::makeLoginButton("accountLoginButton", page);
    // Tab goes from field to field; the links come after.
    CCustomBtn *registerLink = loginform::makeSideButton("registerButton", QStringLiteral("  注册账号  "), true, page);
    CCustomBtn *forgetLink = loginform::makeSideButton("forgetButton", QStringLiteral("  忘记密码  "), true, page);

    loginform::addRow(column, accountField, registerLink);
    loginform::addRow(column, m_passwordField, forgetLink);
    loginform::addCheckBoxes(column, m_rememberPassword, m_accountAuto);
    column->addWidget(login);
    m_tabs->addTab(page, QStringLiteral("账号登录"));

    m_password->installEventFilter(this);
    connect(m_account, &QLineEdit::returnPressed, this, &CYunLoginDialog::onAccountEntered);
    startOnReturn(m_password, &CYunLoginDialog::onAccountLoginBtn);
    connect(registerLink, &QPushButton::clicked, this, &CYunLoginDialog::onRegisterAccount);
    connect(forgetLink, &QPushButton::clicked, this, &CYunLoginDialog::onForgetPassword);
    connect(m_passwordField, &CIconEditWidget::SuffixBtnClickedSignal, this, &CYunLoginDialog::PasswordStateChanged);
    connect(m_accountAuto, &QCheckBox::stateChanged, this, &CYunLoginDialog::OnAccountAutoLoginChkChanged);
    connect(login, &QPushButton::clicked, this, &CYunLoginDialog::onAccountLoginBtn);
}

void CYunLoginDialog::onAccountEntered()
{
    m_password->setFocus(Qt::TabFocusReason);
}

void CYunLoginDialog::PasswordStateChanged()
{
    showPassword(m_password->echoMode() == QLineEdit::Password);
}

void CYunLoginDialog::showPassword(bool show)
{
    m_password->setEchoMode(show ? QLineEdit::Normal : QLineEdit::Password);
    // An input method learns nothing from it either; showing the text has cleared the hints.
    m_password->setInputMethodHints(m_password->inputMethodHints() | Qt::ImhHiddenText | Qt::ImhSensitiveData |
                                    Qt::ImhNoPredictiveText | Qt::ImhNoAutoUppercase);
    m_passwordField->setSuffixIconPath(show ? QStringLiteral(":/images/images/openEye.svg")
                                            : QStringLiteral(":/images/images/closeEye.svg"));
    m_passwordField->setSuffixName(show ? QStringLiteral("隐藏密码") : QStringLiteral("显示密码"));
}

// The remember box follows both ways, deliberately.
void CYunLoginDialog::OnAccountAutoLoginChkChanged(int state)
{
    if (state != Qt::PartiallyChecked)
        m_rememberPassword->setChecked(state == Qt::Checked);
}

void CYunLoginDialog::onAccountLoginBtn()
{
    const QPointer<CYunLoginDialog> self(this);
    const QSharedPointer<ICloudLoginNotify> asker = m_notify;
    if (!mayStart() || !ExecuteLoginByAccount())
        return;
    // The user is signed in, so the caller hears of it even if the dialog has been closed during the call.
    const QSharedPointer<ICloudLoginNotify> notify = self ? m_notify : asker;
    if (self)
        close();
    if (!notify)
        return;
    VT_LOG(info) << QStringLiteral("开始通知云登录后事件");
    cloudcalls::tellCaller(notify);
}

// After the call this dialog can be gone.
bool CYunLoginDialog::ExecuteLoginByAccount()
{
    stopPoller();
    const QString account = m_account->text();
    if (account.isEmpty()) {
        refuse(QStringLiteral("账号不能为空!"), QStringLiteral("账号不能为空!"));
        return false;
    }
    if (m_password->text().isEmpty()) {
        refuse(QStringLiteral("密码不能为空!"), QStringLiteral("密码不能为空!"));
        return false;
    }
    ICloudServiceAssistant *assistant = cloudcalls::assistant();
    if (!assistant) {
        refuse(QStringLiteral("获取云服务失败"), QStringLiteral("【账号密码登录】获取云服务失败"));
        return false;
    }
    VT_LOG(info) << QStringLiteral("开始登录云账号");
    const QPointer<CYunLoginDialog> self(this);
    const cloudcalls::Outcome outcome = waitForAccountLogin(*assistant);
    if (outcome.ok()) {
        VT_LOG(info) << QStringLiteral("用户%1登录成功").arg(account);
        return true;
    }
    const QString tip = accountFailure(outcome);
    if (self)
        showLoginTip(tip, eTipError);
    return false;
}

cloudcalls::Outcome CYunLoginDialog::waitForAccountLogin(ICloudServiceAssistant &assistant)
{
    s_attempt = std::make_shared<Attempt>();
    s_attempt->output = assistant.CreateOutputArgs();
    const std::weak_ptr<Attempt> running = s_attempt;
    {
        const Waiting waiting(this);
        ExecYunLogin(&assistant, accountInput(assistant), s_attempt->output);
    }
    const std::shared_ptr<Attempt> attempt = running.lock();
    if (!attempt)
        return {tarn::cloud::code::NoConnection, QStringLiteral("服务正在停止"), {}};
    s_attempt.reset();
    return cloudcalls::outcomeOf(*attempt->output);
}

ICloudServiceAssistant::Input CYunLoginDialog::accountInput(ICloudServiceAssistant &assistant) const
{
    const QString typed = m_password->text();
    ICloudServiceAssistant::Input input = assistant.CreateInputArgs();
    input->SetValue(key::User, m_account->text());
    // A buffer of its own, which whoever is done with it can overwrite.
    input->SetValue(key::Password, QString(typed.constData(), typed.size()));
    input->SetValue(key::AutoLogin, m_accountAuto->isChecked());
    input->SetValue(key::Remember, m_rememberPassword->isChecked());
    input->SetValue(key::YunLockErrorTip, m_yunLockErrorTip);
    return input;
}

void CYunLoginDialog::abandonAttempt()
{
    s_attempt.reset();
    AbandonYunLogin();
}

// Also a dialog that was closed meanwhile can have an attempt under way.
bool CYunLoginDialog::mayStart()
{
    if (m_closed)
        return false;
    if (!s_attempt)
        return true;
    if (!m_waiting)
        showLoginTip(QStringLiteral("上一次登录尚未完成，请稍候再试。"), eTipNormal);
    return false;
}

void CYunLoginDialog::beginWaiting()
{
    m_waiting = true;
    m_focusBefore = focusWidget();
    QApplication::setOverrideCursor(Qt::WaitCursor);
    setEnabled(false);
}

void CYunLoginDialog::endWaiting()
{
    if (!m_waiting)
        return;
    m_waiting = false;
    setEnabled(true);
    QApplication::restoreOverrideCursor();
    if (m_focusBefore)
        m_focusBefore->setFocus(Qt::OtherFocusReason);
}
