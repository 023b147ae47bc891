#pragma once

namespace tarn::visualized {

/// Keeps the client library of the services loaded while it lives. Work for another thread takes its lease on the thread
/// that orders the work; the task holds a copy until its last call is over. Any thread.
class ServiceLease
{
public:
    ServiceLease(); ///< refused between close() and the next open()
    ServiceLease(const ServiceLease &other);
    ServiceLease &operator=(const ServiceLease &) = delete;
    ~ServiceLease();

    bool isGranted() const { return m_granted; }

    static void open();  ///< grants leases; this is also the state at the start
    static void close(); ///< refuses new leases; copies of granted ones are still granted
    /// Waits until every lease has been returned.
    /// @return false when some are still out after the given milliseconds
    static bool waitForAll(int ms);

private:
    const bool m_granted;
};

} // namespace tarn::visualized
