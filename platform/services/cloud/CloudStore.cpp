#include "services/cloud/CloudStore.h"

namespace tarn::services {

namespace {

constexpr int SchemaVersion = 3; // 1 had codes and an outbox apart, and no remembered data
constexpr int MaxCodes = 1000;

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
    static const char *const columns[] = {"name", "phone", "weixin", "qq"}; // in the order of By
    const QString column = QLatin1String(columns[static_cast<int>(way)]);
    account->reset();
    return m_db.run(QStringLiteral("SELECT %1 FROM accounts WHERE %2 = ?").arg(accountColumns(), column), {value},
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

QString CloudStore::putCode(const StoredCode &code, qint64 oldest, qint64 newest)
{
    return m_db.inTransaction([&] {
        QString error = m_db.run(QStringLiteral("INSERT OR REPLACE INTO sent_codes VALUES(?, ?, ?, ?, ?, ?)"),
                                 {code.phone, code.sealed, code.sentAt, code.triesLeft, code.daySince, code.dayTries});
        if (!error.isEmpty())
            return error;
        return m_db.run(QStringLiteral("DELETE FROM sent_codes WHERE sent_at < ? OR sent_at > ? OR phone NOT IN "
                                       "(SELECT phone FROM sent_codes ORDER BY sent_at DESC, rowid DESC LIMIT ?)"),
                        {oldest, newest, MaxCodes});
    });
}

QString CloudStore::codes(QList<StoredCode> *list, const QString &phone)
{
    return m_db.run(QStringLiteral("SELECT phone, sealed, sent_at, tries_left, day_since, day_tries FROM sent_codes "
                                   "WHERE ? = '' OR phone = ? ORDER BY sent_at DESC, rowid DESC"),
                    {phone, phone}, [list](const QSqlQuery &row) {
                        list->append({row.value(0).toString(), row.value(1).toByteArray(), row.value(2).toLongLong(),
                                      row.value(3).toInt(), row.value(4).toLongLong(), row.value(5).toInt()});
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
