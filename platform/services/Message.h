#pragma once
#include <QString>
#include <QVariantMap>

namespace tarn::services {

/// One message as the store keeps it, without its history.
struct Message
{
    QString id;
    QString title;
    QString content;
    QString dateTime; ///< shown as received
    QString begTime;
    QString picture;
    QString linkText;
    QString link;
    int wndWidth = 0;
    int wndHeight = 0;
    int wndStay = 0;
    int photoHeight = 0;
    int photoWidth = 0;
    bool unread = true;
};

/// Longest texts that are taken, in bytes of UTF-8.
namespace limit {
constexpr int Id = 256;
constexpr int Line = 4096; ///< title, link, path, time
constexpr int Content = 1024 * 1024;
} // namespace limit

/// Takes a message from a request's keys; keys that are not a message's are left alone, missing ones keep their
/// defaults. A message needs a title or a content.
/// @return what is wrong, naming the key; empty when all is well
QString parseMessage(const QVariantMap &values, Message *message);

/// Checks an id as it comes from outside. @return what is wrong, empty when all is well
QString checkId(const QVariant &id);
/// Checks an optional text. @return what is wrong, naming key; empty when all is well
QString checkText(const QVariantMap &values, const QString &key, int maxBytes);
/// Reads an integer of any integer type. @return what is wrong, naming key; empty when all is well
QString readInt(const QVariantMap &values, const QString &key, int *number);

/// The record as callers read it.
QVariantMap toRecord(const Message &message);

/// Milliseconds since 1970 by which messages are ordered: what dateTime says, or fallback when that is no known form.
qint64 sortTime(const QString &dateTime, qint64 fallback);

} // namespace tarn::services
