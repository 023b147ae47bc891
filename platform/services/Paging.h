#pragma once
#include <QVariant>

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

} // namespace tarn::services
