#include "services/MessageStore.h"
#include "services/Paging.h"
#include "tarn/keys/MessageKeys.h"
#include "tarn/link/MessageWire.h"
#include <QDateTime>
#include <limits>

namespace tarn::services {

namespace detail = link::wire::detail;

namespace {

constexpr int PageRecords = 1000; // and at most PageBytes; a single larger message is a page by itself

// The columns that are read beside those of the fields.
enum Column { Seq, Id, ReadAt, StoredAt, DeletedAt, IgnoredAt, SortTime, FirstField };

QStringList fieldColumns()
{
    QStringList names;
    for (const TextField &field : textFields())
        names << QLatin1String(field.column);
    for (const IntField &field : intFields())
        names << QLatin1String(field.column);
    return names;
}

QString columns()
{
    return QStringLiteral("seq, id, read_at, stored_at, deleted_at, ignored_at, sort_time, ") +
           fieldColumns().join(QStringLiteral(", "));
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

Message messageOf(const QSqlQuery &row)
{
    Message message;
    message.id = row.value(Id).toString();
    message.unread = row.value(ReadAt).isNull();
    int column = FirstField;
    for (const TextField &field : textFields())
        message.*field.member = row.value(column++).toString();
    for (const IntField &field : intFields())
        message.*field.member = row.value(column++).toInt();
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

QString MessageStore::upsert(const Message &message, qint64 time)
{
    const QStringList names = QStringList{QStringLiteral("id"), QStringLiteral("sort_time"),
                                          QStringLiteral("stored_at"), QStringLiteral("read_at")} +
                              fieldColumns();
    QVariantList values{message.id, sortTime(message.dateTime, time), time,
                        message.unread ? QVariant() : QVariant(time)};
    for (const TextField &field : textFields())
        values << message.*field.member;
    for (const IntField &field : intFields())
        values << message.*field.member;
    QStringList places;
    QStringList updates{QStringLiteral("deleted_at = NULL")};
    for (const QString &name : names) {
        places << QStringLiteral("?");
        updates << QStringLiteral("%1 = excluded.%1").arg(name);
    }
    const QString comma = QStringLiteral(", ");
    return m_db.run(QStringLiteral("INSERT INTO messages(%1) VALUES(%2) ON CONFLICT(id) DO UPDATE SET %3")
                        .arg(names.join(comma), places.join(comma), updates.join(comma)),
                    values);
}

QString MessageStore::put(const Message &message, Delivery *delivery)
{
    QString error = upsert(message, now());
    if (error.isEmpty())
        error = m_db.run(QStringLiteral("SELECT ignored_at IS NOT NULL FROM messages WHERE id = ?"), {message.id},
                         [delivery](const QSqlQuery &row) {
                             delivery->ignored = row.value(0).toBool();
                             return false;
                         });
    return error.isEmpty() ? unreadCount(&delivery->unread) : error;
}

QString MessageStore::import(const QList<Message> &messages)
{
    return m_db.inTransaction([&] {
        QString error;
        const qint64 time = now();
        for (auto it = messages.cbegin(); it != messages.cend() && error.isEmpty(); ++it)
            error = upsert(*it, time);
        return error;
    });
}

QString MessageStore::addReceipt(const QString &id, int kind, const QString &softName, bool *known)
{
    const qint64 time = now();
    QString error = m_db.run(
        QStringLiteral("INSERT INTO receipts(seq, kind, soft_name, first_at, last_at, count) "
                       "SELECT seq, ?, ?, ?, ?, 1 FROM messages WHERE id = ? "
                       "ON CONFLICT(seq, kind, soft_name) DO UPDATE SET last_at = excluded.last_at, count = count + 1"),
        {kind, softName, time, time, id});
    *known = error.isEmpty() && m_db.changed() > 0;
    return error;
}

QString MessageStore::ignore(const QString &id, const QString &softName, bool *known)
{
    QString error = m_db.run(QStringLiteral("UPDATE messages SET ignored_at = ?, ignored_for = ? WHERE id = ?"),
                             {now(), softName, id});
    *known = error.isEmpty() && m_db.changed() > 0;
    return error;
}

QString MessageStore::setStatus(const QStringList &ids, int status, int *known)
{
    *known = 0;
    const QString column =
        status == message::status::Deleted ? QStringLiteral("deleted_at") : QStringLiteral("read_at");
    return m_db.inTransaction([&] {
        QString error;
        const qint64 time = now();
        for (auto id = ids.cbegin(); id != ids.cend() && error.isEmpty(); ++id) {
            error = m_db.run(QStringLiteral("UPDATE messages SET %1 = coalesce(%1, ?) WHERE id = ?").arg(column),
                             {time, *id});
            *known += error.isEmpty() ? m_db.changed() : 0;
        }
        return error;
    });
}

QString MessageStore::record(const QString &id, QVariantList *records)
{
    return m_db.run(QStringLiteral("SELECT %1 FROM messages WHERE id = ? AND deleted_at IS NULL").arg(columns()), {id},
                    [records](const QSqlQuery &row) {
                        records->append(toRecord(messageOf(row)));
                        return false;
                    });
}

QString MessageStore::unreadCount(int *count)
{
    return m_db.run(QStringLiteral("SELECT count(*) FROM messages WHERE read_at IS NULL AND deleted_at IS NULL"), {},
                    [count](const QSqlQuery &row) {
                        *count = row.value(0).toInt();
                        return false;
                    });
}

QString MessageStore::clear(int *removed)
{
    QString error = m_db.run(QStringLiteral("DELETE FROM messages"));
    *removed = error.isEmpty() ? m_db.changed() : 0;
    return error;
}

QString MessageStore::page(Kind kind, QString *cursor, QVariantList *records)
{
    Place last;
    if (!cursor->isEmpty() && !last.read(*cursor))
        return QStringLiteral("no such place in the list: \"%1\"; ask for the list again").arg(cursor->left(100));
    cursor->clear();
    qint64 bytes = 0;
    QString failure;
    const QString filter = kind == Kind::All ? QString() : QStringLiteral("AND deleted_at IS NULL ");
    const QString error = m_db.run(
        QStringLiteral("SELECT %1 FROM messages WHERE (sort_time, seq) < (?, ?) %2ORDER BY sort_time DESC, seq DESC")
            .arg(columns(), filter),
        {last.time, last.seq}, [&](const QSqlQuery &row) {
            const QVariantMap record = recordOf(row, kind, &failure);
            bytes += estimatedBytes(record);
            if (!records->isEmpty() && (records->size() == PageRecords || bytes > PageBytes)) {
                *cursor = last.toText();
                return false;
            }
            records->append(record);
            last = {row.value(SortTime).toLongLong(), row.value(Seq).toLongLong()};
            return failure.isEmpty();
        });
    return error.isEmpty() ? failure : error;
}

QVariantMap MessageStore::recordOf(const QSqlQuery &row, Kind kind, QString *error)
{
    QVariantMap record = toRecord(messageOf(row));
    if (kind == Kind::Records)
        return record;
    record.insert(detail::StoredTime, timeText(row.value(StoredAt)));
    record.insert(detail::ReadTime, timeText(row.value(ReadAt)));
    record.insert(detail::DeletedTime, timeText(row.value(DeletedAt)));
    record.insert(detail::IgnoredTime, timeText(row.value(IgnoredAt)));
    QVariantList receipts;
    *error = m_db.run(QStringLiteral("SELECT kind, soft_name, first_at, last_at, count FROM receipts WHERE seq = ? "
                                     "ORDER BY first_at, kind LIMIT 100"),
                      {row.value(Seq)}, [&receipts](const QSqlQuery &receipt) {
                          receipts.append(QVariantMap{{message::key::MessageReceipt, receipt.value(0).toInt()},
                                                      {message::key::SoftName, receipt.value(1).toString()},
                                                      {detail::FirstTime, timeText(receipt.value(2))},
                                                      {detail::LastTime, timeText(receipt.value(3))},
                                                      {detail::Count, receipt.value(4).toInt()}});
                          return true;
                      });
    record.insert(detail::Receipts, receipts);
    return record;
}

} // namespace tarn::services
