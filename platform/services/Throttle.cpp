#include "services/Throttle.h"
#include <algorithm>

namespace tarn::services {

Throttle::Throttle(qint64 bytesPerSecond)
    : m_rate(std::max<qint64>(0, bytesPerSecond))
{
    m_refilled.start();
}

qint64 Throttle::take(qint64 wanted)
{
    if (m_rate == 0)
        return wanted;
    const qint64 elapsed = m_refilled.elapsed();
    const qint64 earned = m_rate * std::min<qint64>(elapsed, 1000) / 1000;
    if (earned > 0) {
        m_refilled.restart();
        m_allowance = std::min(m_allowance + earned, std::max<qint64>(m_rate / 10, 1)); // a tenth of a second at once
    }
    const qint64 granted = std::min(wanted, m_allowance);
    m_allowance -= granted;
    return granted;
}

} // namespace tarn::services
