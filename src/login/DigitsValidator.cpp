#include "login/DigitsValidator.h"

namespace tarn::visualized {
DigitsValidator::DigitsValidator(const QString &expression, const QString &countryCode, QObject *parent)
    : QRegularExpressionValidator(QRegularExpression(expression), parent)
    , m_countryCode(countryCode)
{
}

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

} // namespace tarn::visualized
