#pragma once
#include <QSharedMemory>
#include <QString>

/// What makes this hub the only one of its runtime directory: a lock file, which also remembers the port for the next
/// start, a port that is bound but never listened on, and the shared-memory segment that tells clients the port.
class PortReservation
{
public:
    PortReservation();
    ~PortReservation(); ///< withdraws the segment and frees port and lock
    PortReservation(const PortReservation &) = delete;
    PortReservation &operator=(const PortReservation &) = delete;

    /// Takes lock and port; the last hub's port when it is free.
    bool reserve(QString *error);
    quint16 port() const { return m_port; }
    /// Writes the port into the segment, also into one that a killed hub left. The hub must be listening by then.
    bool publish(QString *error);

private:
    bool lock(QString *error);
    bool bindPort(quint16 wanted);
    quint16 rememberedPort() const;
    void remember() const;
    bool write(const QByteArray &text);

    int m_lock = -1;
    int m_socket = -1;
    quint16 m_port = 0;
    QSharedMemory m_segment;
};
