#pragma once
#include "services/cloud/Vault.h"
#include <QString>

namespace tarn::services {

class CloudStore;

/// The ways to sign in, as GetCloudStatus names them.
namespace way {
inline const QString Account = QStringLiteral("account");
inline const QString Phone = QStringLiteral("phone");
inline const QString Weixin = QStringLiteral("weixin");
inline const QString Qq = QStringLiteral("qq");
} // namespace way

/// The data that fill in the sign-in dialog. Password and phone are empty unless the user asked to keep them.
struct SignInMemory
{
    ~SignInMemory() { wipe(&password); }

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
    void setAuto(bool wanted, const QString &name, const QString &id, const QString &usedWay);
    /// Drops the data of this account. @return false when there were none
    bool forget(const QString &name);
};

/// The remembered sign-in data, sealed in the database. The store's thread. load() and save() throw Failure.
class RememberedSignIn
{
public:
    RememberedSignIn(CloudStore *store, const Vault *vault);

    /// Moves the data of an earlier version, sealed with the same key, from their own file into the database.
    void takeOver(const QString &file) const;
    /// Data that cannot be opened count as none, with a log line. After a Failure nothing must be saved over them.
    SignInMemory load() const;
    void save(const SignInMemory &memory) const;

private:
    CloudStore *const m_store;
    const Vault *const m_vault;
};

} // namespace tarn::services
