#include "login/AccountPage.h"
#include "widgets/CustomBtn.h"
#include "widgets/CustomLineEdit.h"
#include "widgets/IconEditWidget.h"
#include "widgets/Look.h"

namespace tarn::visualized {

AccountPage::AccountPage(QWidget *parent)
    : LoginPage({"accountEdit", look::icon::User, QStringLiteral("请输入账号")},
                {"passwordEdit", look::icon::Lock, QStringLiteral("请输入密码")},
                {"rememberPassword", QStringLiteral("记住密码"), "accountAutoLogin", "accountLoginButton"}, parent)
{
    m_secret->setPasswordField(true);
    showPassword(false);
    const auto *registerLink = addSideButton(m_userRow, "registerButton", QStringLiteral("  注册账号  "), true);
    const auto *forgetLink = addSideButton(m_secretRow, "forgetButton", QStringLiteral("  忘记密码  "), true);
    connect(registerLink, &QPushButton::clicked, this, &AccountPage::registerRequested);
    connect(forgetLink, &QPushButton::clicked, this, &AccountPage::forgetRequested);
    connect(m_secretField, &CIconEditWidget::SuffixBtnClickedSignal, this, &AccountPage::eyeClicked);
}

bool AccountPage::showsPassword() const
{
    return m_secret->echoMode() != QLineEdit::Password;
}

void AccountPage::showPassword(bool show)
{
    m_secret->setEchoMode(show ? QLineEdit::Normal : QLineEdit::Password);
    // setEchoMode() clears the hints of a shown text; input methods must not learn the password in either mode.
    m_secret->setInputMethodHints(m_secret->inputMethodHints() | Qt::ImhHiddenText | Qt::ImhSensitiveData |
                                  Qt::ImhNoPredictiveText | Qt::ImhNoAutoUppercase);
    m_secretField->setSuffixIconPath(show ? look::icon::EyeOpen : look::icon::EyeClosed);
    m_secretField->setSuffixName(show ? QStringLiteral("隐藏密码") : QStringLiteral("显示密码"));
}

} // namespace tarn::visualized
