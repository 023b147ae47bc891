#include "services/cloud/CloudStore.h"
#include <QSqlQuery>

namespace tarn::services {

namespace {

constexpr int OutboxSize = 100;

QStringList schema()
{
    return {
        QStringLiteral("CREATE TABLE accounts(name TEXT NOT NULL PRIMARY KEY, phone TEXT UNIQUE, weixin TEXT UNIQUE, "
                       "qq TEXT UNIQUE, locked INTEGER NOT NULL, hash BLOB NOT NULL, id TEXT NOT NULL) WITHOUT ROWID"),
        QStringLiteral("CREATE TABLE codes(phone TEXT NOT NULL PRIMARY KEY, hash BLOB NOT NULL, "
                       "sent_at INTEGER NOT NULL, tries_left INTEGER NOT NULL) WITHOUT ROWID"),
        QStringLiteral("CREATE TABLE outbox(seq INTEGER PRIMARY KEY AUTOINCREMENT, phone TEXT NOT NULL, "
                       "code BLOB NOT NULL, sent_at INTEGER NOT NULL)"),
    };
}

// What an account does not have is NULL, which is unlike every other NULL.
QVariant optional(const QString &text)
{
    return text.isEmpty() ? QVariant(QVariant::String) : QVariant(text);
}

QString column(CloudStore::By way)
{
    switch (way) {
    case CloudStore::By::Name:
        return QStringLiteral("name");
    case CloudStore::By::Phone:
        return QStringLiteral("phone");
    case CloudStore::By::Weixin:
        return QStringLiteral("weixin");
    case CloudStore::By::Qq:
        break;
    }
    return QStringLiteral("qq");
}

QString accountColumns()
{
    return QStringLiteral("name, phone, weixin, qq, locked, hash, id");
}

CloudAccount accountOf(const QSqlQuery &query)
{
    return {query.value(0).toString(), query.value(1).toString(), query.value(2).toString(),
            query.value(3).toString(), query.value(4).toBool(),   query.value(5).toByteArray(),
            query.value(6).toString()};
}

} // namespace

CloudStore::CloudStore(const QString &directory)
    : m_db(directory + QStringLiteral("/cloud.db"), schema())
{
}

QString CloudStore::change(const QString &statement, const QVariantList &values, int *changed)
{
    QString error = m_db.ensureOpen();
    if (!error.isEmpty())
        return error;
    QSqlQuery query = m_db.query();
    query.prepare(statement);
    for (const QVariant &value : values)
        query.addBindValue(value);
    error = m_db.run(query);
    if (changed)
        *changed = error.isEmpty() ? query.numRowsAffected() : 0;
    return error;
}

QString CloudStore::add(const CloudAccount &account, bool *taken)
{
    int added = 0;
    QString error =
        change(QStringLiteral("INSERT OR IGNORE INTO accounts(%1) VALUES(?, ?, ?, ?, ?, ?, ?)").arg(accountColumns()),
               {account.name, optional(account.phone), optional(account.weixin), optional(account.qq), account.locked,
                account.passwordHash, account.id},
               &added);
    *taken = error.isEmpty() && added == 0;
    return error;
}

QString CloudStore::remove(const QString &name, bool *known)
{
    int removed = 0;
    QString error = change(QStringLiteral("DELETE FROM accounts WHERE name = ?"), {name}, &removed);
    *known = removed > 0;
    return error;
}

QString CloudStore::setLocked(const QString &name, bool locked, bool *known)
{
    int changed = 0;
    QString error = change(QStringLiteral("UPDATE accounts SET locked = ? WHERE name = ?"), {locked, name}, &changed);
    *known = changed > 0;
    return error;
}

QString CloudStore::find(By way, const QString &value, std::optional<CloudAccount> *account)
{
    account->reset();
    QString error = m_db.ensureOpen();
    if (!error.isEmpty())
        return error;
    QSqlQuery query = m_db.query();
    query.prepare(QStringLiteral("SELECT %1 FROM accounts WHERE %2 = ?").arg(accountColumns(), column(way)));
    query.addBindValue(value);
    error = m_db.run(query);
    if (error.isEmpty() && query.next())
        *account = accountOf(query);
    return error;
}

QString CloudStore::accounts(QList<CloudAccount> *accounts)
{
    QString error = m_db.ensureOpen();
    if (!error.isEmpty())
        return error;
    QSqlQuery query = m_db.query();
    if (!query.exec(QStringLiteral("SELECT %1 FROM accounts ORDER BY name").arg(accountColumns())))
        return m_db.failed(query);
    while (query.next())
        accounts->append(accountOf(query));
    return {};
}

QString CloudStore::putCode(const OutboxEntry &entry, const StoredCode &code, qint64 oldest)
{
    QString error = m_db.ensureOpen();
    if (!error.isEmpty())
        return error;
    return m_db.inTransaction([&] {
        QString failure = change(QStringLiteral("INSERT OR REPLACE INTO codes VALUES(?, ?, ?, ?)"),
                                 {entry.phone, code.hash, code.sentAt, code.triesLeft});
        if (failure.isEmpty())
            failure =
                change(QStringLiteral("DELETE FROM codes WHERE sent_at < ? OR sent_at > ?"), {oldest, code.sentAt});
        if (failure.isEmpty())
            failure = change(QStringLiteral("DELETE FROM outbox WHERE phone = ?"), {entry.phone});
        if (failure.isEmpty())
            failure = change(QStringLiteral("INSERT INTO outbox(phone, code, sent_at) VALUES(?, ?, ?)"),
                             {entry.phone, entry.sealedCode, entry.sentAt});
        if (failure.isEmpty())
            failure = change(QStringLiteral("DELETE FROM outbox WHERE sent_at < ? OR sent_at > ? OR seq NOT IN "
                                            "(SELECT seq FROM outbox ORDER BY seq DESC LIMIT ?)"),
                             {oldest, entry.sentAt, OutboxSize});
        return failure;
    });
}

QString CloudStore::code(const QString &phone, std::optional<StoredCode> *code)
{
    code->reset();
    QString error = m_db.ensureOpen();
    if (!error.isEmpty())
        return error;
    QSqlQuery query = m_db.query();
    query.prepare(QStringLiteral("SELECT hash, sent_at, tries_left FROM codes WHERE phone = ?"));
    query.addBindValue(phone);
    error = m_db.run(query);
    if (error.isEmpty() && query.next())
        *code = StoredCode{query.value(0).toByteArray(), query.value(1).toLongLong(), query.value(2).toInt()};
    return error;
}

QString CloudStore::takeTry(const QString &phone)
{
    return change(QStringLiteral("UPDATE codes SET tries_left = tries_left - 1 WHERE phone = ?"), {phone});
}

// The row stays for the sake of its time: no two codes within a minute.
QString CloudStore::dropCode(const QString &phone)
{
    QString error = change(QStringLiteral("UPDATE codes SET tries_left = 0 WHERE phone = ?"), {phone});
    return error.isEmpty() ? change(QStringLiteral("DELETE FROM outbox WHERE phone = ?"), {phone}) : error;
}

QString CloudStore::outbox(qint64 oldest, qint64 newest, QList<OutboxEntry> *entries)
{
    QString error = change(QStringLiteral("DELETE FROM outbox WHERE sent_at < ? OR sent_at > ?"), {oldest, newest});
    if (!error.isEmpty())
        return error;
    QSqlQuery query = m_db.query();
    if (!query.exec(QStringLiteral("SELECT phone, code, sent_at FROM outbox ORDER BY seq DESC")))
        return m_db.failed(query);
    while (query.next())
        entries->append({query.value(0).toString(), query.value(1).toByteArray(), query.value(2).toLongLong()});
    return {};
}

} // namespace tarn::services
