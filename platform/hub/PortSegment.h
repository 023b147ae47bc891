#pragma once
#include <QSharedMemory>
#include <functional>
#include <memory>

/// The shared-memory segment that tells the port to programs that do not know the runtime directory. Its key is common to
/// all users of the machine, and any of them can hold its lock without a limit: threads work on it, which the main thread
/// waits for only a moment. Main thread.
class PortSegment
{
public:
    ~PortSegment(); ///< withdraws the port
    /// Writes the port, also into a segment that a killed hub left. A segment that is another user's, or whose lock is
    /// held, is a warning.
    void publish(quint16 port);

private:
    std::shared_ptr<QSharedMemory> m_segment; ///< null unless published
};
