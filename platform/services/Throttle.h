#pragma once
#include <QElapsedTimer>

namespace tarn::services {

/// Shares a bandwidth among downloads. One thread.
class Throttle
{
public:
    /// @param bytesPerSecond 0 for no limit
    explicit Throttle(qint64 bytesPerSecond);

    qint64 take(qint64 wanted); ///< how many bytes may be read now; 0: ask again after waitMs()
    static int waitMs() { return 20; }

private:
    const qint64 m_rate;
    qint64 m_allowance = 0;
    QElapsedTimer m_refilled;
};

} // namespace tarn::services
