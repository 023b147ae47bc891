#pragma once
#include "services/Database.h"
#include <QByteArray>
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

/// The last one-time code of a phone, and the tries of its day.
struct StoredCode
{
    QString phone;
    QByteArray sealed;
    qint64 sentAt = 0;   ///< milliseconds since 1970
    int triesLeft = 0;   ///< 0: it was used, or given up
    qint64 daySince = 0; ///< the first try that counts for the day
    int dayTries = 0;
};

/// Accounts, one-time codes and the sealed sign-in data in the database "cloud.db". One thread. The functions throw
/// Failure.
class CloudStore
{
public:
    explicit CloudStore(const QString &directory);

    enum class By { Name, Phone, Weixin, Qq };

    /// @return false when another account has its name or one of its other ways; nothing is stored then
    bool add(const CloudAccount &account);
    bool remove(const QString &name); ///< false when there is no such account
    bool setLocked(const QString &name, bool locked);
    std::optional<CloudAccount> find(By way, const QString &value);
    QList<CloudAccount> accounts(); ///< by name

    /// Replaces the phone's code; deletes all codes sent before oldest or after newest (the clock was set back).
    void putCode(const StoredCode &code, qint64 oldest, qint64 newest);
    QList<StoredCode> codes(); ///< newest first
    std::optional<StoredCode> code(const QString &phone);

    QByteArray remembered(); ///< the sealed sign-in data, empty when there are none
    void setRemembered(const QByteArray &sealed);

private:
    Database m_db;
};

} // namespace tarn::services
