#pragma once
#include "services/RequestReader.h"
#include <QString>
#include <QVariantMap>
#include <array>

namespace tarn::services {

/// One stored message without its history.
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

/// The longest accepted texts, in bytes of UTF-8.
namespace limit {
constexpr int Id = 256;
constexpr int Line = 4096; ///< title, link, path, time
constexpr int Content = 1024 * 1024;
} // namespace limit

/// The texts and numbers of a message: their key in requests and records, and their column in the database.
struct TextField
{
    QString key;
    const char *column;
    QString Message::*member;
    int maxBytes;
};
struct IntField
{
    QString key;
    const char *column;
    int Message::*member;
};
const std::array<TextField, 7> &textFields();
const std::array<IntField, 5> &intFields();

/// Reads a message from a request's keys; other keys are ignored, missing ones keep their defaults. A message needs a
/// title or a content.
/// @return the mistake, naming the key; empty when there is none
QString parseMessage(const QVariantMap &values, Message *message);

QString readId(RequestReader *request);
QString faultOfId(const QString &id); ///< empty when a message may have this id
/// An optional text of limited size in UTF-8.
QString readShort(RequestReader *request, const QString &key, int maxBytes);

/// The record as callers read it.
QVariantMap toRecord(const Message &message);

/// Milliseconds since 1970 by which messages are ordered: the time of dateTime, or fallback when it has no known form.
qint64 sortTime(const QString &dateTime, qint64 fallback);

} // namespace tarn::services
