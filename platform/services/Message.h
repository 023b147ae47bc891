#pragma once
#include "services/RequestReader.h"
#include <QVector>

namespace tarn::services {

/// The longest accepted texts, in bytes of UTF-8.
namespace limit {
constexpr int Id = 256;
constexpr int Line = 4096; ///< title, link, path, time
constexpr int Content = 1024 * 1024;
} // namespace limit

/// A message has an id (MsgId), a state (unRead) and these fields.
struct MessageField
{
    QString key; ///< in requests and records
    const char *column;
    int maxBytes; ///< of UTF-8; 0 for a number
};
const QVector<MessageField> &messageFields();

/// Reads a message from a request's keys; other keys are ignored, missing ones are empty or 0. A message needs a title
/// or a content. This and the next functions throw BadRequest, which names the key.
/// @return the message's values by key: the record that callers read
QVariantMap readMessage(const RequestReader &request);
QString readId(const RequestReader &request);
void checkId(const QString &id); ///< whether a message may have this id
/// An optional text of limited size in UTF-8.
QString readShort(const RequestReader &request, const QString &key, int maxBytes);

} // namespace tarn::services
