#pragma once
#include "services/Failure.h"
#include <QVariantMap>

namespace tarn::services {

/// Reads the values of a request. The functions throw BadRequest, which names the key.
class RequestReader
{
public:
    static constexpr int MaxText = 65536; ///< characters, where no limit is given
    static constexpr int MaxName = 256;   ///< characters

    /// @param values outlive the reader
    explicit RequestReader(const QVariantMap &values)
        : m_values(values)
    {
    }

    const QVariantMap &values() const { return m_values; }
    QString text(const QString &key, int maxSize = MaxText) const;         ///< may be empty, but not missing
    QString name(const QString &key) const;                                ///< 1 to MaxName characters
    QString optionalText(const QString &key, int maxSize = MaxText) const; ///< missing or null: empty
    bool flag(const QString &key, bool otherwise = false) const;
    int integer(const QString &key) const; ///< of any integer type, if it fits

private:
    const QVariantMap &m_values;
};

} // namespace tarn::services
