#pragma once
#include "services/Database.h"
#include <QHash>
#include <QMutex>

namespace tarn::services {

/// Scanned: the phone page was opened. Only Waiting and Scanned can still be decided.
enum class QrState { Waiting, Scanned, Confirmed, Refused, Expired };

/// The QR sign-ins under way. A sign-in has two names: the random code, by which the dialog asks how far it is, and the
/// ticket in the pages' addresses; neither leads to the other. At most 64 are kept. Any thread.
class QrTickets
{
public:
    static constexpr qint64 DefaultLifetime = 180'000; // the dialog asks for more than 120 s

    explicit QrTickets(Clock clock, qint64 lifetimeMs = DefaultLifetime);

    struct Ticket
    {
        QString name; ///< in the pages' addresses
        QString way;  ///< way::Weixin or way::Qq
        QrState state = QrState::Expired;
        QString result;     ///< the outcome of a confirmed one; empty until the dialog has asked for it
        QString identity;   ///< Confirmed
        QString randomCode; ///< empty once the end was reported
        qint64 opened = 0;
        bool isOpen() const { return state == QrState::Waiting || state == QrState::Scanned; }
    };

    /// A new ticket; a running sign-in with the same random code ends.
    QString open(const QString &way, const QString &randomCode);
    Ticket view(const QString &ticket); ///< without a name when there is none
    /// @param state Scanned, Confirmed with an identity, or Refused
    /// @return false when it can no longer be decided
    bool decide(const QString &ticket, QrState state, const QString &identity = {});

    /// The state of the sign-in. An end is reported once; an unknown code counts as expired. A confirmation in
    /// the last moment can still be fetched for half a minute.
    Ticket take(const QString &randomCode);
    void setResult(const QString &ticket, const QString &text); ///< for the pages

private:
    Ticket *find(const QString &ticket); ///< brought up to date; null when there is none, as the next
    Ticket *findCode(const QString &randomCode);
    void makeRoom();

    const Clock m_clock;
    const qint64 m_lifetime;
    QMutex m_lock;
    QHash<QString, Ticket> m_tickets;
};

} // namespace tarn::services
