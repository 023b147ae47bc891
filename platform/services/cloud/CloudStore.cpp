#include "services/cloud/CloudStore.h"
#include <QDataStream>
#include <tuple>

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

constexpr quint32 MemoryVersion = 2;
constexpr int MaxMemory = 256 * 1024; // bytes, of texts as long as requests may have them

// The stored fields of a remembered sign-in, in their order.
template <class Memory>
auto fieldsOf(Memory &memory)
{
    return std::tie(memory.model, memory.autoLogin, memory.keepsPassword, memory.keepsPhone, memory.account,
                    memory.password, memory.phone, memory.autoAccount, memory.autoId, memory.autoWay);
}

void setFormat(QDataStream &stream)
{
    stream.setVersion(QDataStream::Qt_5_15);
    stream.setByteOrder(QDataStream::LittleEndian); // another order than the machine's copies the texts
}

Secret pack(const RememberedSignIn &memory)
{
    QByteArray bytes;
    bytes.reserve(MaxMemory); // never moved, so that one copy is overwritten
    QDataStream stream(&bytes, QIODevice::WriteOnly);
    setFormat(stream);
    stream << MemoryVersion;
    std::apply([&stream](const auto &...field) { (stream << ... << field); }, fieldsOf(memory));
    return Secret(std::move(bytes));
}

// The bytes come from the vault, which has checked that they are ours.
bool unpack(const Secret &plain, RememberedSignIn *memory)
{
    QDataStream stream(QByteArray::fromRawData(plain.chars(), plain.size()));
    setFormat(stream);
    quint32 version = 0;
    stream >> version;
    if (version != MemoryVersion)
        return false;
    std::apply([&stream](auto &...field) { (stream >> ... >> field); }, fieldsOf(*memory));
    return stream.status() == QDataStream::Ok;
}

} // namespace

void RememberedSignIn::setAuto(bool wanted, const CloudAccount &owner, const QString &usedWay)
{
    autoLogin = wanted;
    autoAccount = wanted ? owner.name : QString();
    autoId = wanted ? owner.id : QString();
    autoWay = usedWay;
}

void RememberedSignIn::forget(const QString &name)
{
    if (autoAccount == name)
        setAuto(false, {}, autoWay);
    if (account == name) {
        account.clear();
        wipe(&password);
        keepsPassword = false;
    }
}

CloudStore::CloudStore(const QString &directory)
    : Database(directory + QStringLiteral("/cloud.db"), schema(), SchemaVersion)
    , vault(directory)
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

RememberedSignIn CloudStore::remembered()
{
    vault.requireKey();
    const QByteArray sealed = value(QStringLiteral("SELECT sealed FROM remembered")).toByteArray();
    if (sealed.isEmpty())
        return {};
    const auto plain = vault.open(sealed);
    RememberedSignIn memory;
    if (plain && unpack(*plain, &memory))
        return memory;
    qCWarning(servicesLog, "the remembered sign-in cannot be opened with this key: it counts as none");
    return {};
}

void CloudStore::remember(const RememberedSignIn &memory)
{
    run(QStringLiteral("INSERT OR REPLACE INTO remembered VALUES(1, ?)"), {vault.seal(pack(memory))});
}

} // namespace tarn::services
