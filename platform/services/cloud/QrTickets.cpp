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
    if (Ticket *old = findCode(randomCode)) {
        old->state = QrState::Expired;
        old->randomCode.clear();
    }
    if (m_tickets.size() >= MaxTickets)
        m_tickets.erase(std::min_element(m_tickets.begin(), m_tickets.end(),
                                         [](const Ticket &a, const Ticket &b) { return a.opened < b.opened; }));
    m_tickets.insert(name, {name, way, QrState::Waiting, {}, {}, randomCode, m_clock()});
    return name;
}

QrTickets::Ticket QrTickets::view(const QString &ticket)
{
    const QMutexLocker lock(&m_lock);
    const Ticket *found = find(ticket);
    return found ? *found : Ticket();
}

void QrTickets::decide(const QString &ticket, const QString &identity)
{
    const QMutexLocker lock(&m_lock);
    Ticket *found = find(ticket);
    if (!found || found->state != QrState::Waiting)
        return;
    found->state = identity.isEmpty() ? QrState::Refused : QrState::Confirmed;
    found->identity = identity;
}

QrTickets::Ticket QrTickets::take(const QString &randomCode)
{
    const QMutexLocker lock(&m_lock);
    Ticket *found = findCode(randomCode);
    if (!found)
        return {};
    if (found->state != QrState::Waiting)
        found->randomCode.clear();
    return *found;
}

void QrTickets::setResult(const QString &ticket, const QString &text)
{
    const QMutexLocker lock(&m_lock);
    if (Ticket *found = find(ticket))
        found->result = text;
}

// A confirmation that was not fetched in time expires too.
QrTickets::Ticket *QrTickets::find(const QString &ticket)
{
    const auto it = m_tickets.find(ticket);
    if (it == m_tickets.end())
        return nullptr;
    if (!it->randomCode.isEmpty() && it->state != QrState::Refused && m_clock() - it->opened >= LifetimeMs)
        it->state = QrState::Expired;
    return &*it;
}

QrTickets::Ticket *QrTickets::findCode(const QString &randomCode)
{
    const auto found = std::find_if(m_tickets.cbegin(), m_tickets.cend(), [&](const Ticket &ticket) {
        return !randomCode.isEmpty() && ticket.randomCode == randomCode;
    });
    return found == m_tickets.cend() ? nullptr : find(found.key());
}

} // namespace tarn::services
