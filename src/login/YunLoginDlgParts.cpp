// The sign-in dialog's parts, its tips, and how it waits.
#include "login/LoginPage.h"
#include "login/WaitNotice.h"
#include "login/YunLoginDlg.h"
#include "widgets/BringToFront.h"
#include "widgets/CustomTitleBar.h"
#include "widgets/IconEditWidget.h"
#include "widgets/Look.h"
#include "widgets/Picture.h"
#include <QApplication>
#include <QBoxLayout>
#include <QLabel>
#include <QRegularExpressionValidator>
#include <QTabBar>
#include <QTabWidget>

using namespace tarn::visualized;

namespace {
constexpr int SlowMs = 2000; // of waiting, until the user is offered to cancel

// Look: one sheet for the whole window
QString dialogSheet(const QWidget *w)
{
    return QStringLiteral("#loginBody{background-color:white;border:1px solid %1;}"
                          "#quickRule{background-color:%2;}"
                          "#quickTitle{color:#8A93A0;}"
                          "QTabWidget::tab-bar{alignment:center;}")
               .arg(look::FrameBlue, look::RuleGrey) +
           CIconEditWidget::sheet() + look::titleBand(look::BandBlue) +
           look::tabs(40, QStringLiteral("width:%1;padding:0px;").arg(look::px(150, w)), w) + look::blueButton() +
           look::whiteButton() + look::linkButton();
}

QWidget *quickRule(QWidget *parent)
{
    auto *line = look::named(new QWidget(parent), "quickRule");
    line->setAttribute(Qt::WA_StyledBackground);
    line->setFixedHeight(1);
    return line;
}

CCustomBtn *quickButton(const char *name, const QString &text, const QString &icon, QWidget *parent)
{
    auto *button = look::named(new CCustomBtn(text, CCustomBtn::White, parent), name, look::TextPx);
    button->setFixedHeight(look::scaled(38, parent));
    button->setIconSize(look::scaled(QSize(20, 20), parent));
    button->setIcon(picture::load(icon, button->iconSize(), parent->devicePixelRatioF()));
    return button;
}

/// For numbers as people type and paste them: removes blanks, dashes and brackets and converts full-width digits before
/// the expression is applied.
class DigitsValidator final : public QRegularExpressionValidator
{
public:
    /// @param countryCode digits that are removed from the front of a number, "+86" or "0086"; empty for none
    DigitsValidator(const QString &expression, const QString &countryCode, QObject *parent)
        : QRegularExpressionValidator(QRegularExpression(expression), parent)
        , m_countryCode(countryCode)
    {
    }
    State validate(QString &input, int &position) const override
    {
        QString digits = plainDigits(input);
        if (!m_countryCode.isEmpty() && digits.startsWith(QLatin1Char('+')) &&
            (QLatin1Char('+') + m_countryCode).startsWith(digits))
            return Intermediate;
        // Counted from the end: the number of characters removed from the front is known only for the whole text.
        int cursor = qMax(0, digits.size() - plainDigits(input.mid(position)).size());
        const State state = QRegularExpressionValidator::validate(digits, cursor);
        if (state != Invalid && digits != input) {
            input = digits;
            position = cursor;
        }
        return state;
    }

private:
    QString plainDigits(const QString &text) const
    {
        // Blanks of all widths, dashes, brackets, and the invisible marks in numbers copied from a page.
        static const QRegularExpression fillers(QStringLiteral("[\\s\\p{Z}\\p{Pd}\\p{Ps}\\p{Pe}\\p{Cf}]"),
                                                QRegularExpression::UseUnicodePropertiesOption);
        QString plain = text;
        plain.remove(fillers).replace(QChar(0xFF0B), QLatin1Char('+')); // full-width
        for (QChar &c : plain) {
            if (c.isDigit())
                c = QLatin1Char(char('0' + c.digitValue()));
        }
        for (const QLatin1String &sign : {QLatin1String("+"), QLatin1String("00")}) {
            const QString code = sign + m_countryCode;
            if (!m_countryCode.isEmpty() && plain.size() > code.size() && plain.startsWith(code))
                return plain.mid(code.size());
        }
        return plain;
    }

    const QString m_countryCode;
};
} // namespace

void CYunLoginDialog::InitDialog()
{
    if (m_tabs)
        return;
    prepare(QStringLiteral("云账号登录"));
    setWindowIcon(picture::windowIcon(look::icon::Login));
    QVBoxLayout *column = addBody(QStringLiteral("loginBody"));
    auto *content = look::space(new QVBoxLayout, {36, 8, 36, 28}, 22, this);
    InitLoginTypeTab();
    content->addWidget(m_tabs);
    content->addLayout(InitQuickLogin());
    column->addLayout(content);
    InitTitleBar(column);
    setStyleSheet(dialogSheet(this));
    setFixedSize(look::scaled(400, this), sizeHint().height());
    expectUnasked();
    m_slow.setSingleShot(true);
    connect(&m_slow, &QTimer::timeout, this, [this] { showNotice(QStringLiteral("正在登录，请稍候。"), true); });
    connect(&m_countdown, &QTimer::timeout, this, &CYunLoginDialog::OnTimeOut);
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
    m_tabs = look::named(new QTabWidget(this), "loginTabs");
    m_tabs->tabBar()->setFont(look::yaHei(15, QFont::Normal, this));
    m_tabs->tabBar()->setDrawBase(false);
    m_tabs->tabBar()->setAccessibleName(QStringLiteral("登录方式"));
    InitAccountLogin();
    InitVerificationTab();
}

void CYunLoginDialog::InitAccountLogin()
{
    m_accountPage = new LoginPage(
        {"accountEdit", look::icon::User, QStringLiteral("请输入账号")},
        {"passwordEdit", look::icon::Lock, QStringLiteral("请输入密码")},
        {"rememberPassword", QStringLiteral("记住密码"), "accountAutoLogin", "accountLoginButton"}, m_tabs);
    m_accountPage->secretEdit()->setPasswordField(true);
    showPassword(false);
    const auto *registerLink = m_accountPage->addSideButton(m_accountPage->userRow(), "registerButton",
                                                            QStringLiteral("  注册账号  "), CCustomBtn::Link);
    const auto *forgetLink = m_accountPage->addSideButton(m_accountPage->secretRow(), "forgetButton",
                                                          QStringLiteral("  忘记密码  "), CCustomBtn::Link);
    connect(m_accountPage, &LoginPage::signInRequested, this, &CYunLoginDialog::onAccountLoginBtn);
    connect(m_accountPage, &LoginPage::automaticChanged, this, &CYunLoginDialog::OnAccountAutoLoginChkChanged);
    connect(registerLink, &QPushButton::clicked, this, &CYunLoginDialog::onRegisterAccount);
    connect(forgetLink, &QPushButton::clicked, this, &CYunLoginDialog::onForgetPassword);
    connect(m_accountPage->secretField(), &CIconEditWidget::SuffixBtnClickedSignal, this,
            &CYunLoginDialog::PasswordStateChanged);
    m_tabs->addTab(m_accountPage, QStringLiteral("账号登录"));
}

void CYunLoginDialog::InitVerificationTab()
{
    m_phonePage =
        new LoginPage({"phoneEdit", look::icon::Phone, QStringLiteral("请输入手机号")},
                      {"codeEdit", look::icon::Code, QStringLiteral("请输入动态密码")},
                      {"rememberPhone", QStringLiteral("记住手机号"), "phoneAutoLogin", "phoneLoginButton"}, m_tabs);
    CCustomLineEdit *phone = m_phonePage->userEdit();
    CCustomLineEdit *code = m_phonePage->secretEdit();
    phone->setValidator(new DigitsValidator(QStringLiteral("^\\d{11}$"), QStringLiteral("86"), phone));
    code->setValidator(new DigitsValidator(QStringLiteral("[0-9]+$"), QString(), code));
    m_codeButton = m_phonePage->addSideButton(m_phonePage->secretRow(), "codeButton",
                                              QStringLiteral("  获取动态密码  "), CCustomBtn::Blue);
    setTabOrder(code, m_codeButton);
    connect(m_phonePage, &LoginPage::signInRequested, this, &CYunLoginDialog::onVerificationCodeLoginBtn);
    connect(m_phonePage, &LoginPage::automaticChanged, this, &CYunLoginDialog::OnVerifCodeAutoLogin);
    connect(m_codeButton, &QPushButton::clicked, this, &CYunLoginDialog::onGetVerificationCodeBtn);
    m_tabs->addTab(m_phonePage, QStringLiteral("短信登录"));
}

void CYunLoginDialog::showPassword(bool show)
{
    CCustomLineEdit *password = m_accountPage->secretEdit();
    password->setEchoMode(show ? QLineEdit::Normal : QLineEdit::Password);
    // setEchoMode() clears the hints of a shown text; input methods must not learn the password in either mode.
    password->setInputMethodHints(password->inputMethodHints() | Qt::ImhHiddenText | Qt::ImhSensitiveData |
                                  Qt::ImhNoPredictiveText | Qt::ImhNoAutoUppercase);
    CIconEditWidget *field = m_accountPage->secretField();
    field->setSuffixIconPath(show ? look::icon::EyeOpen : look::icon::EyeClosed);
    field->setSuffixName(show ? QStringLiteral("隐藏密码") : QStringLiteral("显示密码"));
}

QLayout *CYunLoginDialog::InitQuickLogin()
{
    auto *title = look::named(new QLabel(QStringLiteral("其他登录方式"), this), "quickTitle", look::TextPx);
    auto *weixin = quickButton("weixinButton", QStringLiteral("微信登录"), look::icon::Weixin, this);
    auto *qq = quickButton("qqButton", QStringLiteral("QQ登录"), look::icon::QQ, this);
    auto *band = new QVBoxLayout;
    band->setSpacing(look::scaled(14, this)); // also of the two rows
    auto *line = new QHBoxLayout;
    band->addLayout(line);
    line->addWidget(quickRule(this), 1);
    line->addWidget(title);
    line->addWidget(quickRule(this), 1);
    auto *buttons = new QHBoxLayout;
    band->addLayout(buttons);
    buttons->addWidget(weixin, 1);
    buttons->addWidget(qq, 1);
    connect(weixin, &QPushButton::clicked, this, &CYunLoginDialog::onWeixinLogin);
    connect(qq, &QPushButton::clicked, this, &CYunLoginDialog::onQQLogin);
    return band;
}

void CYunLoginDialog::focusEmptyField()
{
    currentPage()->focusEmptyField();
}

LoginPage *CYunLoginDialog::currentPage() const
{
    return qobject_cast<LoginPage *>(m_tabs->currentWidget());
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

void CYunLoginDialog::showEvent(QShowEvent *event)
{
    ToolDialog::showEvent(event);
    hideNotice(); // the dialog itself offers another attempt
}

void CYunLoginDialog::beginWaiting()
{
    m_waiting = true;
    m_focusBefore = focusWidget();
    QApplication::setOverrideCursor(Qt::WaitCursor);
    setEnabled(false);
    m_slow.start(SlowMs);
}

void CYunLoginDialog::endWaiting()
{
    if (!m_waiting)
        return;
    m_waiting = false;
    m_slow.stop();
    hideNotice();
    setEnabled(true);
    QApplication::restoreOverrideCursor();
    if (m_focusBefore)
        m_focusBefore->setFocus(Qt::OtherFocusReason);
}

void CYunLoginDialog::showAgain(const QString &tip)
{
    if (!isVisible()) // otherwise the user may be typing in it, and the field keeps the focus
        front::raiseOnce(this);
    showTip(tip, eTipError, eBoxOrigin::Unasked); // the user is in the browser or in another program
}

void CYunLoginDialog::showNotice(const QString &text, bool overDialog)
{
    // Without a parent it stays visible while the dialog is hidden.
    m_notice = std::make_unique<WaitNotice>(text, overDialog ? this : nullptr);
    connect(m_notice.get(), &QDialog::rejected, this, &CYunLoginDialog::cancelWait);
    m_notice->showFor(this);
}

// Hides it only: the notice can be the sender of the signal that is being handled.
void CYunLoginDialog::hideNotice()
{
    if (m_notice)
        m_notice->hide();
}
