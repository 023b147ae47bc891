#include "login/DigitsValidator.h"

namespace {
// Blanks of all widths, dashes, and the marks that come along when a number is copied from a page.
bool isFiller(QChar c)
{
    return c.isSpace() || c.category() == QChar::Punctuation_Dash || c.category() == QChar::Other_Format;
}

QString plainDigits(const QString &text)
{
    QString plain;
    plain.reserve(text.size());
    for (const QChar c : text) {
        if (c.isDigit())
            plain += QChar(ushort('0' + c.digitValue()));
        else if (!isFiller(c))
            plain += c;
    }
    return plain;
}
} // namespace

DigitsValidator::DigitsValidator(const QString &expression, QObject *parent)
    : QRegularExpressionValidator(QRegularExpression(expression), parent)
{
}

QValidator::State DigitsValidator::validate(QString &input, int &position) const
{
    QString digits = plainDigits(input);
    int cursor = plainDigits(input.left(position)).size();
    const State state = QRegularExpressionValidator::validate(digits, cursor);
    if (state != Invalid && digits != input) {
        input = digits;
        position = cursor;
    }
    return state;
}
