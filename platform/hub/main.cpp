#include "hub/HubProgram.h"
#include "tarn/keys/HubKeys.h"
#include "tarn/rpc/RpcLog.h"
#include <QCoreApplication>
#include <QSocketNotifier>
#include <csignal>
#include <cstdio>
#include <sys/signalfd.h>

namespace {

constexpr int WrongUsage = 2;

/// SIGTERM and SIGINT as an event. Blocked before any thread starts, so that no thread takes them.
int openSignals()
{
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, SIGTERM);
    sigaddset(&set, SIGINT);
    sigprocmask(SIG_BLOCK, &set, nullptr);
    return ::signalfd(-1, &set, SFD_CLOEXEC | SFD_NONBLOCK);
}

int usage(const QString &problem)
{
    std::fprintf(stderr, "ServiceHub: %s\nUsage: ServiceHub %s\n", qUtf8Printable(problem),
                 qUtf8Printable(tarn::hub::StartArgument));
    return WrongUsage;
}

} // namespace

int main(int argc, char *argv[])
{
    const int signalFd = openSignals();
    QCoreApplication app(argc, argv);
    qSetMessagePattern(QStringLiteral("%{time yyyy-MM-dd hh:mm:ss.zzz} ServiceHub[%{pid}] %{type}: %{message}"));
    const QStringList arguments = app.arguments().mid(1);
    if (arguments != QStringList{tarn::hub::StartArgument})
        return usage(arguments.isEmpty() ? QStringLiteral("the argument is missing")
                                         : QStringLiteral("unknown argument \"%1\"").arg(arguments.last()));
    tarn::rpc::RpcLog::set_print(qEnvironmentVariableIsSet("TARN_RPC_LOG"));
    HubProgram hub;
    QString error;
    if (!hub.start(&error)) {
        qCritical("%s", qUtf8Printable(error));
        return 1;
    }
    QSocketNotifier signalled(signalFd, QSocketNotifier::Read);
    QObject::connect(&signalled, &QSocketNotifier::activated, &app, &QCoreApplication::quit);
    return app.exec();
}
