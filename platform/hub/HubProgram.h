#pragma once
#include "hub/ChildKeeper.h"
#include "hub/PortReservation.h"
#include "hub/PortSegment.h"
#include "tarn/rpc/HubServer.h"
#include <QFileSystemWatcher>
#include <QObject>
#include <memory>

/// The hub as a program: registry, published port and the services beside it. Main thread.
class HubProgram final : public QObject
{
    Q_OBJECT
public:
    HubProgram() = default;
    ~HubProgram() override; ///< ends the services first, then leases, socket and segment

    bool start(QString *error);

signals:
    /// The runtime directory was removed or replaced: callers do not find this hub any more, and another one can start.
    void displaced();

private:
    void watchLock();

    PortReservation m_reservation;
    tarn::rpc::HubServer m_server;
    PortSegment m_segment;
    QFileSystemWatcher m_watcher;
    std::unique_ptr<ChildKeeper> m_services;
};
