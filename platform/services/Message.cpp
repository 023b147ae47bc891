#include "services/Message.h"
#include "tarn/keys/MessageKeys.h"
#include <QDateTime>
#include <algorithm>
#include <limits>

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

bool isInteger(const QVariant &value)
{
    switch (value.userType()) {
    case QMetaType::Int:
    case QMetaType::UInt:
    case QMetaType::LongLong:
    case QMetaType::ULongLong:
        return true;
    default:
        return false;
    }
}

} // namespace

QString checkId(const QVariant &id)
{
    if (!id.isValid())
        return QStringLiteral("%1 is missing").arg(key::MsgId);
    if (id.userType() != QMetaType::QString)
        return QStringLiteral("%1: a string is wanted").arg(key::MsgId);
    const QString text = id.toString();
    if (text.isEmpty())
        return QStringLiteral("%1 is empty").arg(key::MsgId);
    if (text.size() > limit::Id || text.toUtf8().size() > limit::Id)
        return QStringLiteral("%1 is longer than %2 bytes").arg(key::MsgId).arg(limit::Id);
    if (std::any_of(text.cbegin(), text.cend(), [](QChar c) { return c.category() == QChar::Other_Control; }))
        return QStringLiteral("%1 holds a control character").arg(key::MsgId);
    return {};
}

QString checkText(const QVariantMap &values, const QString &key, int maxBytes)
{
    const auto it = values.constFind(key);
    if (it == values.cend() || it->isNull())
        return {};
    if (it->userType() != QMetaType::QString)
        return QStringLiteral("%1: a string is wanted").arg(key);
    if (it->toString().toUtf8().size() > maxBytes)
        return QStringLiteral("%1 is longer than %2 bytes").arg(key).arg(maxBytes);
    return {};
}

QString readInt(const QVariantMap &values, const QString &key, int *number)
{
    const QVariant value = values.value(key);
    if (!isInteger(value))
        return QStringLiteral("%1: an integer is wanted").arg(key);
    bool fits = false;
    const qlonglong wide = value.toLongLong(&fits);
    if (!fits || wide < std::numeric_limits<int>::min() || wide > std::numeric_limits<int>::max())
        return QStringLiteral("%1 does not fit into 32 bits").arg(key);
    *number = static_cast<int>(wide);
    return {};
}

QString parseMessage(const QVariantMap &values, Message *message)
{
    QString wrong = checkId(values.value(key::MsgId));
    if (!wrong.isEmpty())
        return wrong;
    message->id = values.value(key::MsgId).toString();
    for (const TextField &field : TextFields) {
        wrong = checkText(values, field.key, field.maxBytes);
        if (!wrong.isEmpty())
            return wrong;
        message->*field.member = values.value(field.key).toString();
    }
    for (const IntField &field : IntFields) {
        if (values.contains(field.key))
            wrong = readInt(values, field.key, &(message->*field.member));
        if (!wrong.isEmpty())
            return wrong;
    }
    const QVariant unread = values.value(key::unRead, true);
    if (unread.userType() != QMetaType::Bool)
        return QStringLiteral("%1: true or false is wanted").arg(key::unRead);
    message->unread = unread.toBool();
    if (message->title.isEmpty() && message->content.isEmpty())
        return QStringLiteral("%1 and %2 are both empty").arg(key::MsgTitle, key::MsgContent);
    return {};
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
