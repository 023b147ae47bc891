#pragma once
#include <QRegularExpressionValidator>

/// For numbers as people type and paste them: blanks and dashes go, full-width digits become plain ones,
/// before the expression is asked.
class DigitsValidator final : public QRegularExpressionValidator
{
    Q_OBJECT
public:
    DigitsValidator(const QString &expression, QObject *parent);

    State validate(QString &input, int &position) const override;
};
