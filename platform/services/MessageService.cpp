#include "services/MessageService.h"
#include "services/Message.h"
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

CallResult ok(const QVariantMap &values = {}, const QVariantList &list = {})
{
    return acceptedWith(code::Ok, {values, list});
}

void requireKnown(bool known, const QString &id)
{
    if (!known)
        throw Refusal(code::Refused, QStringLiteral("no message \"%1\"").arg(id));
}

// The ids of a status change.
QStringList readIds(const QVariant &value)
{
    require(value.userType() == QMetaType::QVariantList || value.userType() == QMetaType::QStringList,
            QStringLiteral("%1: expected a list of strings").arg(key::MsgIdList));
    QStringList ids;
    for (const QVariant &id : value.toList()) {
        const QString wrong = errorOf([&id] {
            require(id.userType() == QMetaType::QString, QStringLiteral("expected a string"));
            checkId(id.toString());
        });
        require(wrong.isEmpty(),
                QStringLiteral("%1, entry %2: %3").arg(key::MsgIdList, QString::number(ids.size()), wrong));
        ids.append(id.toString());
    }
    require(!ids.isEmpty(), QStringLiteral("%1 is empty").arg(key::MsgIdList));
    return ids;
}

// The new status: each operate type has one.
int readStatus(const Request &request)
{
    const QString type = request.optionalText(key::OperateType);
    require(type == operate::MsgState || type == operate::MessageStatu,
            QStringLiteral("%1: expected \"%2\" or \"%3\"")
                .arg(key::OperateType, operate::MsgState, operate::MessageStatu));
    const int expected = type == operate::MsgState ? status::Read : status::Deleted;
    require(request.integer(type) == expected, QStringLiteral("%1: expected %2").arg(type, QString::number(expected)));
    return expected;
}

// The values of a message, which gets a random id where it has none.
QVariantMap withId(QVariantMap values)
{
    if (!values.contains(key::MsgId))
        values.insert(key::MsgId, QUuid::createUuid().toString(QUuid::WithoutBraces));
    return values;
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
    static const ServiceFamily family{QStringLiteral("message"), code::Refused, code::InvalidArgs};
    return dispatch(this, handlers(), family, method, {input, context});
}

CallResult MessageService::addReceipt(const Request &request)
{
    const QString id = readId(request);
    const int kind = request.integer(key::MessageReceipt);
    require(kind == receipt::Read || kind == receipt::Clicked,
            QStringLiteral("%1: expected 2 (read) or 3 (clicked)").arg(key::MessageReceipt));
    const QString softName = readShort(request, key::SoftName, limit::Id);
    requireKnown(m_thread.run([&] { return m_store->addReceipt(id, kind, softName); }), id);
    return ok();
}

CallResult MessageService::updateStatus(const Request &request)
{
    const int status = readStatus(request);
    const QStringList ids = readIds(request.values().value(key::MsgIdList));
    const int known = m_thread.run([&] { return m_store->setStatus(ids, status); });
    requireKnown(known > 0, ids.first());
    return ok({{wire::Updated, known}, {wire::Unknown, ids.size() - known}});
}

CallResult MessageService::allRecords(const Request &request)
{
    return page(MessageStore::Kind::Records, request);
}

CallResult MessageService::oneRecord(const Request &request)
{
    const QString id = readId(request);
    return ok({}, m_thread.run([&] { return m_store->record(id); }));
}

CallResult MessageService::ignore(const Request &request)
{
    const QString id = readId(request);
    const QString softName = readShort(request, key::SoftName, limit::Id);
    requireKnown(m_thread.run([&] { return m_store->ignore(id, softName); }), id);
    return ok();
}

CallResult MessageService::push(const Request &request)
{
    QVariantMap values = withId(request.values());
    if (!values.contains(key::MsgDateTime))
        values.insert(key::MsgDateTime, QDateTime::currentDateTime().toString(QStringLiteral("yyyy-MM-dd hh:mm:ss")));
    const QVariantMap message = readMessage(RequestReader(values));
    const bool hasBadge = values.contains(key::unReadNum);
    const int badge = hasBadge ? request.integer(key::unReadNum) : 0;
    bool ignored = false;
    const int unread = m_thread.run([&] {
        ignored = m_store->put(message);
        return m_store->unreadCount();
    });
    const QString showError = ignored ? QStringLiteral("the user chose not to see this message again")
                                      : present(message, hasBadge ? badge : unread);
    return ok({{key::MsgId, message.value(key::MsgId)},
               {key::unReadNum, unread},
               {wire::Shown, showError.isEmpty()},
               {wire::ShowError, showError}});
}

// @return why no pop-up is shown, empty when it was accepted
QString MessageService::present(const QVariantMap &message, int unread) const
{
    QVariantMap values{{key::unReadNum, QString::number(unread)}};
    for (const QString &shown :
         {key::MsgId, key::MsgTitle, key::MsgContent, key::LinkText, key::LinkAdress, key::PicFilePath})
        values.insert(shown, message.value(shown));
    const QString subject =
        QStringLiteral("message %1 is stored but not shown").arg(message.value(key::MsgId).toString());
    return whyNotShown(subject, m_presenter({values, {}}));
}

CallResult MessageService::importAll(const Request &request)
{
    QList<QVariantMap> messages;
    const int first = request.values().value(wire::First).toInt();
    for (const QVariant &entry : request.list) {
        const QString wrong = errorOf([&] {
            require(entry.userType() == QMetaType::QVariantMap, QStringLiteral("expected a map"));
            messages.append(readMessage(RequestReader(withId(entry.toMap()))));
        });
        require(wrong.isEmpty(), QStringLiteral("record %1: %2").arg(QString::number(first + messages.size()), wrong));
    }
    m_thread.run([&] { m_store->import(messages); });
    return ok({{wire::Imported, messages.size()}});
}

CallResult MessageService::list(const Request &request)
{
    const bool all = request.values().value(wire::All).toBool();
    return page(all ? MessageStore::Kind::All : MessageStore::Kind::Details, request);
}

CallResult MessageService::page(MessageStore::Kind kind, const Request &request)
{
    QString cursor = request.values().value(wire::Cursor).toString();
    const QVariantList records = m_thread.run([&] { return m_store->page(kind, &cursor); });
    return ok(cursor.isEmpty() ? QVariantMap() : QVariantMap{{wire::Cursor, cursor}}, records);
}

CallResult MessageService::unreadCount(const Request &)
{
    return ok({{key::unReadNum, m_thread.run([this] { return m_store->unreadCount(); })}});
}

CallResult MessageService::clear(const Request &)
{
    return ok({{wire::Removed, m_thread.run([this] { return m_store->clear(); })}});
}

} // namespace tarn::services
