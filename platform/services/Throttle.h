#pragma once
#include <QElapsedTimer>
#include <algorithm>

namespace tarn::services {

/// Shares a bandwidth among downloads. One thread.
class Throttle
{
public:
    static constexpr int WaitMs = 20;

    /// @param bytesPerSecond 0 for no limit
    explicit Throttle(qint64 bytesPerSecond)
        : m_rate(bytesPerSecond)
    {
        m_refilled.start();
    }

    /// How many of the wanted bytes may be read now; 0: ask again after WaitMs.
    qint64 take(qint64 wanted)
    {
        if (m_rate <= 0)
            return wanted;
        const qint64 earned = m_rate * std::min<qint64>(m_refilled.elapsed(), 1000) / 1000;
        if (earned > 0) {
            m_refilled.restart();
            m_allowance = std::min(m_allowance + earned, std::max<qint64>(m_rate / 10, 1)); // a tenth of a second
        }
        const qint64 granted = std::min(wanted, m_allowance);
        m_allowance -= granted;
        return granted;
    }

private:
    const qint64 m_rate;
    qint64 m_allowance = 0;
    QElapsedTimer m_refilled;
};

} // namespace tarn::services
