#include "login/PhonePage.h"
#include "widgets/CustomBtn.h"
#include "widgets/CustomLineEdit.h"
#include "widgets/Look.h"
#include <QRegularExpressionValidator>

namespace tarn::visualized {
namespace {
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
    State validate(QString &input, int &position) const override;

private:
    QString plainDigits(const QString &text) const;

    const QString m_countryCode;
};

QString DigitsValidator::plainDigits(const QString &text) const
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

QValidator::State DigitsValidator::validate(QString &input, int &position) const
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
} // namespace

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
