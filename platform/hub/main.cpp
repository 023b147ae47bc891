#include "hub/ChildKeeper.h"
#include "hub/PortReservation.h"
#include "hub/PortSegment.h"
#include "tarn/core/Program.h"
#include "tarn/keys/HubKeys.h"
#include "tarn/rpc/HubServer.h"
#include "tarn/rpc/RpcLog.h"
#include <QCommandLineParser>
#include <QCoreApplication>
#include <QFileInfo>
#include <QFileSystemWatcher>
#include <cstdio>

namespace {
constexpr int WrongUsage = 2;

bool readArguments(const QCoreApplication &app)
{
    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral(
        "Registry of the platform's services: callers find them through it. It starts tarn-services and\n"
        "starts it again when it ends. SIGTERM ends both."));
    parser.addHelpOption();
    parser.addPositionalArgument(tarn::hub::StartArgument, QStringLiteral("Run in the foreground."));
    parser.addOption({QStringLiteral("verbose"), QStringLiteral("Write debug lines too.")});
    parser.process(app);
    if (parser.positionalArguments() == QStringList{tarn::hub::StartArgument})
        return true;
    std::fprintf(stderr, "ServiceHub: the argument \"%s\" is missing, or another is given; see --help\n",
                 qUtf8Printable(tarn::hub::StartArgument));
    return false;
}

/// Ends the hub when the runtime directory was removed or replaced: callers do not find this hub any more, and another one
/// can start.
void watchLock(QFileSystemWatcher *watcher, const PortReservation &reservation)
{
    const auto check = [watcher, &reservation] {
        if (reservation.isInPlace())
            return;
        qCritical("%s is not this hub's any more, the hub ends", qUtf8Printable(reservation.lockFile()));
        watcher->blockSignals(true);
        QCoreApplication::exit(1);
    };
    watcher->addPaths({reservation.lockFile(), QFileInfo(reservation.lockFile()).path()});
    QObject::connect(watcher, &QFileSystemWatcher::fileChanged, watcher, check);
    QObject::connect(watcher, &QFileSystemWatcher::directoryChanged, watcher, check);
}

/// The registry, its published port, and the services beside it, which end first. @return the exit code
int runHub()
{
    PortReservation reservation;
    tarn::rpc::HubServer server;
    PortSegment segment;
    QString error;
    // The hub listens before its port is published: a program that reads the port can connect.
    if (!reservation.reserve(&error) || !server.start(reservation.port(), &error)) {
        qCritical("%s", qUtf8Printable(error));
        return 1;
    }
    QFileSystemWatcher watcher;
    watchLock(&watcher, reservation);
    segment.publish(reservation.port());
    qInfo("hub ready on port %d", reservation.port());
    ChildKeeper services(QCoreApplication::applicationDirPath() + QStringLiteral("/tarn-services"));
    services.start();
    return QCoreApplication::exec();
}
} // namespace

int main(int argc, char *argv[])
{
    tarn::core::prepareProgram(false, tarn::core::hasArgument(argc, argv, "--verbose"));
    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName(tarn::hub::HubProgram);
    if (!readArguments(app))
        return WrongUsage;
    tarn::rpc::RpcLog::set_print(qEnvironmentVariableIsSet("TARN_RPC_LOG"));
    const tarn::core::UnixSignals signalSource;
    QObject::connect(&signalSource, &tarn::core::UnixSignals::terminationRequested, &app, &QCoreApplication::quit);
    return runHub();
}
