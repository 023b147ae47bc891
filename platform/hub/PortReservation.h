#pragma once
#include <QFile>

/// What makes this hub the only one of its runtime directory: a lock file, which also remembers the port for the next
/// start, and a port that is bound but never listened on. The kernel releases the lock with the process, whatever pid
/// namespace it lived in; QLockFile judges by the pid.
class PortReservation
{
public:
    PortReservation() = default;
    ~PortReservation(); ///< frees port and lock
    PortReservation(const PortReservation &) = delete;
    PortReservation &operator=(const PortReservation &) = delete;

    /// Takes lock and port; the last hub's port when it is free.
    bool reserve(QString *error);
    quint16 port() const { return m_port; }
    QString lockFile() const { return m_lockFile; }
    /// Whether the lock file still has its path; otherwise another hub can start beside this one.
    bool isInPlace() const;

private:
    bool lock(QString *error);
    bool bindPort(quint16 wanted);
    void remember();

    QString m_lockFile;
    QFile m_lock;
    int m_socket = -1;
    quint16 m_port = 0;
};
