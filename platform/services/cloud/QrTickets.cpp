#include "services/cloud/QrTickets.h"
#include "services/cloud/Vault.h"
#include <QMutexLocker>
#include <algorithm>

namespace tarn::services {

namespace {

constexpr int MaxTickets = 64;
constexpr int TicketBytes = 16;

} // namespace

QrTickets::QrTickets(Clock clock)
    : m_clock(std::move(clock))
{
}

QString QrTickets::open(const QString &way, const QString &randomCode)
{
    QString name = randomHex(TicketBytes);
    const QMutexLocker lock(&m_lock);
    if (Ticket *old = find(&Ticket::randomCode, randomCode)) {
        old->state = QrState::Expired;
        old->randomCode.clear();
    }
    if (m_tickets.size() >= MaxTickets)
        m_tickets.removeFirst();
    m_tickets.append({name, way, QrState::Waiting, {}, {}, randomCode, m_clock()});
    return name;
}

QrTickets::Ticket QrTickets::view(const QString &ticket)
{
    const QMutexLocker lock(&m_lock);
    const Ticket *found = find(&Ticket::name, ticket);
    return found ? *found : Ticket();
}

void QrTickets::decide(const QString &ticket, const QString &identity)
{
    const QMutexLocker lock(&m_lock);
    Ticket *found = find(&Ticket::name, ticket);
    if (!found || found->state != QrState::Waiting)
        return;
    found->state = identity.isEmpty() ? QrState::Refused : QrState::Confirmed;
    found->identity = identity;
}

QrTickets::Ticket QrTickets::take(const QString &randomCode)
{
    const QMutexLocker lock(&m_lock);
    Ticket *found = find(&Ticket::randomCode, randomCode);
    if (!found)
        return {};
    if (found->state != QrState::Waiting)
        found->randomCode.clear();
    return *found;
}

void QrTickets::setResult(const QString &ticket, const QString &text)
{
    const QMutexLocker lock(&m_lock);
    if (Ticket *found = find(&Ticket::name, ticket))
        found->result = text;
}

// A confirmation that was not fetched in time expires too.
QrTickets::Ticket *QrTickets::find(QString Ticket::*field, const QString &value)
{
    const auto found = std::find_if(m_tickets.begin(), m_tickets.end(),
                                    [&](const Ticket &ticket) { return !value.isEmpty() && ticket.*field == value; });
    if (found == m_tickets.end())
        return nullptr;
    if (!found->randomCode.isEmpty() && found->state != QrState::Refused && m_clock() - found->opened >= LifetimeMs)
        found->state = QrState::Expired;
    return &*found;
}

} // namespace tarn::services
