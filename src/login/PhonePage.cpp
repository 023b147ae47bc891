#include "login/PhonePage.h"
#include "login/DigitsValidator.h"
#include "login/LoginForm.h"
#include "login/ReturnKey.h"
#include "widgets/CustomBtn.h"
#include "widgets/CustomLineEdit.h"
#include "widgets/IconEditWidget.h"
#include "widgets/Look.h"
#include <QBoxLayout>
#include <QCheckBox>

namespace tarn::visualized {

PhonePage::PhonePage(QWidget *parent)
    : QWidget(parent)
{
    CIconEditWidget *phoneField =
        loginform::makeField("phoneEdit", look::icon::Phone, QStringLiteral("请输入手机号"), this);
    m_phone = phoneField->lineEdit();
    auto *phoneNumber = new DigitsValidator(QStringLiteral("^\\d{11}$"), m_phone);
    phoneNumber->setCountryCode(QStringLiteral("86"));
    m_phone->setValidator(phoneNumber);
    CIconEditWidget *codeField =
        loginform::makeField("codeEdit", look::icon::Code, QStringLiteral("请输入动态密码"), this);
    m_code = codeField->lineEdit();
    m_code->setValidator(new DigitsValidator(QStringLiteral("[0-9]+$"), m_code));
    m_codeButton = loginform::makeSideButton("codeButton", QStringLiteral("  获取动态密码  "), false, this);
    m_remember = loginform::makeCheckBox("rememberPhone", QStringLiteral("记住手机号"), this);
    m_automatic = loginform::makeCheckBox("phoneAutoLogin", QStringLiteral("自动登录"), this);
    m_login = loginform::makeLoginButton("phoneLoginButton", this);

    QVBoxLayout *column = loginform::makeColumn(this);
    loginform::addRow(column, phoneField, nullptr);
    loginform::addRow(column, codeField, m_codeButton);
    loginform::addCheckBoxes(column, m_remember, m_automatic);
    column->addWidget(m_login);

    connect(m_phone, &QLineEdit::returnPressed, m_code, [this] { m_code->setFocus(Qt::TabFocusReason); });
    connect(new ReturnKey(m_code), &ReturnKey::pressed, this, &PhonePage::signInRequested);
    connect(m_codeButton, &QPushButton::clicked, this, &PhonePage::codeRequested);
    connect(m_automatic, &QCheckBox::stateChanged, this, &PhonePage::automaticChanged);
    connect(m_login, &QPushButton::clicked, this, &PhonePage::signInRequested);
}

CodeSignIn::Request PhonePage::request() const
{
    return {m_phone->text(), m_code->text(), m_automatic->isChecked(), m_remember->isChecked()};
}

void PhonePage::fill(const CodeSignIn::Request &remembered)
{
    m_automatic->setChecked(remembered.automatic); // before the remember box, which follows it
    m_remember->setChecked(remembered.remember);
    m_phone->setText(remembered.phone);
}

bool PhonePage::canRequestCode() const
{
    return m_codeButton->isEnabled();
}

void PhonePage::setRemember(bool on)
{
    m_remember->setChecked(on);
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
    m_code->setFocus(Qt::OtherFocusReason);
}

} // namespace tarn::visualized
