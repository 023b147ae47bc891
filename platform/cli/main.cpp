#include "cli/Command.h"
#include <QCoreApplication>

using namespace tarn::cli;

namespace {

int runHelp(const QStringList &arguments)
{
    const QString version = QStringLiteral("version");
    CommandLine line({}, QStringLiteral("Drives the platform from the command line.\n\nCommands:\n"
                                        "  status    tells whether hub and services answer\n"
                                        "  call      calls an operation of the visualized service\n"
                                        "  cloud     manages accounts, shows one-time codes and who is signed in\n"
                                        "  message   pushes, lists and imports messages\n"
                                        "  upgrade   looks for updates, shows notes, tasks and ignored updates\n\n"
                                        "\"tarnctl COMMAND --help\" tells more."));
    line.addOption(version, QStringLiteral("Shows the version."));
    line.addArgument(QStringLiteral("COMMAND"), QStringLiteral("status, call, cloud, message or upgrade"));
    if (arguments == QStringList{QStringLiteral("--version")}) {
        print(QStringLiteral("tarnctl " TARN_VERSION));
        return status::Ok;
    }
    if (const auto done = line.parse(arguments, 1, 1000))
        return *done;
    complain(QStringLiteral("unknown command \"%1\" (see \"tarnctl --help\")").arg(line.arguments().value(0)));
    return status::WrongUsage;
}

} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    const QStringList arguments = QCoreApplication::arguments().mid(1);
    const QString command = arguments.value(0);
    if (command == QLatin1String("status"))
        return runStatus(arguments.mid(1));
    if (command == QLatin1String("call"))
        return runCall(arguments.mid(1));
    if (command == QLatin1String("cloud"))
        return runCloud(arguments.mid(1));
    if (command == QLatin1String("message"))
        return runMessage(arguments.mid(1));
    if (command == QLatin1String("upgrade"))
        return runUpgrade(arguments.mid(1));
    return runHelp(arguments);
}
