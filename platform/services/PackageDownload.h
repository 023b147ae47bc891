#pragma once
#include "services/UpgradeRecords.h"
#include <QElapsedTimer>
#include <QMutex>
#include <atomic>

namespace tarn::services {

/// Shares a bandwidth among downloads. Any thread.
class Throttle
{
public:
    /// @param bytesPerSecond 0 for no limit
    explicit Throttle(qint64 bytesPerSecond)
        : m_rate(bytesPerSecond)
    {
        m_refilled.start();
    }

    /// How many of the wanted bytes may be read now; 0: ask again soon.
    qint64 take(qint64 wanted);

private:
    const qint64 m_rate;
    QMutex m_lock;
    qint64 m_allowance = 0;
    QElapsedTimer m_refilled;
};

/// The file that receives the bytes of an incomplete one.
inline QString partOf(const QString &file)
{
    return file + QStringLiteral(".part");
}

/// Downloads a package. A part already downloaded is kept and only the rest requested; after a broken connection it
/// continues. It stops before the reserve of free space is used up. Addresses are https, file, or http of this machine.
/// Blocks its thread. Throws Failure.
/// @param package whose file is on the disk when this returns, and has the right size and checksum
/// @param stopping set by another thread to end it soon
void downloadPackage(const UpgradeItem &package, Throttle *throttle, const std::atomic<bool> &stopping);

} // namespace tarn::services
