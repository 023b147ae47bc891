#pragma once
#include "services/cloud/CloudStore.h"

namespace tarn::services {

/// One-time codes for phones: six digits, valid for five minutes and five tries. A phone gets at most one code a minute
/// and has at most twenty tries a day. The codes are stored encrypted. The outbox represents the telephone network.
/// Any thread. The functions throw Failure.
class OneTimeCodes
{
public:
    OneTimeCodes(CloudStore *store, Clock clock);

    /// @return a text for the user when no code was sent, empty when one was
    QString send(const QString &phone) const;
    /// A code that fits is used up.
    /// @return a text for the user when the code is not accepted
    QString check(const QString &phone, const Secret &code) const;
    QVariantList outbox() const; ///< the valid ones as ListCloudOutbox returns them, newest first

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
    Stored last(const QString &phone) const;
    QString checkNow(Stored stored, const Secret &code) const;
    void store(const Stored &code) const;

    CloudStore *const m_store;
    const Clock m_clock;
};

} // namespace tarn::services
