#include "login/DigitsValidator.h"

namespace tarn::visualized {
namespace {
// Blanks of all widths, dashes, brackets, and the invisible marks in numbers copied from a page.
bool isFiller(QChar c)
{
    switch (c.category()) {
    case QChar::Punctuation_Dash:
    case QChar::Punctuation_Open:
    case QChar::Punctuation_Close:
    case QChar::Other_Format:
        return true;
    default:
        return c.isSpace();
    }
}

bool isPlus(QChar c)
{
    return c == QLatin1Char('+') || c == QChar(0xFF0B); // full-width
}
} // namespace

DigitsValidator::DigitsValidator(const QString &expression, QObject *parent)
    : QRegularExpressionValidator(QRegularExpression(expression), parent)
{
}

QString DigitsValidator::plainDigits(const QString &text) const
{
    QString plain;
    plain.reserve(text.size());
    for (const QChar c : text) {
        if (c.isDigit())
            plain += QChar(ushort('0' + c.digitValue()));
        else if (isPlus(c))
            plain += QLatin1Char('+');
        else if (!isFiller(c))
            plain += c;
    }
    if (m_countryCode.isEmpty())
        return plain;
    for (const QLatin1String &sign : {QLatin1String("+"), QLatin1String("00")}) {
        const QString code = sign + m_countryCode;
        if (plain.size() > code.size() && plain.startsWith(code))
            return plain.mid(code.size());
    }
    return plain;
}

bool DigitsValidator::isUnfinishedCountryCode(const QString &text) const
{
    return !m_countryCode.isEmpty() && text.startsWith(QLatin1Char('+')) &&
           (QLatin1Char('+') + m_countryCode).startsWith(text);
}

QValidator::State DigitsValidator::validate(QString &input, int &position) const
{
    QString digits = plainDigits(input);
    if (isUnfinishedCountryCode(digits))
        return Intermediate;
    // Counted from the end, since what is removed from the front is known only for the whole text.
    int cursor = qMax(0, digits.size() - plainDigits(input.mid(position)).size());
    const State state = QRegularExpressionValidator::validate(digits, cursor);
    if (state != Invalid && digits != input) {
        input = digits;
        position = cursor;
    }
    return state;
}

} // namespace tarn::visualized
