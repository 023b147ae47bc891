#pragma once
#include "hub/ChildKeeper.h"
#include "hub/PortReservation.h"
#include "tarn/rpc/HubServer.h"
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

private:
    PortReservation m_reservation;
    tarn::rpc::HubServer m_server;
    std::unique_ptr<ChildKeeper> m_services;
};
