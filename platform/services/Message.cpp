#include "services/Message.h"
#include "tarn/keys/MessageKeys.h"
#include <algorithm>

namespace tarn::services {

using namespace message;

const QVector<MessageField> &messageFields()
{
    static const QVector<MessageField> fields{
        {key::MsgTitle, "title", limit::Line},
        {key::MsgContent, "content", limit::Content},
        {key::MsgDateTime, "date_time", limit::Line},
        {key::BegTime, "beg_time", limit::Line},
        {key::PicFilePath, "picture", limit::Line},
        {key::LinkText, "link_text", limit::Line},
        {key::LinkAdress, "link", limit::Line},
        {key::WndWidth, "wnd_width", 0},
        {key::WndHeight, "wnd_height", 0},
        {key::WndStay, "wnd_stay", 0},
        {key::PhotoHight, "photo_height", 0},
        {key::PhotoWidth, "photo_width", 0},
    };
    return fields;
}

QString readId(const RequestReader &request)
{
    QString id = request.text(key::MsgId);
    checkId(id);
    return id;
}

void checkId(const QString &id)
{
    require(!id.isEmpty() && id.toUtf8().size() <= limit::Id,
            QStringLiteral("%1: expected 1 to %2 bytes").arg(key::MsgId, QString::number(limit::Id)));
    require(std::none_of(id.cbegin(), id.cend(), [](QChar c) { return c.category() == QChar::Other_Control; }),
            QStringLiteral("%1 holds a control character").arg(key::MsgId));
}

QString readShort(const RequestReader &request, const QString &key, int maxBytes)
{
    QString text = request.optionalText(key, maxBytes);
    require(text.toUtf8().size() <= maxBytes,
            QStringLiteral("%1 is longer than %2 bytes").arg(key, QString::number(maxBytes)));
    return text;
}

QVariantMap readMessage(const RequestReader &request)
{
    QVariantMap message{{key::MsgId, readId(request)}};
    for (const MessageField &field : messageFields()) {
        if (field.maxBytes > 0)
            message.insert(field.key, readShort(request, field.key, field.maxBytes));
        else
            message.insert(field.key, request.values().contains(field.key) ? request.integer(field.key) : 0);
    }
    message.insert(key::unRead, request.flag(key::unRead, true));
    require(!message.value(key::MsgTitle).toString().isEmpty() || !message.value(key::MsgContent).toString().isEmpty(),
            QStringLiteral("%1 and %2 are both empty").arg(key::MsgTitle, key::MsgContent));
    return message;
}

} // namespace tarn::services
