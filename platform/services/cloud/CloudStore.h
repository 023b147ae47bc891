#pragma once
#include "services/Database.h"
#include <QByteArray>
#include <QList>
#include <QString>
#include <optional>

namespace tarn::services {

/// A cloud account. The other ways to sign in are empty where the account has none; no two accounts share one.
struct CloudAccount
{
    QString name;
    QString phone;
    QString weixin;
    QString qq;
    bool locked = false;
    QByteArray passwordHash; ///< as hashPassword() gives it
    QString id;              ///< random: tells it from a removed account of the same name
};

/// A one-time code as it is kept.
struct StoredCode
{
    QByteArray hash;
    qint64 sentAt = 0; ///< milliseconds since 1970
    int triesLeft = 0;
};

struct OutboxEntry
{
    QString phone;
    QByteArray sealedCode;
    qint64 sentAt = 0;
};

/// How many tries a phone has within a period that begins with the first.
struct DailyLimit
{
    int tries = 20;
    qint64 periodMs = 24 * 3600 * 1000LL;
};

/// Accounts, one-time codes, the outbox and the sealed sign-in data in the database "cloud.db". One thread. The functions return
/// what went wrong, empty when all is well.
class CloudStore
{
public:
    explicit CloudStore(const QString &directory);

    enum class By { Name, Phone, Weixin, Qq };

    /// @param taken true when another account has its name or one of its other ways; nothing is stored then
    QString add(const CloudAccount &account, bool *taken);
    QString remove(const QString &name, bool *known);
    QString setLocked(const QString &name, bool locked, bool *known);
    QString find(By way, const QString &value, std::optional<CloudAccount> *account);
    QString accounts(QList<CloudAccount> *accounts); ///< by name

    /// Replaces the phone's code, in the outbox too, which keeps the newest and nothing from before oldest or from after
    /// the entry (the clock was set back).
    QString putCode(const OutboxEntry &entry, const StoredCode &code, qint64 oldest);
    QString code(const QString &phone, std::optional<StoredCode> *code);
    /// Counts one try at the phone's code, of its own tries and of those of the period.
    /// @param granted false when the period's tries are used up; nothing is counted then
    QString takeTry(const QString &phone, qint64 time, const DailyLimit &limit, bool *granted);
    QString dropCode(const QString &phone); ///< also from the outbox
    /// The entries sent from oldest to newest, newest first; all others are deleted.
    QString outbox(qint64 oldest, qint64 newest, QList<OutboxEntry> *entries);

    QString remembered(QByteArray *sealed); ///< the sealed sign-in data, empty when there are none
    QString setRemembered(const QByteArray &sealed);

private:
    Database m_db;
};

} // namespace tarn::services
