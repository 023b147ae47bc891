#include "services/Services.h"
#include "tarn/keys/MessageKeys.h"
#include <QDateTime>
#include <QUuid>
#include <algorithm>
#include <iterator>
#include <limits>

namespace tarn::services {

using namespace message;
using rpc::CallResult;
namespace wire = link::wire;
namespace detail = link::wire::detail;

namespace {

// The longest accepted texts, in bytes of UTF-8.
constexpr int MaxId = 256;
constexpr int MaxLine = 4096; // title, link, path, time
constexpr int MaxContent = 1024 * 1024;

// A message has an id (MsgId), a state (unRead) and these fields.
struct MessageField
{
    QString key;  ///< in requests and records
    int maxBytes; ///< of UTF-8; 0 for a number
};

const MessageField Fields[] = {
    {key::MsgTitle, MaxLine},    {key::MsgContent, MaxContent},
    {key::MsgDateTime, MaxLine}, {key::BegTime, MaxLine},
    {key::PicFilePath, MaxLine}, {key::LinkText, MaxLine},
    {key::LinkAdress, MaxLine},  {key::WndWidth, 0},
    {key::WndHeight, 0},         {key::WndStay, 0},
    {key::PhotoHight, 0},        {key::PhotoWidth, 0},
};

// The columns of a message: a number, an id, its fields and times.
constexpr int FieldCount = std::size(Fields);
enum Column { Seq, Id, FirstField, SortTime = FirstField + FieldCount, StoredAt, ReadAt, DeletedAt, IgnoredAt };

QStringList schema()
{
    return {
        QStringLiteral("CREATE TABLE IF NOT EXISTS messages(seq INTEGER PRIMARY KEY AUTOINCREMENT, id TEXT NOT NULL "
                       "UNIQUE, title TEXT NOT NULL, content TEXT NOT NULL, date_time TEXT NOT NULL, "
                       "beg_time TEXT NOT NULL, picture TEXT NOT NULL, link_text TEXT NOT NULL, link TEXT NOT NULL, "
                       "wnd_width INTEGER NOT NULL, wnd_height INTEGER NOT NULL, wnd_stay INTEGER NOT NULL, "
                       "photo_height INTEGER NOT NULL, photo_width INTEGER NOT NULL, sort_time INTEGER NOT NULL, "
                       "stored_at INTEGER NOT NULL, read_at INTEGER, deleted_at INTEGER, ignored_at INTEGER, "
                       "ignored_for TEXT)"),
        QStringLiteral("CREATE INDEX IF NOT EXISTS messages_by_time ON messages(sort_time, seq)"),
        QStringLiteral(
            "CREATE TABLE IF NOT EXISTS receipts(seq INTEGER NOT NULL REFERENCES messages(seq) ON DELETE CASCADE, "
            "kind INTEGER NOT NULL, soft_name TEXT NOT NULL, first_at INTEGER NOT NULL, "
            "last_at INTEGER NOT NULL, count INTEGER NOT NULL, PRIMARY KEY(seq, kind, soft_name)) "
            "WITHOUT ROWID"),
    };
}

// The time by which messages are ordered: that of dateTime, or fallback when it has no known form.
qint64 sortTime(const QString &dateTime, qint64 fallback)
{
    QDateTime time = QDateTime::fromString(dateTime, QStringLiteral("yyyy-MM-dd hh:mm:ss"));
    if (!time.isValid())
        time = QDateTime::fromString(dateTime, Qt::ISODate);
    return time.isValid() ? time.toMSecsSinceEpoch() : fallback;
}

QVariantMap messageOf(const QSqlQuery &row)
{
    QVariantMap message{{key::MsgId, row.value(Id).toString()}, {key::unRead, row.value(ReadAt).isNull()}};
    int column = FirstField;
    for (const MessageField &field : Fields) {
        const QVariant value = row.value(column++);
        message.insert(field.key, field.maxBytes > 0 ? QVariant(value.toString()) : QVariant(value.toInt()));
    }
    return message;
}

QVariant receiptOf(const QSqlQuery &row)
{
    return QVariantMap{{key::MessageReceipt, row.value(0).toInt()},
                       {key::SoftName, row.value(1).toString()},
                       {detail::FirstTime, timeText(row.value(2))},
                       {detail::LastTime, timeText(row.value(3))},
                       {detail::Count, row.value(4).toInt()}};
}

// The place of a record in the list, newest first: a later page begins behind it.
struct Place
{
    qint64 time = std::numeric_limits<qint64>::max();
    qint64 seq = std::numeric_limits<qint64>::max();
};

// The place that a cursor names: "TIME:SEQ". The list's start without one.
Place readPlace(const QString &cursor)
{
    if (cursor.isEmpty())
        return {};
    bool isTime = false;
    bool isSeq = false;
    const Place place{cursor.section(QLatin1Char(':'), 0, 0).toLongLong(&isTime),
                      cursor.section(QLatin1Char(':'), 1).toLongLong(&isSeq)};
    if (!isTime || !isSeq)
        throw noSuchPlace(cursor);
    return place;
}

void requireKnown(int known, const QString &id)
{
    if (known == 0)
        throw Refusal(code::Refused, QStringLiteral("no message \"%1\"").arg(id));
}

QString readId(const ValueReader &request)
{
    QString id = request.text(key::MsgId);
    request.expect(!id.isEmpty() && id.toUtf8().size() <= MaxId, key::MsgId,
                   QStringLiteral("1 to %1 bytes").arg(MaxId));
    request.expect(std::none_of(id.cbegin(), id.cend(), [](QChar c) { return c.category() == QChar::Other_Control; }),
                   key::MsgId, QStringLiteral("no control character"));
    return id;
}

// An optional text of limited size in UTF-8.
QString readShort(const ValueReader &request, const QString &key, int maxBytes)
{
    QString text = request.optionalText(key, maxBytes);
    request.expect(text.toUtf8().size() <= maxBytes, key, QStringLiteral("at most %1 bytes").arg(maxBytes));
    return text;
}

// Reads a message from a request's keys; other keys are ignored, missing ones are empty or 0. A message needs a title
// or a content. @return the message's values by key: the record that callers read
QVariantMap readMessage(const ValueReader &request)
{
    QVariantMap message{{key::MsgId, readId(request)}};
    for (const MessageField &field : Fields) {
        if (field.maxBytes > 0)
            message.insert(field.key, readShort(request, field.key, field.maxBytes));
        else
            message.insert(field.key, request.values().contains(field.key) ? request.integer(field.key) : 0);
    }
    message.insert(key::unRead, request.flag(key::unRead, true));
    const bool hasText =
        !message.value(key::MsgTitle).toString().isEmpty() || !message.value(key::MsgContent).toString().isEmpty();
    request.expect(hasText, key::MsgTitle, QStringLiteral("a text, since %1 is empty too").arg(key::MsgContent));
    return message;
}

QStringList readIds(const QVariant &value)
{
    require(value.userType() == QMetaType::QVariantList || value.userType() == QMetaType::QStringList,
            QStringLiteral("%1: expected a list of strings").arg(key::MsgIdList));
    QStringList ids;
    for (const QVariant &id : value.toList()) {
        const QString place = QStringLiteral("%1, entry %2: ").arg(key::MsgIdList, QString::number(ids.size()));
        ids << readId(ValueReader({{key::MsgId, id}}, place));
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

class MessageService final : public Dispatcher<MessageService>
{
public:
    MessageService(const QString &directory, Presenter presenter)
        : Dispatcher({QStringLiteral("message"), code::Ok, code::Refused, code::InvalidArgs},
                     {
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
                     })
        , m_presenter(std::move(presenter))
        , m_db(directory + QStringLiteral("/messages.db"), schema())
    {
    }

private:
    CallResult addReceipt(const Request &request)
    {
        const QString id = readId(request);
        const int kind = request.integer(key::MessageReceipt);
        require(kind == receipt::Read || kind == receipt::Clicked,
                QStringLiteral("%1: expected 2 (read) or 3 (clicked)").arg(key::MessageReceipt));
        const qint64 time = now();
        requireKnown(
            m_db.run(QStringLiteral("INSERT INTO receipts(seq, kind, soft_name, first_at, last_at, count) "
                                    "SELECT seq, ?, ?, ?, ?, 1 FROM messages WHERE id = ? "
                                    "ON CONFLICT(seq, kind, soft_name) DO UPDATE SET last_at = excluded.last_at, "
                                    "count = count + 1"),
                     {kind, readShort(request, key::SoftName, MaxId), time, time, id}),
            id);
        return ok();
    }

    CallResult updateStatus(const Request &request)
    {
        const int status = readStatus(request);
        const QStringList ids = readIds(request.values().value(key::MsgIdList));
        const QString column = status == status::Deleted ? QStringLiteral("deleted_at") : QStringLiteral("read_at");
        const qint64 time = now();
        int known = 0;
        m_db.inTransaction([&] {
            for (const QString &id : ids)
                known += m_db.run(QStringLiteral("UPDATE messages SET %1 = coalesce(%1, ?) WHERE id = ?").arg(column),
                                  {time, id});
        });
        requireKnown(known, ids.first());
        return ok({{wire::Updated, known}, {wire::Unknown, ids.size() - known}});
    }

    CallResult oneRecord(const Request &request)
    {
        const QString id = readId(request);
        return ok({}, m_db.rows(QStringLiteral("SELECT * FROM messages WHERE id = ? AND deleted_at IS NULL"), {id},
                                [](const QSqlQuery &row) { return QVariant(messageOf(row)); }));
    }

    CallResult ignore(const Request &request)
    {
        const QString id = readId(request);
        requireKnown(m_db.run(QStringLiteral("UPDATE messages SET ignored_at = ?, ignored_for = ? WHERE id = ?"),
                              {now(), readShort(request, key::SoftName, MaxId), id}),
                     id);
        return ok();
    }

    CallResult push(const Request &request)
    {
        QVariantMap values = withId(request.values());
        if (!values.contains(key::MsgDateTime))
            values.insert(key::MsgDateTime, timeText(now()));
        const QVariantMap message = readMessage(ValueReader(values));
        const bool hasBadge = values.contains(key::unReadNum);
        const int badge = hasBadge ? request.integer(key::unReadNum) : 0;
        upsert({message}, now());
        const bool ignored = m_db.value(QStringLiteral("SELECT ignored_at IS NOT NULL FROM messages WHERE id = ?"),
                                        {message.value(key::MsgId)})
                                 .toBool();
        const int unread = countUnread();
        const QString showError = ignored ? QStringLiteral("the user chose not to see this message again")
                                          : present(message, hasBadge ? badge : unread);
        return ok({{key::MsgId, message.value(key::MsgId)},
                   {key::unReadNum, unread},
                   {wire::Shown, showError.isEmpty()},
                   {wire::ShowError, showError}});
    }

    // @return why no pop-up is shown, empty when it was accepted
    QString present(const QVariantMap &message, int unread) const
    {
        QVariantMap values{{key::unReadNum, QString::number(unread)}};
        for (const QString &shown :
             {key::MsgId, key::MsgTitle, key::MsgContent, key::LinkText, key::LinkAdress, key::PicFilePath})
            values.insert(shown, message.value(shown));
        return whyNotShown(
            QStringLiteral("message %1 is stored but not shown").arg(message.value(key::MsgId).toString()),
            m_presenter(QStringLiteral("ShowNotifyMessage"), {values, {}}));
    }

    CallResult importAll(const Request &request)
    {
        QList<QVariantMap> messages;
        const qint64 first = request.values().value(wire::First).toInt();
        for (const QVariant &entry : request.list) {
            const QString place = QStringLiteral("record %1: ").arg(first + messages.size());
            require(entry.userType() == QMetaType::QVariantMap, place + QStringLiteral("expected a map"));
            messages << readMessage(ValueReader(withId(entry.toMap()), place));
        }
        upsert(messages, now());
        return ok({{wire::Imported, messages.size()}});
    }

    // Stores all or none.
    void upsert(const QList<QVariantMap> &messages, qint64 time)
    {
        static const QString statement = QStringLiteral(
            "INSERT INTO messages VALUES(NULL, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, NULL, NULL, NULL) "
            "ON CONFLICT(id) DO UPDATE SET (title, content, date_time, beg_time, picture, link_text, link, wnd_width, "
            "wnd_height, wnd_stay, photo_height, photo_width, sort_time, stored_at, read_at, deleted_at) = "
            "(excluded.title, excluded.content, excluded.date_time, excluded.beg_time, excluded.picture, "
            "excluded.link_text, excluded.link, excluded.wnd_width, excluded.wnd_height, excluded.wnd_stay, "
            "excluded.photo_height, excluded.photo_width, excluded.sort_time, excluded.stored_at, excluded.read_at, "
            "NULL)");
        m_db.inTransaction([&] {
            for (const QVariantMap &message : messages) {
                QVariantList values{message.value(key::MsgId)};
                for (const MessageField &field : Fields)
                    values << message.value(field.key);
                values << sortTime(message.value(key::MsgDateTime).toString(), time) << time
                       << (message.value(key::unRead).toBool() ? QVariant() : QVariant(time));
                m_db.run(statement, values);
            }
        });
    }

    CallResult allRecords(const Request &request)
    {
        return page(request, false, {}, [](const QSqlQuery &row) { return messageOf(row); });
    }

    CallResult list(const Request &request)
    {
        const QString id = request.values().contains(key::MsgId) ? readId(request) : QString();
        return page(request, request.flag(wire::All), id, [this](const QSqlQuery &row) { return detailsOf(row); });
    }

    template <class Read>
    CallResult page(const Request &request, bool withDeleted, const QString &onlyId, Read read)
    {
        const Place last = readPlace(request.values().value(wire::Cursor).toString());
        Page page;
        m_db.run(QStringLiteral("SELECT * FROM messages WHERE (sort_time, seq) < (?, ?) AND (? OR deleted_at IS NULL) "
                                "AND (? OR id = ?) ORDER BY sort_time DESC, seq DESC"),
                 {last.time, last.seq, withDeleted, onlyId.isEmpty(), onlyId}, [&](const QSqlQuery &row) {
                     return page.add(read(row), QStringLiteral("%1:%2").arg(row.value(SortTime).toString(),
                                                                            row.value(Seq).toString()));
                 });
        return ok(page.values, page.list);
    }

    QVariantMap detailsOf(const QSqlQuery &row)
    {
        QVariantMap record = messageOf(row);
        record.insert(detail::StoredTime, timeText(row.value(StoredAt)));
        record.insert(detail::ReadTime, timeText(row.value(ReadAt)));
        record.insert(detail::DeletedTime, timeText(row.value(DeletedAt)));
        record.insert(detail::IgnoredTime, timeText(row.value(IgnoredAt)));
        record.insert(detail::Receipts,
                      m_db.rows(QStringLiteral("SELECT kind, soft_name, first_at, last_at, count FROM receipts WHERE "
                                               "seq = ? ORDER BY first_at, kind LIMIT 100"),
                                {row.value(Seq)}, receiptOf));
        return record;
    }

    int countUnread()
    {
        return m_db.value(QStringLiteral("SELECT count(*) FROM messages WHERE read_at IS NULL AND deleted_at IS NULL"))
            .toInt();
    }

    CallResult unreadCount(const Request &) { return ok({{key::unReadNum, countUnread()}}); }

    CallResult clear(const Request &)
    {
        return ok({{wire::Removed, m_db.run(QStringLiteral("DELETE FROM messages"))}});
    }

    const Presenter m_presenter;
    Database m_db;
};

} // namespace

QSharedPointer<rpc::IInvocable> makeMessageService(const QString &directory, const Presenter &presenter)
{
    return QSharedPointer<MessageService>::create(directory, presenter);
}

} // namespace tarn::services
