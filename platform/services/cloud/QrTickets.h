#pragma once
#include "services/Database.h"
#include <QMutex>

namespace tarn::services {

enum class QrState { Waiting, Confirmed, Refused, Expired };

/// The QR sign-ins under way. A sign-in has two names: the random code, by which the dialog asks how far it is, and the
/// ticket in the pages' addresses; neither leads to the other. At most 64 are kept. Any thread.
class QrTickets
{
public:
    static constexpr qint64 LifetimeMs = 180'000; // the dialog asks for more than 120 s

    explicit QrTickets(Clock clock);

    struct Ticket
    {
        QString name; ///< in the pages' addresses
        QString way;  ///< way::Weixin or way::Qq
        QrState state = QrState::Expired;
        QString result;     ///< the outcome of a confirmed one; empty until the dialog has asked for it
        QString identity;   ///< Confirmed
        QString randomCode; ///< empty once the end was reported
        qint64 opened = 0;
    };

    /// A new ticket; a running sign-in with the same random code ends.
    QString open(const QString &way, const QString &randomCode);
    Ticket view(const QString &ticket); ///< without a name when there is none
    /// Confirms a waiting sign-in for an identity, or refuses it when the identity is empty.
    void decide(const QString &ticket, const QString &identity);

    /// The state of the sign-in. An end is reported once; an unknown code counts as expired.
    Ticket take(const QString &randomCode);
    void setResult(const QString &ticket, const QString &text); ///< for the pages

private:
    Ticket *find(QString Ticket::*field, const QString &value); ///< brought up to date; null when there is none

    const Clock m_clock;
    QMutex m_lock;
    QList<Ticket> m_tickets; ///< in the order of their opening
};

} // namespace tarn::services
