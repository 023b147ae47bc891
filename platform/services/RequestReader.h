#pragma once
#include <QVariantMap>

namespace tarn::services {

/// Reads the values of a request and keeps the first mistake, naming the key. A value that is missing where that is
/// allowed, or wrong, reads as the default.
class RequestReader
{
public:
    static constexpr int MaxText = 65536; ///< characters, where no limit is given
    static constexpr int MaxName = 256;   ///< characters

    explicit RequestReader(const QVariantMap &values)
        : m_values(values)
    {
    }

    QString error() const { return m_error; } ///< empty while all is well
    void fail(const QString &error);          ///< unless there was a mistake before

    QString text(const QString &key, int maxSize = MaxText);         ///< may be empty, but not missing
    QString name(const QString &key);                                ///< 1 to MaxName characters
    QString optionalText(const QString &key, int maxSize = MaxText); ///< missing or null: empty
    bool flag(const QString &key, bool otherwise = false);
    int integer(const QString &key); ///< of any integer type, if it fits

private:
    QVariantMap m_values;
    QString m_error;
};

} // namespace tarn::services
