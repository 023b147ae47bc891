#pragma once
#include <QRegularExpressionValidator>

namespace tarn::visualized {

/// For numbers as people type and paste them: removes blanks, dashes and brackets and converts full-width digits before
/// the expression is applied. GUI thread.
class DigitsValidator final : public QRegularExpressionValidator
{
    Q_OBJECT
public:
    /// @param countryCode digits that are removed from the front of a number, "+86" or "0086"; empty for none
    DigitsValidator(const QString &expression, const QString &countryCode, QObject *parent);

    State validate(QString &input, int &position) const override;

private:
    QString plainDigits(const QString &text) const;

    const QString m_countryCode;
};

} // namespace tarn::visualized
