#pragma once
#include "services/Database.h"
#include "services/cloud/Vault.h"

namespace tarn::services {

/// The ways to sign in, as GetCloudStatus names them.
namespace way {
inline const QString Account = QStringLiteral("account");
inline const QString Phone = QStringLiteral("phone");
inline const QString Weixin = QStringLiteral("weixin");
inline const QString Qq = QStringLiteral("qq");
} // namespace way

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

/// The data that fill in the sign-in dialog. Password and phone are empty unless the user asked to keep them.
struct RememberedSignIn
{
    ~RememberedSignIn() { wipe(&password); }

    enum Model { Phone = 0, Account = 1 }; ///< the way used last, as "LOGINMODEL"

    int model = Account;
    bool autoLogin = false;
    bool keepsPassword = false;
    bool keepsPhone = false;
    QString account;
    QString password;
    QString phone;
    QString autoAccount; ///< the account signed in again when the services start; empty after a sign-out
    QString autoId;      ///< that account's id, since a name can be used again
    QString autoWay;     ///< how, one of namespace way

    /// Sets the account that is signed in again at the next start, or none.
    void setAuto(bool wanted, const CloudAccount &owner, const QString &usedWay);
    void forget(const QString &name); ///< drops the data of this account
};

/// The database "cloud.db" with the accounts, the remembered sign-in and the table "sent_codes" of the one-time codes,
/// and the vault of its sealed values.
class CloudStore : public Database
{
public:
    explicit CloudStore(const QString &directory);

    /// @return false when another account has its name or one of its other ways; nothing is stored then
    bool add(const CloudAccount &account);
    bool remove(const QString &name); ///< false when there is no such account
    bool setLocked(const QString &name, bool locked);
    /// @param way one of namespace way; its value is the name for "account"
    std::optional<CloudAccount> find(const QString &way, const QString &value);
    QList<CloudAccount> accounts(); ///< by name

    /// Data that cannot be opened count as none, with a log line. When this throws, nothing must be saved over the
    /// data.
    RememberedSignIn remembered();
    void remember(const RememberedSignIn &memory);

    const Vault vault;
};

} // namespace tarn::services
