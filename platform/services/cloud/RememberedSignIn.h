#pragma once
#include "services/cloud/Vault.h"
#include <QString>

namespace tarn::services {

/// The ways to sign in, as GetCloudStatus names them.
namespace way {
inline const QString Account = QStringLiteral("account");
inline const QString Phone = QStringLiteral("phone");
inline const QString Weixin = QStringLiteral("weixin");
inline const QString Qq = QStringLiteral("qq");
} // namespace way

/// What the sign-in dialog is filled with. Password and phone are empty where the user
/// did not ask for them to be kept.
struct SignInMemory
{
    enum Model { Phone = 0, Account = 1 }; ///< the way used last, as "LOGINMODEL"

    int model = Account;
    bool autoLogin = false;
    bool keepsPassword = false;
    bool keepsPhone = false;
    QString account;
    QString password;
    QString phone;
    QString autoAccount; ///< who is signed in again when the services start; empty after a sign-out
    QString autoId;      ///< that account's, since a name can be given again
    QString autoWay;     ///< how, one of namespace way

    /// Takes over who is to be signed in again, if anybody is.
    void setAuto(bool wanted, const QString &name, const QString &id, const QString &usedWay);
    /// Drops what is known of this account. @return false when that was nothing
    bool forget(const QString &name);
};

/// The remembered sign-in data, sealed in the file "cloud.remembered" (0600), replaced as a whole. A file that is
/// broken, another user's or open to others counts as none and is moved aside, with a log line; one that cannot be read
/// is not replaced. One thread at a time.
class RememberedSignIn
{
public:
    RememberedSignIn(const QString &directory, const Vault *vault);

    /// @param error receives why it cannot be read; nothing must be saved over it then
    SignInMemory load(QString *error) const;
    /// @return what went wrong, empty when it is on the disk
    QString save(const SignInMemory &memory) const;

private:
    const QString m_file;
    const Vault *const m_vault;
};

} // namespace tarn::services
