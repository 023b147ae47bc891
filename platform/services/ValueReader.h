#pragma once
#include "services/Failure.h"
#include <QVariantMap>

namespace tarn::services {

/// Reads the values of a request or of an object in a file. The functions throw BadRequest, which names the key.
class ValueReader
{
public:
    static constexpr int MaxText = 65536; ///< characters, where no limit is given
    static constexpr int MaxName = 256;   ///< characters

    /// @param place precedes the keys in error texts
    explicit ValueReader(QVariantMap values, QString place = {})
        : m_values(std::move(values))
        , m_place(std::move(place))
    {
    }

    const QVariantMap &values() const { return m_values; }
    QString text(const QString &key, int maxSize = MaxText) const;         ///< may be empty, but not missing
    QString name(const QString &key) const;                                ///< 1 to MaxName characters
    QString optionalText(const QString &key, int maxSize = MaxText) const; ///< missing or null: empty
    bool flag(const QString &key, bool otherwise = false) const;           ///< missing or null: otherwise
    int integer(const QString &key) const;                                 ///< of any integer type, if it fits
    void expect(bool holds, const QString &key, const QString &wanted) const;

protected:
    QString placeOf(const QString &key) const { return m_place + key; }

private:
    QVariantMap m_values;
    QString m_place;
};

/// No control or format characters, no line or paragraph separators: nothing hides or turns parts of the text.
bool isPlainText(const QString &text);

} // namespace tarn::services
