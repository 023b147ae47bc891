#pragma once
#include "services/cloud/CloudStore.h"
#include "services/cloud/Secret.h"
#include <functional>

namespace tarn::services {

class Vault;

/// One-time codes for phones: six digits, valid for five minutes and five tries. A phone gets at most one code a minute
/// and has at most twenty tries a day. The codes are stored encrypted. The outbox represents the telephone network.
/// Used on the store's thread.
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
    StoredCode last(const QString &phone) const;
    void store(const StoredCode &code) const;

    CloudStore *const m_store;
    const Vault *const m_vault;
    const Clock m_clock;
};

} // namespace tarn::services
