#include "login/PhonePage.h"
#include "login/DigitsValidator.h"
#include "widgets/CustomBtn.h"
#include "widgets/CustomLineEdit.h"
#include "widgets/Look.h"

namespace tarn::visualized {

PhonePage::PhonePage(QWidget *parent)
    : LoginPage({"phoneEdit", look::icon::Phone, QStringLiteral("请输入手机号")},
                {"codeEdit", look::icon::Code, QStringLiteral("请输入动态密码")},
                {"rememberPhone", QStringLiteral("记住手机号"), "phoneAutoLogin", "phoneLoginButton"}, parent)
{
    m_user->setValidator(new DigitsValidator(QStringLiteral("^\\d{11}$"), QStringLiteral("86"), m_user));
    m_secret->setValidator(new DigitsValidator(QStringLiteral("[0-9]+$"), QString(), m_secret));
    m_codeButton = addSideButton(m_secretRow, "codeButton", QStringLiteral("  获取动态密码  "), false);
    setTabOrder(m_secret, m_codeButton);
    connect(m_codeButton, &QPushButton::clicked, this, &PhonePage::codeRequested);
}

bool PhonePage::canRequestCode() const
{
    return m_codeButton->isEnabled();
}

void PhonePage::allowCode(bool allowed)
{
    m_codeButton->setEnabled(allowed);
    m_codeButton->repaint(); // the call that follows holds the GUI thread
}

void PhonePage::showCountdown(int seconds)
{
    m_codeButton->setEnabled(seconds == 0);
    m_codeButton->setText(seconds == 0 ? QStringLiteral("  获取动态密码  ")
                                       : QStringLiteral("  重试(%1)  ").arg(seconds));
    m_codeButton->setAccessibleName(m_codeButton->text().trimmed());
}

void PhonePage::showBusy(bool busy)
{
    m_login->setText(busy ? QStringLiteral("登录中...") : QStringLiteral("立即登录"));
    m_login->repaint(); // the call that follows holds the GUI thread
}

void PhonePage::focusCode()
{
    m_secret->setFocus(Qt::OtherFocusReason);
}

} // namespace tarn::visualized
