#include "services/MessageService.h"
#include "services/Log.h"
#include "tarn/keys/MessageKeys.h"
#include "tarn/link/MessageWire.h"
#include <QDateTime>
#include <QUuid>

namespace tarn::services {

using namespace message;
using rpc::Bag;
using rpc::CallResult;
namespace wire = link::wire;

namespace {

CallResult invalid(const QString &error)
{
    return refusedWith(code::InvalidArgs, error);
}

CallResult unknown(const QString &id)
{
    return refusedWith(code::Refused, QStringLiteral("no message \"%1\"").arg(id));
}

// error: the store's error, empty on success.
CallResult answer(const QString &error, Bag output = {})
{
    return error.isEmpty() ? acceptedWith(code::Ok, std::move(output)) : refusedWith(code::Refused, error);
}

// The ids of a status change. @return the mistake, empty when there is none
QString readIds(const QVariant &value, QStringList *ids)
{
    if (value.userType() != QMetaType::QVariantList && value.userType() != QMetaType::QStringList)
        return QStringLiteral("%1: expected a list of strings").arg(key::MsgIdList);
    for (const QVariant &id : value.toList()) {
        const QString wrong =
            id.userType() == QMetaType::QString ? faultOfId(id.toString()) : QStringLiteral("expected a string");
        if (!wrong.isEmpty())
            return QStringLiteral("%1, entry %2: %3").arg(key::MsgIdList, QString::number(ids->size()), wrong);
        ids->append(id.toString());
    }
    return ids->isEmpty() ? QStringLiteral("%1 is empty").arg(key::MsgIdList) : QString();
}

// The new status: each operate type has one.
int readStatus(RequestReader *request)
{
    const QString type = request->optionalText(key::OperateType);
    if (type != operate::MsgState && type != operate::MessageStatu)
        request->fail(QStringLiteral("%1: expected \"%2\" or \"%3\"")
                          .arg(key::OperateType, operate::MsgState, operate::MessageStatu));
    const int expected = type == operate::MsgState ? status::Read : status::Deleted;
    if (request->integer(type) != expected)
        request->fail(QStringLiteral("%1: expected %2").arg(type, QString::number(expected)));
    return expected;
}

QString describe(const CallResult &shown)
{
    if (!shown.arrived())
        return QString::fromStdString(shown.error.message);
    return shown.errorText.isEmpty() ? QStringLiteral("the visualized service refused it") : shown.errorText;
}

} // namespace

MessageService::MessageService(const QString &directory, Presenter presenter)
    : m_presenter(std::move(presenter))
{
    m_thread.run([&] { m_store = std::make_unique<MessageStore>(directory); });
}

MessageService::~MessageService()
{
    m_thread.run([&] { m_store.reset(); });
}

const HandlerTable<MessageService> &MessageService::handlers()
{
    static const HandlerTable<MessageService> table{
        {QStringLiteral("AddMessageReceipt"), &MessageService::addReceipt},
        {QStringLiteral("UpdateMessageStatus"), &MessageService::updateStatus},
        {QStringLiteral("GetAllMessageRecords"), &MessageService::allRecords},
        {QStringLiteral("GetMessageRecord"), &MessageService::oneRecord},
        {QStringLiteral("IgnoreMessage"), &MessageService::ignore},
        {wire::method::Push, &MessageService::push},
        {wire::method::Import, &MessageService::importAll},
        {wire::method::List, &MessageService::list},
        {wire::method::UnreadCount, &MessageService::unreadCount},
        {wire::method::Clear, &MessageService::clear},
    };
    return table;
}

CallResult MessageService::invoke(const QString &method, const Bag &input, const rpc::ICallContext &context)
{
    Q_UNUSED(context)
    return dispatch(this, handlers(), QStringLiteral("message"), method, input);
}

QString MessageService::store(const std::function<QString(MessageStore &)> &work)
{
    QString error;
    m_thread.run([&] { error = work(*m_store); });
    return error;
}

CallResult MessageService::addReceipt(const Bag &input)
{
    RequestReader request(input.values);
    const QString id = readId(&request);
    const int kind = request.integer(key::MessageReceipt);
    if (kind != receipt::Read && kind != receipt::Clicked)
        request.fail(QStringLiteral("%1: expected 2 (read) or 3 (clicked)").arg(key::MessageReceipt));
    const QString softName = readShort(&request, key::SoftName, limit::Id);
    if (!request.error().isEmpty())
        return invalid(request.error());
    bool known = false;
    const QString error = store([&](MessageStore &s) { return s.addReceipt(id, kind, softName, &known); });
    return known || !error.isEmpty() ? answer(error) : unknown(id);
}

CallResult MessageService::updateStatus(const Bag &input)
{
    QStringList ids;
    RequestReader request(input.values);
    const int status = readStatus(&request);
    request.fail(readIds(input.values.value(key::MsgIdList), &ids));
    if (!request.error().isEmpty())
        return invalid(request.error());
    int known = 0;
    const QString error = store([&](MessageStore &s) { return s.setStatus(ids, status, &known); });
    if (error.isEmpty() && known == 0)
        return unknown(ids.first());
    return answer(error, {{{wire::Updated, known}, {wire::Unknown, ids.size() - known}}, {}});
}

CallResult MessageService::allRecords(const Bag &input)
{
    return page(MessageStore::Kind::Records, input);
}

CallResult MessageService::oneRecord(const Bag &input)
{
    RequestReader request(input.values);
    const QString id = readId(&request);
    if (!request.error().isEmpty())
        return invalid(request.error());
    Bag output;
    const QString error = store([&](MessageStore &s) { return s.record(id, &output.list); });
    return answer(error, output);
}

CallResult MessageService::ignore(const Bag &input)
{
    RequestReader request(input.values);
    const QString id = readId(&request);
    const QString softName = readShort(&request, key::SoftName, limit::Id);
    if (!request.error().isEmpty())
        return invalid(request.error());
    bool known = false;
    const QString error = store([&](MessageStore &s) { return s.ignore(id, softName, &known); });
    return known || !error.isEmpty() ? answer(error) : unknown(id);
}

CallResult MessageService::push(const Bag &input)
{
    QVariantMap values = input.values;
    if (!values.contains(key::MsgId))
        values.insert(key::MsgId, QUuid::createUuid().toString(QUuid::WithoutBraces));
    if (!values.contains(key::MsgDateTime))
        values.insert(key::MsgDateTime, QDateTime::currentDateTime().toString(QStringLiteral("yyyy-MM-dd hh:mm:ss")));
    Message message;
    RequestReader request(values);
    request.fail(parseMessage(values, &message));
    const int badge = values.contains(key::unReadNum) ? request.integer(key::unReadNum) : 0;
    if (!request.error().isEmpty())
        return invalid(request.error());
    MessageStore::Delivery delivery;
    const QString error = store([&](MessageStore &s) { return s.put(message, &delivery); });
    if (!error.isEmpty())
        return answer(error);
    const int unread = values.contains(key::unReadNum) ? badge : delivery.unread;
    const QString showError =
        delivery.ignored ? QStringLiteral("the user chose not to see this message again") : present(message, unread);
    return answer({}, {{{key::MsgId, message.id},
                        {key::unReadNum, delivery.unread},
                        {wire::Shown, showError.isEmpty()},
                        {wire::ShowError, showError}},
                       {}});
}

// @return why no pop-up is shown, empty when it was accepted
QString MessageService::present(const Message &message, int unread)
{
    const CallResult shown = m_presenter({{{key::MsgId, message.id},
                                           {key::MsgTitle, message.title},
                                           {key::MsgContent, message.content},
                                           {key::LinkText, message.linkText},
                                           {key::LinkAdress, message.link},
                                           {key::PicFilePath, message.picture},
                                           {key::unReadNum, QString::number(unread)}},
                                          {}});
    if (shown.arrived() && shown.accepted)
        return {};
    QString reason = describe(shown);
    qCWarning(servicesLog).noquote()
        << QStringLiteral("message %1 is stored but not shown: %2").arg(message.id, reason);
    return reason;
}

CallResult MessageService::importAll(const Bag &input)
{
    QList<Message> messages;
    const int first = input.values.value(wire::First).toInt();
    for (const QVariant &entry : input.list) {
        Message message;
        QVariantMap values = entry.toMap();
        if (!values.contains(key::MsgId))
            values.insert(key::MsgId, QUuid::createUuid().toString(QUuid::WithoutBraces));
        const QString wrong = entry.userType() == QMetaType::QVariantMap ? parseMessage(values, &message)
                                                                         : QStringLiteral("expected a map");
        if (!wrong.isEmpty())
            return invalid(QStringLiteral("record %1: %2").arg(QString::number(first + messages.size()), wrong));
        messages.append(message);
    }
    const QString error = store([&](MessageStore &s) { return s.import(messages); });
    return answer(error, {{{wire::Imported, messages.size()}}, {}});
}

CallResult MessageService::list(const Bag &input)
{
    const bool all = input.values.value(wire::All).toBool();
    return page(all ? MessageStore::Kind::All : MessageStore::Kind::Details, input);
}

CallResult MessageService::page(MessageStore::Kind kind, const Bag &input)
{
    Bag output;
    QString cursor = input.values.value(wire::Cursor).toString();
    const QString error = store([&](MessageStore &s) { return s.page(kind, &cursor, &output.list); });
    if (!cursor.isEmpty())
        output.values.insert(wire::Cursor, cursor);
    return answer(error, output);
}

CallResult MessageService::unreadCount(const Bag &input)
{
    Q_UNUSED(input)
    int count = 0;
    const QString error = store([&](MessageStore &s) { return s.unreadCount(&count); });
    return answer(error, {{{key::unReadNum, count}}, {}});
}

CallResult MessageService::clear(const Bag &input)
{
    Q_UNUSED(input)
    int removed = 0;
    const QString error = store([&](MessageStore &s) { return s.clear(&removed); });
    return answer(error, {{{wire::Removed, removed}}, {}});
}

} // namespace tarn::services
