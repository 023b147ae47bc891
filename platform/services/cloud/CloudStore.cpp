#include "services/cloud/CloudStore.h"
#include <utility>

namespace tarn::services {

namespace {

constexpr int SchemaVersion = 2; // 1 had neither tries nor remembered data
constexpr int OutboxSize = 100;

QStringList schema()
{
    return {
        QStringLiteral("CREATE TABLE IF NOT EXISTS accounts(name TEXT NOT NULL PRIMARY KEY, phone TEXT UNIQUE, weixin "
                       "TEXT UNIQUE, "
                       "qq TEXT UNIQUE, locked INTEGER NOT NULL, hash BLOB NOT NULL, id TEXT NOT NULL) WITHOUT ROWID"),
        QStringLiteral("CREATE TABLE IF NOT EXISTS codes(phone TEXT NOT NULL PRIMARY KEY, hash BLOB NOT NULL, "
                       "sent_at INTEGER NOT NULL, tries_left INTEGER NOT NULL) WITHOUT ROWID"),
        QStringLiteral("CREATE TABLE IF NOT EXISTS outbox(seq INTEGER PRIMARY KEY AUTOINCREMENT, phone TEXT NOT NULL, "
                       "code BLOB NOT NULL, sent_at INTEGER NOT NULL)"),
        QStringLiteral("CREATE TABLE IF NOT EXISTS tries(phone TEXT NOT NULL PRIMARY KEY, since INTEGER NOT NULL, "
                       "count INTEGER NOT NULL) WITHOUT ROWID"),
        QStringLiteral("CREATE TABLE IF NOT EXISTS remembered(id INTEGER PRIMARY KEY CHECK(id = 1), "
                       "sealed BLOB NOT NULL)"),
    };
}

// NULL where an account has none: unlike empty texts, NULLs are not equal to each other.
QVariant optional(const QString &text)
{
    return text.isEmpty() ? QVariant() : QVariant(text);
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
    : m_db(directory + QStringLiteral("/cloud.db"), schema(), SchemaVersion)
{
}

QString CloudStore::add(const CloudAccount &account, bool *taken)
{
    QString error =
        m_db.run(QStringLiteral("INSERT OR IGNORE INTO accounts(%1) VALUES(?, ?, ?, ?, ?, ?, ?)").arg(accountColumns()),
                 {account.name, optional(account.phone), optional(account.weixin), optional(account.qq), account.locked,
                  account.passwordHash, account.id});
    *taken = error.isEmpty() && m_db.changed() == 0;
    return error;
}

QString CloudStore::remove(const QString &name, bool *known)
{
    QString error = m_db.run(QStringLiteral("DELETE FROM accounts WHERE name = ?"), {name});
    *known = error.isEmpty() && m_db.changed() > 0;
    return error;
}

QString CloudStore::setLocked(const QString &name, bool locked, bool *known)
{
    QString error = m_db.run(QStringLiteral("UPDATE accounts SET locked = ? WHERE name = ?"), {locked, name});
    *known = error.isEmpty() && m_db.changed() > 0;
    return error;
}

QString CloudStore::find(By way, const QString &value, std::optional<CloudAccount> *account)
{
    account->reset();
    return m_db.run(QStringLiteral("SELECT %1 FROM accounts WHERE %2 = ?").arg(accountColumns(), column(way)), {value},
                    [account](const QSqlQuery &row) {
                        *account = accountOf(row);
                        return false;
                    });
}

QString CloudStore::accounts(QList<CloudAccount> *accounts)
{
    return m_db.run(QStringLiteral("SELECT %1 FROM accounts ORDER BY name").arg(accountColumns()), {},
                    [accounts](const QSqlQuery &row) {
                        accounts->append(accountOf(row));
                        return true;
                    });
}

QString CloudStore::putCode(const OutboxEntry &entry, const StoredCode &code, qint64 oldest)
{
    return m_db.inTransaction([&] {
        const std::pair<QString, QVariantList> statements[] = {
            {QStringLiteral("INSERT OR REPLACE INTO codes VALUES(?, ?, ?, ?)"),
             {entry.phone, code.hash, code.sentAt, code.triesLeft}},
            {QStringLiteral("DELETE FROM codes WHERE sent_at < ? OR sent_at > ?"), {oldest, code.sentAt}},
            {QStringLiteral("DELETE FROM outbox WHERE phone = ?"), {entry.phone}},
            {QStringLiteral("INSERT INTO outbox(phone, code, sent_at) VALUES(?, ?, ?)"),
             {entry.phone, entry.sealedCode, entry.sentAt}},
            {QStringLiteral("DELETE FROM outbox WHERE sent_at < ? OR sent_at > ? OR seq NOT IN "
                            "(SELECT seq FROM outbox ORDER BY seq DESC LIMIT ?)"),
             {oldest, entry.sentAt, OutboxSize}},
        };
        QString error;
        for (const auto &[statement, values] : statements)
            error = error.isEmpty() ? m_db.run(statement, values) : error;
        return error;
    });
}

QString CloudStore::code(const QString &phone, std::optional<StoredCode> *code)
{
    code->reset();
    return m_db.run(QStringLiteral("SELECT hash, sent_at, tries_left FROM codes WHERE phone = ?"), {phone},
                    [code](const QSqlQuery &row) {
                        *code = StoredCode{row.value(0).toByteArray(), row.value(1).toLongLong(), row.value(2).toInt()};
                        return false;
                    });
}

QString CloudStore::takeTry(const QString &phone, qint64 time, const DailyLimit &limit, bool *granted)
{
    return m_db.inTransaction([&] {
        int used = 0;
        // A time in the future was stored before the clock was set back: it neither locks nor frees the phone.
        QString error = m_db.run(QStringLiteral("DELETE FROM tries WHERE since <= ?"), {time - limit.periodMs});
        if (error.isEmpty())
            error = m_db.run(QStringLiteral("UPDATE tries SET since = ? WHERE since > ?"), {time, time});
        if (error.isEmpty())
            error = m_db.run(QStringLiteral("SELECT count FROM tries WHERE phone = ?"), {phone},
                             [&used](const QSqlQuery &row) {
                                 used = row.value(0).toInt();
                                 return false;
                             });
        *granted = error.isEmpty() && used < limit.tries;
        if (!*granted)
            return error;
        error = m_db.run(QStringLiteral("INSERT INTO tries VALUES(?, ?, 1) "
                                        "ON CONFLICT(phone) DO UPDATE SET count = count + 1"),
                         {phone, time});
        return error.isEmpty()
                   ? m_db.run(QStringLiteral("UPDATE codes SET tries_left = tries_left - 1 WHERE phone = ?"), {phone})
                   : error;
    });
}

// The row stays with its time: no two codes within a minute.
QString CloudStore::dropCode(const QString &phone)
{
    QString error = m_db.run(QStringLiteral("UPDATE codes SET tries_left = 0 WHERE phone = ?"), {phone});
    return error.isEmpty() ? m_db.run(QStringLiteral("DELETE FROM outbox WHERE phone = ?"), {phone}) : error;
}

QString CloudStore::outbox(qint64 oldest, qint64 newest, QList<OutboxEntry> *entries)
{
    QString error = m_db.run(QStringLiteral("DELETE FROM outbox WHERE sent_at < ? OR sent_at > ?"), {oldest, newest});
    if (!error.isEmpty())
        return error;
    return m_db.run(
        QStringLiteral("SELECT phone, code, sent_at FROM outbox ORDER BY seq DESC"), {},
        [entries](const QSqlQuery &row) {
            entries->append({row.value(0).toString(), row.value(1).toByteArray(), row.value(2).toLongLong()});
            return true;
        });
}

QString CloudStore::remembered(QByteArray *sealed)
{
    sealed->clear();
    return m_db.run(QStringLiteral("SELECT sealed FROM remembered"), {}, [sealed](const QSqlQuery &row) {
        *sealed = row.value(0).toByteArray();
        return false;
    });
}

QString CloudStore::setRemembered(const QByteArray &sealed)
{
    return m_db.run(QStringLiteral("INSERT OR REPLACE INTO remembered VALUES(1, ?)"), {sealed});
}

} // namespace tarn::services
