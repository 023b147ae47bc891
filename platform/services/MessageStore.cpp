#include "services/MessageStore.h"
#include "services/Message.h"
#include "services/Paging.h"
#include "tarn/keys/MessageKeys.h"
#include "tarn/link/MessageWire.h"
#include <QDateTime>
#include <limits>

namespace tarn::services {

namespace detail = link::wire::detail;
namespace key = message::key;

namespace {

constexpr int PageRecords = 1000; // and at most PageBytes; a single larger message is a page by itself

// The columns that are read beside those of the fields.
enum Column { Seq, Id, ReadAt, StoredAt, DeletedAt, IgnoredAt, SortTime, FirstField };

QString columns()
{
    QString names = QStringLiteral("seq, id, read_at, stored_at, deleted_at, ignored_at, sort_time");
    for (const MessageField &field : messageFields())
        names += QStringLiteral(", ") + QLatin1String(field.column);
    return names;
}

QStringList schema()
{
    return {
        QStringLiteral(
            "CREATE TABLE IF NOT EXISTS messages(seq INTEGER PRIMARY KEY AUTOINCREMENT, id TEXT NOT NULL UNIQUE, "
            "title TEXT NOT NULL, content TEXT NOT NULL, date_time TEXT NOT NULL, beg_time TEXT NOT NULL, "
            "picture TEXT NOT NULL, link_text TEXT NOT NULL, link TEXT NOT NULL, "
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

QString timeText(const QVariant &ms)
{
    if (ms.isNull())
        return {};
    return QDateTime::fromMSecsSinceEpoch(ms.toLongLong()).toString(QStringLiteral("yyyy-MM-dd hh:mm:ss"));
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
    for (const MessageField &field : messageFields()) {
        const QVariant value = row.value(column++);
        message.insert(field.key, field.maxBytes > 0 ? QVariant(value.toString()) : QVariant(value.toInt()));
    }
    return message;
}

// The place of a record in the list, newest first: a later page begins behind it.
struct Place
{
    qint64 time = std::numeric_limits<qint64>::max();
    qint64 seq = std::numeric_limits<qint64>::max();

    QString toText() const { return QStringLiteral("%1:%2").arg(QString::number(time), QString::number(seq)); }
    bool read(const QString &text)
    {
        bool isTime = false;
        bool isSeq = false;
        time = text.section(QLatin1Char(':'), 0, 0).toLongLong(&isTime);
        seq = text.section(QLatin1Char(':'), 1).toLongLong(&isSeq);
        return isTime && isSeq;
    }
};

} // namespace

MessageStore::MessageStore(const QString &directory)
    : m_db(directory + QStringLiteral("/messages.db"), schema())
{
}

void MessageStore::upsert(const QVariantMap &message, qint64 time)
{
    QStringList names{QStringLiteral("id"), QStringLiteral("sort_time"), QStringLiteral("stored_at"),
                      QStringLiteral("read_at")};
    QVariantList values{message.value(key::MsgId), sortTime(message.value(key::MsgDateTime).toString(), time), time,
                        message.value(key::unRead).toBool() ? QVariant() : QVariant(time)};
    for (const MessageField &field : messageFields()) {
        names << QLatin1String(field.column);
        values << message.value(field.key);
    }
    QStringList places;
    QStringList updates{QStringLiteral("deleted_at = NULL")};
    for (const QString &name : qAsConst(names)) {
        places << QStringLiteral("?");
        updates << QStringLiteral("%1 = excluded.%1").arg(name);
    }
    const QString comma = QStringLiteral(", ");
    m_db.run(QStringLiteral("INSERT INTO messages(%1) VALUES(%2) ON CONFLICT(id) DO UPDATE SET %3")
                 .arg(names.join(comma), places.join(comma), updates.join(comma)),
             values);
}

bool MessageStore::put(const QVariantMap &message)
{
    upsert(message, now());
    return m_db
        .value(QStringLiteral("SELECT ignored_at IS NOT NULL FROM messages WHERE id = ?"), {message.value(key::MsgId)})
        .toBool();
}

void MessageStore::import(const QList<QVariantMap> &messages)
{
    m_db.inTransaction([&] {
        const qint64 time = now();
        for (const QVariantMap &message : messages)
            upsert(message, time);
    });
}

bool MessageStore::addReceipt(const QString &id, int kind, const QString &softName)
{
    const qint64 time = now();
    return m_db.run(QStringLiteral("INSERT INTO receipts(seq, kind, soft_name, first_at, last_at, count) "
                                   "SELECT seq, ?, ?, ?, ?, 1 FROM messages WHERE id = ? "
                                   "ON CONFLICT(seq, kind, soft_name) DO UPDATE SET last_at = excluded.last_at, "
                                   "count = count + 1"),
                    {kind, softName, time, time, id}) > 0;
}

bool MessageStore::ignore(const QString &id, const QString &softName)
{
    return m_db.run(QStringLiteral("UPDATE messages SET ignored_at = ?, ignored_for = ? WHERE id = ?"),
                    {now(), softName, id}) > 0;
}

int MessageStore::setStatus(const QStringList &ids, int status)
{
    int known = 0;
    const QString column =
        status == message::status::Deleted ? QStringLiteral("deleted_at") : QStringLiteral("read_at");
    m_db.inTransaction([&] {
        for (const QString &id : ids)
            known += m_db.run(QStringLiteral("UPDATE messages SET %1 = coalesce(%1, ?) WHERE id = ?").arg(column),
                              {now(), id});
    });
    return known;
}

QVariantList MessageStore::record(const QString &id)
{
    return m_db.rows(QStringLiteral("SELECT %1 FROM messages WHERE id = ? AND deleted_at IS NULL").arg(columns()), {id},
                     [](const QSqlQuery &row) { return QVariant(messageOf(row)); });
}

int MessageStore::unreadCount()
{
    return m_db.value(QStringLiteral("SELECT count(*) FROM messages WHERE read_at IS NULL AND deleted_at IS NULL"))
        .toInt();
}

int MessageStore::clear()
{
    return m_db.run(QStringLiteral("DELETE FROM messages"));
}

QVariantList MessageStore::page(Kind kind, QString *cursor)
{
    Place last;
    if (!cursor->isEmpty() && !last.read(*cursor))
        throw Failure(
            QStringLiteral("no such place in the list: \"%1\"; ask for the list again").arg(cursor->left(100)));
    cursor->clear();
    QVariantList records;
    qint64 bytes = 0;
    const QString filter = kind == Kind::All ? QString() : QStringLiteral("AND deleted_at IS NULL ");
    m_db.run(
        QStringLiteral("SELECT %1 FROM messages WHERE (sort_time, seq) < (?, ?) %2ORDER BY sort_time DESC, seq DESC")
            .arg(columns(), filter),
        {last.time, last.seq}, [&](const QSqlQuery &row) {
            const QVariantMap record = recordOf(row, kind);
            bytes += estimatedBytes(record);
            if (!records.isEmpty() && (records.size() == PageRecords || bytes > PageBytes)) {
                *cursor = last.toText();
                return false;
            }
            records.append(record);
            last = {row.value(SortTime).toLongLong(), row.value(Seq).toLongLong()};
            return true;
        });
    return records;
}

QVariantMap MessageStore::recordOf(const QSqlQuery &row, Kind kind)
{
    QVariantMap record = messageOf(row);
    if (kind == Kind::Records)
        return record;
    record.insert(detail::StoredTime, timeText(row.value(StoredAt)));
    record.insert(detail::ReadTime, timeText(row.value(ReadAt)));
    record.insert(detail::DeletedTime, timeText(row.value(DeletedAt)));
    record.insert(detail::IgnoredTime, timeText(row.value(IgnoredAt)));
    record.insert(detail::Receipts,
                  m_db.rows(QStringLiteral("SELECT kind, soft_name, first_at, last_at, count FROM receipts WHERE "
                                           "seq = ? ORDER BY first_at, kind LIMIT 100"),
                            {row.value(Seq)}, [](const QSqlQuery &receipt) {
                                return QVariant(QVariantMap{{key::MessageReceipt, receipt.value(0).toInt()},
                                                            {key::SoftName, receipt.value(1).toString()},
                                                            {detail::FirstTime, timeText(receipt.value(2))},
                                                            {detail::LastTime, timeText(receipt.value(3))},
                                                            {detail::Count, receipt.value(4).toInt()}});
                            }));
    return record;
}

} // namespace tarn::services
