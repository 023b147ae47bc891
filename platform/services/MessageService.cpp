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

// error: what went wrong in the store, empty when all is well.
CallResult answer(const QString &error, Bag output = {})
{
    return error.isEmpty() ? acceptedWith(code::Ok, std::move(output)) : refusedWith(code::Refused, error);
}

// The ids of a status change. @return what is wrong, empty when all is well
QString readIds(const QVariant &value, QStringList *ids)
{
    if (value.userType() != QMetaType::QVariantList && value.userType() != QMetaType::QStringList)
        return QStringLiteral("%1: a list of strings is wanted").arg(key::MsgIdList);
    const QVariantList list = value.toList();
    if (list.isEmpty())
        return QStringLiteral("%1 is empty").arg(key::MsgIdList);
    ids->reserve(list.size());
    for (const QVariant &id : list) {
        const QString wrong = checkId(id);
        if (!wrong.isEmpty())
            return QStringLiteral("%1, entry %2: %3").arg(key::MsgIdList, QString::number(ids->size()), wrong);
        ids->append(id.toString());
    }
    return {};
}

// The new status. Each operate type stands for one.
QString readStatus(const QVariantMap &values, int *status)
{
    const QString operateType = values.value(key::OperateType).toString();
    if (operateType != operate::MsgState && operateType != operate::MessageStatu)
        return QStringLiteral("%1: \"%2\" or \"%3\" is wanted")
            .arg(key::OperateType, operate::MsgState, operate::MessageStatu);
    QString wrong = readInt(values, operateType, status);
    if (!wrong.isEmpty())
        return wrong;
    const int wanted = operateType == operate::MsgState ? status::Read : status::Deleted;
    return *status == wanted ? QString() : QStringLiteral("%1: %2 is wanted").arg(operateType).arg(wanted);
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
    int kind = 0;
    QString wrong = checkId(input.values.value(key::MsgId));
    if (wrong.isEmpty())
        wrong = readInt(input.values, key::MessageReceipt, &kind);
    if (wrong.isEmpty() && kind != receipt::Read && kind != receipt::Clicked)
        wrong = QStringLiteral("%1: 2 (read) or 3 (clicked) is wanted").arg(key::MessageReceipt);
    if (wrong.isEmpty())
        wrong = checkText(input.values, key::SoftName, limit::Id);
    if (!wrong.isEmpty())
        return invalid(wrong);
    const QString id = input.values.value(key::MsgId).toString();
    const QString softName = input.values.value(key::SoftName).toString();
    bool known = false;
    const QString error = store([&](MessageStore &s) { return s.addReceipt(id, kind, softName, &known); });
    return known || !error.isEmpty() ? answer(error) : unknown(id);
}

CallResult MessageService::updateStatus(const Bag &input)
{
    QStringList ids;
    int status = 0;
    QString wrong = readStatus(input.values, &status);
    if (wrong.isEmpty())
        wrong = readIds(input.values.value(key::MsgIdList), &ids);
    if (!wrong.isEmpty())
        return invalid(wrong);
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
    const QString wrong = checkId(input.values.value(key::MsgId));
    if (!wrong.isEmpty())
        return invalid(wrong);
    Bag output;
    const QString id = input.values.value(key::MsgId).toString();
    const QString error = store([&](MessageStore &s) { return s.record(id, &output.list); });
    return answer(error, output);
}

CallResult MessageService::ignore(const Bag &input)
{
    QString wrong = checkId(input.values.value(key::MsgId));
    if (wrong.isEmpty())
        wrong = checkText(input.values, key::SoftName, limit::Id);
    if (!wrong.isEmpty())
        return invalid(wrong);
    const QString id = input.values.value(key::MsgId).toString();
    const QString softName = input.values.value(key::SoftName).toString();
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
    int badge = 0;
    QString wrong = parseMessage(values, &message);
    if (wrong.isEmpty() && values.contains(key::unReadNum))
        wrong = readInt(values, key::unReadNum, &badge);
    if (!wrong.isEmpty())
        return invalid(wrong);
    MessageStore::Delivery delivery;
    const QString error = store([&](MessageStore &s) { return s.put(message, &delivery); });
    if (!error.isEmpty())
        return answer(error);
    if (!values.contains(key::unReadNum))
        badge = delivery.unread;
    const QString showError =
        delivery.ignored ? QStringLiteral("the user chose not to see this message again") : present(message, badge);
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
                                                                         : QStringLiteral("a map is wanted");
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
