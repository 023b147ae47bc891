#include "rpc/Servants.h"
#include <utility>

namespace tarn::rpc {

static thread_local CallGate::Pass *t_pass = nullptr;

CallGate::Pass::Pass(std::shared_ptr<CallGate> gate)
    : m_gate(std::move(gate))
    , m_outer(t_pass)
{
    const QMutexLocker lock(&m_gate->m_mutex);
    m_isInside = m_gate->m_open;
    if (!m_isInside)
        return;
    ++m_gate->m_running;
    t_pass = this;
}

CallGate::Pass::~Pass()
{
    if (t_pass == this)
        t_pass = m_outer;
    leave();
}

void CallGate::Pass::leave()
{
    const QMutexLocker lock(&m_gate->m_mutex);
    if (std::exchange(m_isInside, false) && --m_gate->m_running == 0)
        m_gate->m_idle.wakeAll();
}

void CallGate::open()
{
    const QMutexLocker lock(&m_mutex);
    m_open = true;
}

void CallGate::closeAndWait()
{
    if (t_pass)
        t_pass->leave();
    const QMutexLocker lock(&m_mutex);
    m_open = false;
    while (m_running > 0)
        m_idle.wait(&m_mutex);
}

bool CallGate::insideCall()
{
    return t_pass != nullptr;
}

} // namespace tarn::rpc
