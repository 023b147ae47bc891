#include "services/cloud/CloudStore.h"

namespace tarn::services {

namespace {

constexpr int SchemaVersion = 3; // 1 had codes and an outbox apart, and no remembered data
constexpr int MaxCodes = 1000;
const QString Columns = QStringLiteral("name, phone, weixin, qq, locked, hash, id"); // of an account

QStringList schema()
{
    return {
        QStringLiteral("CREATE TABLE IF NOT EXISTS accounts(name TEXT NOT NULL PRIMARY KEY, phone TEXT UNIQUE, "
                       "weixin TEXT UNIQUE, qq TEXT UNIQUE, locked INTEGER NOT NULL, hash BLOB NOT NULL, "
                       "id TEXT NOT NULL) WITHOUT ROWID"),
        QStringLiteral("DROP TABLE IF EXISTS codes"),
        QStringLiteral("DROP TABLE IF EXISTS outbox"),
        QStringLiteral("DROP TABLE IF EXISTS tries"),
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

StoredCode codeOf(const QSqlQuery &query)
{
    return {query.value(0).toString(), query.value(1).toByteArray(), query.value(2).toLongLong(),
            query.value(3).toInt(),    query.value(4).toLongLong(),  query.value(5).toInt()};
}

template <class Row>
std::optional<Row> first(const QList<Row> &rows)
{
    return rows.isEmpty() ? std::nullopt : std::optional<Row>(rows.first());
}

} // namespace

CloudStore::CloudStore(const QString &directory)
    : m_db(directory + QStringLiteral("/cloud.db"), schema(), SchemaVersion)
{
}

bool CloudStore::add(const CloudAccount &account)
{
    return m_db.run(QStringLiteral("INSERT OR IGNORE INTO accounts(%1) VALUES(?, ?, ?, ?, ?, ?, ?)").arg(Columns),
                    {account.name, optional(account.phone), optional(account.weixin), optional(account.qq),
                     account.locked, account.passwordHash, account.id}) > 0;
}

bool CloudStore::remove(const QString &name)
{
    return m_db.run(QStringLiteral("DELETE FROM accounts WHERE name = ?"), {name}) > 0;
}

bool CloudStore::setLocked(const QString &name, bool locked)
{
    return m_db.run(QStringLiteral("UPDATE accounts SET locked = ? WHERE name = ?"), {locked, name}) > 0;
}

std::optional<CloudAccount> CloudStore::find(By way, const QString &value)
{
    static const char *const columns[] = {"name", "phone", "weixin", "qq"}; // in the order of By
    const QString column = QLatin1String(columns[static_cast<int>(way)]);
    return first(
        m_db.rows(QStringLiteral("SELECT %1 FROM accounts WHERE %2 = ?").arg(Columns, column), {value}, accountOf));
}

QList<CloudAccount> CloudStore::accounts()
{
    return m_db.rows(QStringLiteral("SELECT %1 FROM accounts ORDER BY name").arg(Columns), {}, accountOf);
}

void CloudStore::putCode(const StoredCode &code, qint64 oldest, qint64 newest)
{
    m_db.inTransaction([&] {
        m_db.run(QStringLiteral("INSERT OR REPLACE INTO sent_codes VALUES(?, ?, ?, ?, ?, ?)"),
                 {code.phone, code.sealed, code.sentAt, code.triesLeft, code.daySince, code.dayTries});
        m_db.run(QStringLiteral("DELETE FROM sent_codes WHERE sent_at < ? OR sent_at > ? OR phone NOT IN "
                                "(SELECT phone FROM sent_codes ORDER BY sent_at DESC, rowid DESC LIMIT ?)"),
                 {oldest, newest, MaxCodes});
    });
}

QList<StoredCode> CloudStore::codes()
{
    return m_db.rows(QStringLiteral("SELECT * FROM sent_codes ORDER BY sent_at DESC, rowid DESC"), {}, codeOf);
}

std::optional<StoredCode> CloudStore::code(const QString &phone)
{
    return first(m_db.rows(QStringLiteral("SELECT * FROM sent_codes WHERE phone = ?"), {phone}, codeOf));
}

QByteArray CloudStore::remembered()
{
    return m_db.value(QStringLiteral("SELECT sealed FROM remembered")).toByteArray();
}

void CloudStore::setRemembered(const QByteArray &sealed)
{
    m_db.run(QStringLiteral("INSERT OR REPLACE INTO remembered VALUES(1, ?)"), {sealed});
}

} // namespace tarn::services
