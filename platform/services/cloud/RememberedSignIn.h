#pragma once
#include "services/cloud/CloudStore.h"
#include "services/cloud/Vault.h"

namespace tarn::services {

/// The data that fill in the sign-in dialog, sealed in the database. Password and phone are empty unless the user asked
/// to keep them.
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
    void setAuto(bool wanted, const QString &name, const QString &id, const QString &usedWay);
    /// Drops the data of this account. @return false when there were none
    bool forget(const QString &name);

    /// Data that cannot be opened count as none, with a log line. Both throw Failure; after that of loading nothing must
    /// be saved over the data.
    static RememberedSignIn load(CloudStore *store, const Vault &vault);
    void save(CloudStore *store, const Vault &vault) const;
};

} // namespace tarn::services
