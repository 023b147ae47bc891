#include "services/MessageStore.h"
#include "tarn/keys/MessageKeys.h"
#include <QDateTime>
#include <QSqlQuery>
#include <QUuid>
#include <algorithm>

namespace tarn::services {

namespace {

constexpr int MaxReaders = 8;
constexpr int ReaderIdleMs = 60000;

QStringList schema()
{
    return {
        QStringLiteral("CREATE TABLE messages(seq INTEGER PRIMARY KEY AUTOINCREMENT, id TEXT NOT NULL UNIQUE, "
                       "title TEXT NOT NULL, content TEXT NOT NULL, date_time TEXT NOT NULL, beg_time TEXT NOT NULL, "
                       "picture TEXT NOT NULL, link_text TEXT NOT NULL, link TEXT NOT NULL, "
                       "wnd_width INTEGER NOT NULL, wnd_height INTEGER NOT NULL, wnd_stay INTEGER NOT NULL, "
                       "photo_height INTEGER NOT NULL, photo_width INTEGER NOT NULL, sort_time INTEGER NOT NULL, "
                       "stored_at INTEGER NOT NULL, read_at INTEGER, deleted_at INTEGER, ignored_at INTEGER, "
                       "ignored_for TEXT)"),
        QStringLiteral("CREATE INDEX messages_by_time ON messages(sort_time, seq)"),
        QStringLiteral("CREATE TABLE receipts(seq INTEGER NOT NULL REFERENCES messages(seq) ON DELETE CASCADE, "
                       "kind INTEGER NOT NULL, soft_name TEXT NOT NULL, first_at INTEGER NOT NULL, "
                       "last_at INTEGER NOT NULL, count INTEGER NOT NULL, PRIMARY KEY(seq, kind, soft_name)) "
                       "WITHOUT ROWID"),
    };
}

qint64 now()
{
    return QDateTime::currentMSecsSinceEpoch();
}

// A null string would be stored as NULL.
QString text(const QString &s)
{
    return s.isNull() ? QString::fromLatin1("") : s;
}

} // namespace

MessageStore::MessageStore(const QString &directory)
    : m_db(directory + QStringLiteral("/messages.db"), schema())
{
}

QString MessageStore::ensureOpen()
{
    dropOldReaders();
    return m_db.ensureOpen();
}

QString MessageStore::upsert(const Message &message, qint64 time)
{
    QSqlQuery query = m_db.query();
    query.prepare(QStringLiteral(
        "INSERT INTO messages(id, title, content, date_time, beg_time, picture, link_text, link, wnd_width, "
        "wnd_height, "
        "wnd_stay, photo_height, photo_width, sort_time, stored_at, read_at) "
        "VALUES(?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?) ON CONFLICT(id) DO UPDATE SET title = excluded.title, "
        "content = excluded.content, date_time = excluded.date_time, beg_time = excluded.beg_time, "
        "picture = excluded.picture, link_text = excluded.link_text, link = excluded.link, "
        "wnd_width = excluded.wnd_width, wnd_height = excluded.wnd_height, wnd_stay = excluded.wnd_stay, "
        "photo_height = excluded.photo_height, photo_width = excluded.photo_width, sort_time = excluded.sort_time, "
        "stored_at = excluded.stored_at, read_at = excluded.read_at, deleted_at = NULL"));
    for (const QString &value : {message.id, message.title, message.content, message.dateTime, message.begTime,
                                 message.picture, message.linkText, message.link})
        query.addBindValue(text(value));
    for (const int value :
         {message.wndWidth, message.wndHeight, message.wndStay, message.photoHeight, message.photoWidth})
        query.addBindValue(value);
    query.addBindValue(sortTime(message.dateTime, time));
    query.addBindValue(time);
    query.addBindValue(message.unread ? QVariant(QVariant::LongLong) : QVariant(time));
    return m_db.run(query);
}

QString MessageStore::put(const Message &message, Delivery *delivery)
{
    QString error = ensureOpen();
    if (!error.isEmpty())
        return error;
    error = m_db.inTransaction([&] { return upsert(message, now()); });
    if (!error.isEmpty())
        return error;
    QSqlQuery query = m_db.query();
    query.prepare(QStringLiteral("SELECT ignored_at IS NOT NULL FROM messages WHERE id = ?"));
    query.addBindValue(message.id);
    error = m_db.run(query);
    delivery->ignored = query.next() && query.value(0).toBool();
    return error.isEmpty() ? unreadCount(&delivery->unread) : error;
}

QString MessageStore::import(const QList<Message> &messages)
{
    QString error = ensureOpen();
    if (!error.isEmpty())
        return error;
    return m_db.inTransaction([&] {
        QString failure;
        const qint64 time = now();
        for (auto it = messages.cbegin(); it != messages.cend() && failure.isEmpty(); ++it)
            failure = upsert(*it, time);
        return failure;
    });
}

QString MessageStore::addReceipt(const QString &id, int kind, const QString &softName, bool *known)
{
    QString error = ensureOpen();
    if (!error.isEmpty())
        return error;
    QSqlQuery query = m_db.query();
    query.prepare(QStringLiteral(
        "INSERT INTO receipts(seq, kind, soft_name, first_at, last_at, count) "
        "SELECT seq, :kind, :soft, :time, :time, 1 FROM messages WHERE id = :id "
        "ON CONFLICT(seq, kind, soft_name) DO UPDATE SET last_at = excluded.last_at, count = count + 1"));
    query.bindValue(QStringLiteral(":kind"), kind);
    query.bindValue(QStringLiteral(":soft"), text(softName));
    query.bindValue(QStringLiteral(":time"), now());
    query.bindValue(QStringLiteral(":id"), id);
    QString failure = m_db.run(query);
    *known = query.numRowsAffected() > 0;
    return failure;
}

QString MessageStore::ignore(const QString &id, const QString &softName, bool *known)
{
    QString error = ensureOpen();
    if (!error.isEmpty())
        return error;
    QSqlQuery query = m_db.query();
    query.prepare(QStringLiteral("UPDATE messages SET ignored_at = ?, ignored_for = ? WHERE id = ?"));
    query.addBindValue(now());
    query.addBindValue(text(softName));
    query.addBindValue(id);
    QString failure = m_db.run(query);
    *known = query.numRowsAffected() > 0;
    return failure;
}

QString MessageStore::setStatus(const QStringList &ids, int status, int *known)
{
    *known = 0;
    QString error = ensureOpen();
    if (!error.isEmpty())
        return error;
    const QString column =
        status == message::status::Deleted ? QStringLiteral("deleted_at") : QStringLiteral("read_at");
    return m_db.inTransaction([&] {
        QSqlQuery query = m_db.query();
        query.prepare(QStringLiteral("UPDATE messages SET %1 = coalesce(%1, ?) WHERE id = ?").arg(column));
        const qint64 time = now();
        for (const QString &id : ids) {
            query.bindValue(0, time);
            query.bindValue(1, id);
            QString failure = m_db.run(query);
            if (!failure.isEmpty())
                return failure;
            *known += query.numRowsAffected();
        }
        return QString();
    });
}

QString MessageStore::record(const QString &id, QVariantList *records)
{
    QString error = ensureOpen();
    if (!error.isEmpty())
        return error;
    QSqlQuery query = m_db.query();
    query.prepare(QStringLiteral("SELECT %1 FROM messages WHERE id = ? AND deleted_at IS NULL").arg(messageColumns()));
    query.addBindValue(id);
    QString failure = m_db.run(query);
    if (query.next())
        records->append(toRecord(messageOf(query)));
    return failure;
}

QString MessageStore::unreadCount(int *count)
{
    QString error = ensureOpen();
    if (!error.isEmpty())
        return error;
    QSqlQuery query = m_db.query();
    if (!query.exec(QStringLiteral("SELECT count(*) FROM messages WHERE read_at IS NULL AND deleted_at IS NULL")) ||
        !query.next())
        return m_db.failed(query);
    *count = query.value(0).toInt();
    return {};
}

QString MessageStore::clear(int *removed)
{
    QString error = ensureOpen();
    if (!error.isEmpty())
        return error;
    return m_db.inTransaction([&] {
        QSqlQuery query = m_db.query();
        if (!query.exec(QStringLiteral("DELETE FROM messages")))
            return m_db.failed(query);
        *removed = query.numRowsAffected();
        return QString();
    });
}

QString MessageStore::page(MessageReader::Kind kind, QString *cursor, QVariantList *records)
{
    QString error = ensureOpen();
    if (!error.isEmpty())
        return error;
    std::shared_ptr<MessageReader> reader = m_readers.take(*cursor);
    if (!cursor->isEmpty() && (!reader || reader->kind() != kind))
        return QStringLiteral("the place in the list is lost; ask for the list again");
    if (!reader)
        reader = std::make_shared<MessageReader>(m_db.file(), kind);
    if (reader->lastError().isEmpty())
        *records = reader->nextPage();
    cursor->clear();
    if (!reader->lastError().isEmpty())
        m_db.distrust();
    else if (!reader->atEnd()) {
        *cursor = QUuid::createUuid().toString(QUuid::WithoutBraces);
        m_readers.insert(*cursor, reader);
    }
    return reader->lastError();
}

// A list that nobody reads on keeps the write-ahead log from being emptied.
void MessageStore::dropOldReaders()
{
    for (auto it = m_readers.begin(); it != m_readers.end();)
        it = (*it)->idleMs() > ReaderIdleMs ? m_readers.erase(it) : std::next(it);
    while (m_readers.size() > MaxReaders)
        m_readers.erase(std::max_element(m_readers.begin(), m_readers.end(),
                                         [](const auto &a, const auto &b) { return a->idleMs() < b->idleMs(); }));
}

} // namespace tarn::services
