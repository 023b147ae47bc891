#include "hub/HubProgram.h"
#include <QCoreApplication>

static const QString ServicesProgram = QStringLiteral("/tarn-services");

HubProgram::~HubProgram()
{
    m_services.reset();
    m_server.stop();
}

bool HubProgram::start(QString *error)
{
    // Listening before the port is published: whoever reads it can connect.
    if (!m_reservation.reserve(error) || !m_server.start(m_reservation.port(), error) || !m_reservation.publish(error))
        return false;
    qInfo("hub ready on port %d", m_reservation.port());
    m_services = std::make_unique<ChildKeeper>(QCoreApplication::applicationDirPath() + ServicesProgram);
    m_services->start();
    return true;
}
