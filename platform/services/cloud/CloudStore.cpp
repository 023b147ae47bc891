#include "services/cloud/CloudStore.h"

namespace tarn::services {

namespace {

constexpr int SchemaVersion = 3;
const QString Columns = QStringLiteral("name, phone, weixin, qq, locked, hash, id"); // of an account

QStringList schema()
{
    return {
        QStringLiteral("CREATE TABLE IF NOT EXISTS accounts(name TEXT NOT NULL PRIMARY KEY, phone TEXT UNIQUE, "
                       "weixin TEXT UNIQUE, qq TEXT UNIQUE, locked INTEGER NOT NULL, hash BLOB NOT NULL, "
                       "id TEXT NOT NULL) WITHOUT ROWID"),
        QStringLiteral("CREATE TABLE IF NOT EXISTS sent_codes(phone TEXT NOT NULL PRIMARY KEY, sealed BLOB NOT NULL, "
                       "sent_at INTEGER NOT NULL, tries_left INTEGER NOT NULL, day_since INTEGER NOT NULL, "
                       "day_tries INTEGER NOT NULL)"),
        QStringLiteral("CREATE TABLE IF NOT EXISTS remembered(id INTEGER PRIMARY KEY CHECK(id = 1), "
                       "sealed BLOB NOT NULL)"),
    };
}

// NULL where an account has none: unlike empty texts, NULLs are not equal to each other.
QVariant optional(const QString &text)
{
    return text.isEmpty() ? QVariant() : QVariant(text);
}

CloudAccount accountOf(const QSqlQuery &query)
{
    return {query.value(0).toString(), query.value(1).toString(), query.value(2).toString(),
            query.value(3).toString(), query.value(4).toBool(),   query.value(5).toByteArray(),
            query.value(6).toString()};
}

} // namespace

CloudStore::CloudStore(const QString &directory)
    : Database(directory + QStringLiteral("/cloud.db"), schema(), SchemaVersion)
{
}

bool CloudStore::add(const CloudAccount &account)
{
    return run(QStringLiteral("INSERT OR IGNORE INTO accounts(%1) VALUES(?, ?, ?, ?, ?, ?, ?)").arg(Columns),
               {account.name, optional(account.phone), optional(account.weixin), optional(account.qq), account.locked,
                account.passwordHash, account.id}) > 0;
}

bool CloudStore::remove(const QString &name)
{
    return run(QStringLiteral("DELETE FROM accounts WHERE name = ?"), {name}) > 0;
}

bool CloudStore::setLocked(const QString &name, bool locked)
{
    return run(QStringLiteral("UPDATE accounts SET locked = ? WHERE name = ?"), {locked, name}) > 0;
}

std::optional<CloudAccount> CloudStore::find(const QString &way, const QString &value)
{
    const QString column = way == way::Account ? QStringLiteral("name") : way;
    const auto found =
        rows(QStringLiteral("SELECT %1 FROM accounts WHERE %2 = ?").arg(Columns, column), {value}, accountOf);
    return found.isEmpty() ? std::nullopt : std::optional<CloudAccount>(found.first());
}

QList<CloudAccount> CloudStore::accounts()
{
    return rows(QStringLiteral("SELECT %1 FROM accounts ORDER BY name").arg(Columns), {}, accountOf);
}

} // namespace tarn::services
