#pragma once
#include "services/Database.h"
#include <QByteArray>
#include <QList>
#include <QString>
#include <QVariant>
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

/// Accounts, one-time codes and the outbox in the database "cloud.db". Everything on one thread. The functions return
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
    QString takeTry(const QString &phone);
    QString dropCode(const QString &phone); ///< also from the outbox
    /// Those sent from oldest to newest; the others go. Newest first.
    QString outbox(qint64 oldest, qint64 newest, QList<OutboxEntry> *entries);

private:
    QString change(const QString &statement, const QVariantList &values, int *changed = nullptr);

    Database m_db;
};

} // namespace tarn::services
