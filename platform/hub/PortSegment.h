#pragma once
#include <QtGlobal>
#include <memory>

/// The shared-memory segment that tells the port to programs that do not know the runtime directory. Its key is common to
/// all users of the machine and its lock can be held by any of them without a limit, so a thread of this class works on
/// it, which no other thread waits for longer than a moment. Main thread.
class PortSegment
{
public:
    PortSegment();
    ~PortSegment(); ///< withdraws the port

    /// Writes the port, also into a segment that a killed hub left. Returns after at most two seconds; a segment that is
    /// another user's, or whose lock is held, is a warning.
    void publish(quint16 port);

private:
    struct Shared;
    const std::shared_ptr<Shared> m_shared;
};
