#pragma once
#include "services/Database.h"
#include <optional>

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

/// The database "cloud.db" with the accounts, the table "sent_codes" of the one-time codes and the row "remembered" of
/// the sealed sign-in data.
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
};

} // namespace tarn::services
