#include "services/cloud/QrTickets.h"
#include "services/cloud/Secret.h"
#include <QMutexLocker>
#include <algorithm>

namespace tarn::services {

namespace {

constexpr int MaxTickets = 64;
constexpr int TicketBytes = 16;
constexpr qint64 FetchMs = 30'000; // for the poll after a confirmation in the last moment
constexpr qint64 KeepMs = 600'000; // pages of ended sign-ins

} // namespace

QrTickets::QrTickets(Clock clock, qint64 lifetimeMs)
    : m_clock(std::move(clock))
    , m_lifetime(lifetimeMs)
{
}

QString QrTickets::open(QrWay way, const QString &randomCode)
{
    QString name = randomHex(TicketBytes);
    const QMutexLocker lock(&m_lock);
    if (Ticket *old = find(m_byCode.value(randomCode))) {
        old->view.state = QrState::Expired;
        old->randomCode.clear();
    }
    makeRoom();
    Ticket ticket;
    ticket.view.way = way;
    ticket.randomCode = randomCode;
    ticket.opened = m_clock();
    m_tickets.insert(name, ticket);
    m_byCode.insert(randomCode, name);
    return name;
}

std::optional<QrTickets::View> QrTickets::view(const QString &ticket)
{
    const QMutexLocker lock(&m_lock);
    const Ticket *found = find(ticket);
    return found ? std::optional<View>(found->view) : std::nullopt;
}

void QrTickets::scanned(const QString &ticket)
{
    const QMutexLocker lock(&m_lock);
    Ticket *found = find(ticket);
    if (found && found->view.state == QrState::Waiting)
        found->view.state = QrState::Scanned;
}

bool QrTickets::confirm(const QString &ticket, const QString &identity)
{
    return decide(ticket, QrState::Confirmed, identity);
}

bool QrTickets::refuse(const QString &ticket)
{
    return decide(ticket, QrState::Refused, {});
}

bool QrTickets::decide(const QString &ticket, QrState state, const QString &identity)
{
    const QMutexLocker lock(&m_lock);
    Ticket *found = find(ticket);
    if (!found || !found->view.isOpen())
        return false;
    found->view.state = state;
    found->identity = identity;
    return true;
}

QrTickets::Outcome QrTickets::take(const QString &randomCode)
{
    const QMutexLocker lock(&m_lock);
    const QString name = m_byCode.value(randomCode);
    Ticket *found = find(name);
    if (!found)
        return {};
    Outcome outcome{found->view.state, found->view.way, found->identity, name};
    if (!found->view.isOpen()) {
        m_byCode.remove(randomCode);
        found->randomCode.clear();
    }
    return outcome;
}

void QrTickets::setResult(const QString &ticket, const QString &text)
{
    const QMutexLocker lock(&m_lock);
    if (Ticket *found = find(ticket))
        found->view.result = text;
}

QrTickets::Ticket *QrTickets::find(const QString &ticket)
{
    const auto it = m_tickets.find(ticket);
    if (it == m_tickets.end())
        return nullptr;
    update(*it);
    return &*it;
}

// A confirmation that was not fetched in time expires too.
void QrTickets::update(Ticket &ticket) const
{
    const qint64 limit = ticket.view.state == QrState::Confirmed ? m_lifetime + FetchMs : m_lifetime;
    if (!ticket.randomCode.isEmpty() && ticket.view.state != QrState::Refused && m_clock() - ticket.opened >= limit)
        ticket.view.state = QrState::Expired;
}

void QrTickets::makeRoom()
{
    const auto drop = [this](QHash<QString, Ticket>::iterator it) {
        m_byCode.remove(it->randomCode);
        return m_tickets.erase(it);
    };
    const qint64 now = m_clock();
    for (auto it = m_tickets.begin(); it != m_tickets.end();)
        it = now - it->opened > m_lifetime + KeepMs ? drop(it) : std::next(it);
    while (m_tickets.size() >= MaxTickets)
        drop(std::min_element(m_tickets.begin(), m_tickets.end(),
                              [](const Ticket &a, const Ticket &b) { return a.opened < b.opened; }));
}

} // namespace tarn::services
