#include "hub/HubProgram.h"
#include <QCoreApplication>
#include <QFileInfo>

static const QString ServicesProgram = QStringLiteral("/tarn-services");

HubProgram::~HubProgram()
{
    m_services.reset();
    m_server.stop();
}

bool HubProgram::start(QString *error)
{
    // The hub listens before its port is published: a program that reads the port can connect.
    if (!m_reservation.reserve(error) || !m_server.start(m_reservation.port(), error))
        return false;
    watchLock();
    m_segment.publish(m_reservation.port());
    qInfo("hub ready on port %d", m_reservation.port());
    m_services = std::make_unique<ChildKeeper>(QCoreApplication::applicationDirPath() + ServicesProgram);
    m_services->start();
    return true;
}

void HubProgram::watchLock()
{
    m_watcher.addPaths({m_reservation.lockFile(), QFileInfo(m_reservation.lockFile()).path()});
    const auto check = [this] {
        if (m_reservation.isInPlace())
            return;
        qCritical("%s is not this hub's any more, the hub ends", qUtf8Printable(m_reservation.lockFile()));
        m_watcher.removePaths(m_watcher.files() + m_watcher.directories());
        emit displaced();
    };
    connect(&m_watcher, &QFileSystemWatcher::fileChanged, this, check);
    connect(&m_watcher, &QFileSystemWatcher::directoryChanged, this, check);
}
