#pragma once
#include "services/Failure.h"
#include "tarn/link/MessageWire.h"
#include "tarn/rpc/Bag.h"

/// Lists that are too long for one message of the RPC layer are answered in pages.
namespace tarn::services {

/// Well under the 4 MiB that the RPC layer carries in one message.
constexpr qint64 PageBytes = 1536 * 1024;

/// An upper estimate of a value's size in a message: a character has at most three bytes of UTF-8.
inline qint64 estimatedBytes(const QVariant &value)
{
    constexpr qint64 Fixed = 24; // numbers, lengths, tags
    qint64 bytes = Fixed;
    if (value.userType() == QMetaType::QVariantMap) {
        const QVariantMap map = value.toMap();
        for (auto it = map.cbegin(); it != map.cend(); ++it)
            bytes += Fixed + 3 * it.key().size() + estimatedBytes(*it);
    } else if (value.userType() == QMetaType::QVariantList) {
        for (const QVariant &entry : value.toList())
            bytes += estimatedBytes(entry);
    } else if (value.userType() == QMetaType::QString) {
        bytes += 3 * value.toString().size();
    }
    return bytes;
}

/// The failure for a cursor that no page has named.
inline Failure noSuchPlace(const QString &cursor)
{
    return Failure(QStringLiteral("no such place in the list: \"%1\"; ask for the list again").arg(cursor.left(100)));
}

/// One page of a list. A page that is not the last names its last record's place: the next page begins behind it.
class Page
{
public:
    static constexpr int MaxRecords = 1000; ///< and at most PageBytes; a single larger record is a page by itself

    /// @return false when the record belongs to the next page
    bool add(const QVariantMap &record, const QString &place)
    {
        m_bytes += estimatedBytes(record);
        if (!bag.list.isEmpty() && (bag.list.size() == MaxRecords || m_bytes > PageBytes)) {
            bag.values.insert(link::wire::Cursor, m_last);
            return false;
        }
        bag.list.append(record);
        m_last = place;
        return true;
    }
    bool isLast() const { return bag.values.isEmpty(); }

    rpc::Bag bag;

private:
    QString m_last;
    qint64 m_bytes = 0;
};

} // namespace tarn::services
