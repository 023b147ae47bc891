#include "services/Message.h"
#include "tarn/keys/MessageKeys.h"
#include <QDateTime>
#include <algorithm>

namespace tarn::services {

using namespace message;

namespace {

struct TextField
{
    const QString &key;
    QString Message::*member;
    int maxBytes;
};

struct IntField
{
    const QString &key;
    int Message::*member;
};

const TextField TextFields[] = {
    {key::MsgTitle, &Message::title, limit::Line},       {key::MsgContent, &Message::content, limit::Content},
    {key::MsgDateTime, &Message::dateTime, limit::Line}, {key::BegTime, &Message::begTime, limit::Line},
    {key::PicFilePath, &Message::picture, limit::Line},  {key::LinkText, &Message::linkText, limit::Line},
    {key::LinkAdress, &Message::link, limit::Line},
};

const IntField IntFields[] = {
    {key::WndWidth, &Message::wndWidth},     {key::WndHeight, &Message::wndHeight},
    {key::WndStay, &Message::wndStay},       {key::PhotoHight, &Message::photoHeight},
    {key::PhotoWidth, &Message::photoWidth},
};

} // namespace

QString readId(RequestReader *request)
{
    const QString id = request->text(key::MsgId);
    if (request->error().isEmpty())
        request->fail(faultOfId(id));
    return id;
}

QString faultOfId(const QString &id)
{
    if (id.isEmpty() || id.toUtf8().size() > limit::Id)
        return QStringLiteral("%1: expected 1 to %2 bytes").arg(key::MsgId, QString::number(limit::Id));
    const bool isPlain =
        std::none_of(id.cbegin(), id.cend(), [](QChar c) { return c.category() == QChar::Other_Control; });
    return isPlain ? QString() : QStringLiteral("%1 holds a control character").arg(key::MsgId);
}

QString readShort(RequestReader *request, const QString &key, int maxBytes)
{
    const QString text = request->optionalText(key, maxBytes);
    if (text.toUtf8().size() > maxBytes)
        request->fail(QStringLiteral("%1 is longer than %2 bytes").arg(key, QString::number(maxBytes)));
    return text;
}

QString parseMessage(const QVariantMap &values, Message *message)
{
    RequestReader request(values);
    message->id = readId(&request);
    for (const TextField &field : TextFields)
        message->*field.member = readShort(&request, field.key, field.maxBytes);
    for (const IntField &field : IntFields) {
        if (values.contains(field.key))
            message->*field.member = request.integer(field.key);
    }
    message->unread = request.flag(key::unRead, true);
    if (message->title.isEmpty() && message->content.isEmpty())
        request.fail(QStringLiteral("%1 and %2 are both empty").arg(key::MsgTitle, key::MsgContent));
    return request.error();
}

QVariantMap toRecord(const Message &message)
{
    QVariantMap record{{key::MsgId, message.id}, {key::unRead, message.unread}};
    for (const TextField &field : TextFields)
        record.insert(field.key, message.*field.member);
    for (const IntField &field : IntFields)
        record.insert(field.key, message.*field.member);
    return record;
}

qint64 sortTime(const QString &dateTime, qint64 fallback)
{
    QDateTime time = QDateTime::fromString(dateTime, QStringLiteral("yyyy-MM-dd hh:mm:ss"));
    if (!time.isValid())
        time = QDateTime::fromString(dateTime, Qt::ISODate);
    return time.isValid() ? time.toMSecsSinceEpoch() : fallback;
}

} // namespace tarn::services
