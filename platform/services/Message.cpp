#include "services/Message.h"
#include "tarn/keys/MessageKeys.h"
#include <QDateTime>
#include <algorithm>

namespace tarn::services {

using namespace message;

const std::array<TextField, 7> &textFields()
{
    static const std::array<TextField, 7> fields{{
        {key::MsgTitle, "title", &Message::title, limit::Line},
        {key::MsgContent, "content", &Message::content, limit::Content},
        {key::MsgDateTime, "date_time", &Message::dateTime, limit::Line},
        {key::BegTime, "beg_time", &Message::begTime, limit::Line},
        {key::PicFilePath, "picture", &Message::picture, limit::Line},
        {key::LinkText, "link_text", &Message::linkText, limit::Line},
        {key::LinkAdress, "link", &Message::link, limit::Line},
    }};
    return fields;
}

const std::array<IntField, 5> &intFields()
{
    static const std::array<IntField, 5> fields{{
        {key::WndWidth, "wnd_width", &Message::wndWidth},
        {key::WndHeight, "wnd_height", &Message::wndHeight},
        {key::WndStay, "wnd_stay", &Message::wndStay},
        {key::PhotoHight, "photo_height", &Message::photoHeight},
        {key::PhotoWidth, "photo_width", &Message::photoWidth},
    }};
    return fields;
}

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
    for (const TextField &field : textFields())
        message->*field.member = readShort(&request, field.key, field.maxBytes);
    for (const IntField &field : intFields()) {
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
    for (const TextField &field : textFields())
        record.insert(field.key, message.*field.member);
    for (const IntField &field : intFields())
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
