#include "login/AccountPage.h"
#include "login/LoginForm.h"
#include "login/ReturnKey.h"
#include "widgets/CustomBtn.h"
#include "widgets/CustomLineEdit.h"
#include "widgets/IconEditWidget.h"
#include "widgets/Look.h"
#include <QBoxLayout>
#include <QCheckBox>

namespace tarn::visualized {

AccountPage::AccountPage(QWidget *parent)
    : QWidget(parent)
{
    CIconEditWidget *accountField =
        loginform::makeField("accountEdit", look::icon::User, QStringLiteral("请输入账号"), this);
    m_account = accountField->lineEdit();
    m_passwordField = loginform::makeField("passwordEdit", look::icon::Lock, QStringLiteral("请输入密码"), this);
    m_password = m_passwordField->lineEdit();
    m_password->setPasswordField(true);
    m_passwordField->setSuffixIconPath(look::icon::EyeClosed);
    m_passwordField->setSuffixName(QStringLiteral("显示密码"));
    m_remember = loginform::makeCheckBox("rememberPassword", QStringLiteral("记住密码"), this);
    m_automatic = loginform::makeCheckBox("accountAutoLogin", QStringLiteral("自动登录"), this);
    CCustomBtn *login = loginform::makeLoginButton("accountLoginButton", this);
    // Created after the fields: Tab follows the order of creation.
    CCustomBtn *registerLink = loginform::makeSideButton("registerButton", QStringLiteral("  注册账号  "), true, this);
    CCustomBtn *forgetLink = loginform::makeSideButton("forgetButton", QStringLiteral("  忘记密码  "), true, this);

    QVBoxLayout *column = loginform::makeColumn(this);
    loginform::addRow(column, accountField, registerLink);
    loginform::addRow(column, m_passwordField, forgetLink);
    loginform::addCheckBoxes(column, m_remember, m_automatic);
    column->addWidget(login);

    connect(m_account, &QLineEdit::returnPressed, m_password, [this] { m_password->setFocus(Qt::TabFocusReason); });
    connect(new ReturnKey(m_password), &ReturnKey::pressed, this, &AccountPage::signInRequested);
    connect(login, &QPushButton::clicked, this, &AccountPage::signInRequested);
    connect(registerLink, &QPushButton::clicked, this, &AccountPage::registerRequested);
    connect(forgetLink, &QPushButton::clicked, this, &AccountPage::forgetRequested);
    connect(m_passwordField, &CIconEditWidget::SuffixBtnClickedSignal, this, &AccountPage::eyeClicked);
    connect(m_automatic, &QCheckBox::stateChanged, this, &AccountPage::automaticChanged);
}

AccountSignIn::Request AccountPage::request() const
{
    return {m_account->text(), m_password->text(), m_automatic->isChecked(), m_remember->isChecked()};
}

void AccountPage::fill(const AccountSignIn::Request &remembered)
{
    m_automatic->setChecked(remembered.automatic); // before the remember box, which follows it
    m_remember->setChecked(remembered.remember);
    m_account->setText(remembered.account);
    m_password->setText(remembered.password);
}

bool AccountPage::showsPassword() const
{
    return m_password->echoMode() != QLineEdit::Password;
}

void AccountPage::setRemember(bool on)
{
    m_remember->setChecked(on);
}

void AccountPage::showPassword(bool show)
{
    m_password->setEchoMode(show ? QLineEdit::Normal : QLineEdit::Password);
    // setEchoMode() clears the hints of a shown text; input methods must not learn the password in either mode.
    m_password->setInputMethodHints(m_password->inputMethodHints() | Qt::ImhHiddenText | Qt::ImhSensitiveData |
                                    Qt::ImhNoPredictiveText | Qt::ImhNoAutoUppercase);
    m_passwordField->setSuffixIconPath(show ? look::icon::EyeOpen : look::icon::EyeClosed);
    m_passwordField->setSuffixName(show ? QStringLiteral("隐藏密码") : QStringLiteral("显示密码"));
}

} // namespace tarn::visualized
