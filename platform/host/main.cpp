#include "host/FontSubstitution.h"
#include "host/PluginHost.h"
#include "host/UnixSignals.h"
#include <QApplication>
#include <QCommandLineParser>
#include <QDebug>
#include <QDir>

namespace {
constexpr int NothingLoaded = 1;
constexpr int WrongUsage = 2;

void prepareEnvironment()
{
    // The windows are plain widgets: the X plug-in's OpenGL set-up would cost 60 ms and 30 MiB at the first of them.
    if (!qEnvironmentVariableIsSet("QT_XCB_GL_INTEGRATION"))
        qputenv("QT_XCB_GL_INTEGRATION", "none");
    if (!qEnvironmentVariableIsSet("QT_MESSAGE_PATTERN"))
        qSetMessagePattern(QStringLiteral("%{time yyyy-MM-dd hh:mm:ss.zzz} %{type} [%{file}] %{function}: %{message}"));
}

QString pluginDirectory()
{
    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral("Host process of the platform's user-interface services."));
    parser.addHelpOption();
    parser.addVersionOption();
    const QCommandLineOption plugins(QStringLiteral("plugins"), QStringLiteral("Load the plug-ins of this directory."),
                                     QStringLiteral("DIR"),
                                     QApplication::applicationDirPath() + QStringLiteral("/plugins"));
    parser.addOption(plugins);
    parser.process(*QCoreApplication::instance());
    QString directory = parser.value(plugins);
    if (!parser.positionalArguments().isEmpty() || !QDir(directory).exists()) {
        qCritical().noquote() << (parser.positionalArguments().isEmpty()
                                      ? QStringLiteral("visualized-host: there is no directory %1").arg(directory)
                                      : QStringLiteral("visualized-host: unexpected argument %1")
                                            .arg(parser.positionalArguments().constFirst()));
        ::exit(WrongUsage);
    }
    return directory;
}
} // namespace

int main(int argc, char *argv[])
{
    prepareEnvironment();
    QApplication app(argc, argv);
    QApplication::setApplicationName(QStringLiteral("visualized-host"));
    QApplication::setApplicationVersion(QStringLiteral("1.0.0"));
    QApplication::setQuitOnLastWindowClosed(false);
    const QString directory = pluginDirectory();
    const UnixSignals signalSource;
    QObject::connect(&signalSource, &UnixSignals::terminationRequested, &app, &QApplication::quit);
    substituteMissingFonts();

    PluginHost host;
    if (host.load(directory) == 0) {
        qCritical().noquote() << QStringLiteral("visualized-host: no plug-in in %1 could be loaded").arg(directory);
        return NothingLoaded;
    }
    host.start();
    const int result = QApplication::exec();
    host.stop();
    return result;
}
