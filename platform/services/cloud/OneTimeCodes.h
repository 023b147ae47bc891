#pragma once
#include "services/cloud/CloudStore.h"
#include "services/cloud/Vault.h"

namespace tarn::services {

/// One-time codes for phones: six digits, valid for five minutes and five tries. A phone gets at most one code a minute
/// and has at most twenty tries a day. The codes are stored encrypted. The outbox represents the telephone network.
/// Any thread.
class OneTimeCodes
{
public:
    using Clock = std::function<qint64()>; ///< milliseconds since 1970

    OneTimeCodes(CloudStore *store, const Vault *vault, Clock clock);

    struct Sent
    {
        QString phone;
        QString code;
        qint64 sentAt = 0;
    };

    /// The functions throw Failure.
    /// @return a text for the user when no code was sent, empty when one was
    QString send(const QString &phone);
    /// A code that fits is used up.
    /// @return a text for the user when the code is not accepted
    QString check(const QString &phone, const Secret &code);
    QList<Sent> outbox(); ///< valid ones, newest first

private:
    /// The last code of a phone, and the tries of its day.
    struct Stored
    {
        QString phone;
        QByteArray sealed;
        qint64 sentAt = 0;
        int triesLeft = 0;   ///< 0: it was used, or given up
        qint64 daySince = 0; ///< the first try that counts for the day
        int dayTries = 0;
    };

    QList<Stored> read(const QString &condition, const QVariantList &values = {}) const;
    QString sendNow(const QString &phone) const;
    QString checkNow(const QString &phone, const Secret &code) const;
    Stored last(const QString &phone) const;
    void store(const Stored &code) const;

    CloudStore *const m_store;
    const Vault *const m_vault;
    const Clock m_clock;
};

} // namespace tarn::services
