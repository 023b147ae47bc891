#pragma once
#include <QString>

/// A secret in a buffer of its own, which is overwritten when this object goes. A copy of text() shares the buffer: it
/// has to be gone by then, since a shared buffer is left alone.
class SecretText final
{
public:
    explicit SecretText(const QString &text);
    ~SecretText();
    Q_DISABLE_COPY(SecretText)

    const QString &text() const { return m_text; }

    /// Overwrites and empties a text unless another one shares its buffer; then it is only emptied.
    static void wipe(QString *text);

private:
    QString m_text;
};
