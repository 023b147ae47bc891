#include "hub/HubProgram.h"
#include "tarn/core/Program.h"
#include "tarn/keys/HubKeys.h"
#include "tarn/rpc/RpcLog.h"
#include <QCommandLineParser>
#include <QCoreApplication>
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
    HubProgram hub;
    QString error;
    if (!hub.start(&error)) {
        qCritical("%s", qUtf8Printable(error));
        return 1;
    }
    QObject::connect(&hub, &HubProgram::displaced, &app, [] { QCoreApplication::exit(1); });
    return app.exec();
}
