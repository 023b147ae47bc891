#include "host/PluginHost.h"
#include "host/SessionBus.h"
#include "tarn/core/Program.h"
#include <QApplication>
#include <QCommandLineParser>
#include <QDebug>
#include <QDir>
#include <QOpenGLContext>
#include <cstdio>
#include <sys/prctl.h>
#include <unistd.h>

namespace {
constexpr int NothingLoaded = 1;
constexpr int WrongUsage = 2;
constexpr int BusMs = 2000;
constexpr unsigned StopSeconds = 6; // the services' last answers take up to five

/// While the application object is made: Qt ends the process with several lines when there is no display.
void onStartMessage(QtMsgType type, const QMessageLogContext &context, const QString &message)
{
    if (type == QtFatalMsg) {
        const QByteArray display = qgetenv("DISPLAY");
        std::fprintf(stderr, "visualized-host: the X display \"%s\" (environment variable DISPLAY) cannot be opened\n",
                     display.constData());
        ::_exit(NothingLoaded);
    }
    if (qstrncmp(context.category, "qt.qpa", 6) != 0)
        tarn::core::writeLog(type, context, message);
}

/// The windows are plain widgets: the X plug-in's OpenGL set-up would cost 60 ms and 30 MiB at the first of them. The
/// choice is made here, so that the variable is not left to the programs that links open.
void doWithoutOpenGl()
{
    constexpr const char *Variable = "QT_XCB_GL_INTEGRATION";
    if (qEnvironmentVariableIsSet(Variable))
        return;
    qputenv(Variable, "none");
    QOpenGLContext::supportsThreadedOpenGL(); // loads what the variable names
    qunsetenv(Variable);
}

/// @return the directory of the plug-ins
QString readArguments()
{
    QCommandLineParser parser;
    const QString plugins = QStringLiteral("plugins");
    parser.addOption({plugins, QStringLiteral("Load the plug-ins of this directory."), QStringLiteral("DIR"),
                      QCoreApplication::applicationDirPath() + QStringLiteral("/plugins")});
    tarn::core::readArguments(&parser, QStringLiteral("Host process of the platform's user-interface services."));
    return parser.value(plugins);
}

/// Prints help and version also without a display.
void answerWithoutDisplay(int argc, char **argv)
{
    for (const char *name : {"--help", "-h", "--help-all", "--version", "-v"}) {
        if (!tarn::core::hasArgument(argc, argv, name))
            continue;
        const QCoreApplication app(argc, argv);
        readArguments(); // ends the process
    }
}

} // namespace

int main(int argc, char *argv[])
{
    tarn::core::prepareProgram(true, tarn::core::hasArgument(argc, argv, "--verbose"));
    QCoreApplication::setApplicationName(QStringLiteral("visualized-host"));
    answerWithoutDisplay(argc, argv);
#ifndef TARN_SANITIZED           // the leak check reads the process as a debugger does
    ::prctl(PR_SET_DUMPABLE, 0); // passwords pass through; no core file, no other process reads the memory
#endif
    if (sessionBusHangs(BusMs)) {
        qWarning(
            "the session bus does not answer, the windows do without it: no screen reader, no tray of the desktop");
        qputenv("DBUS_SESSION_BUS_ADDRESS", "disabled:"); // fails at once
    }
    qInstallMessageHandler(&onStartMessage);
    QApplication app(argc, argv);
    qInstallMessageHandler(&tarn::core::writeLog);
    doWithoutOpenGl();
    QApplication::setQuitOnLastWindowClosed(false);
    const QString directory = readArguments();
    if (!QDir(directory).exists()) {
        qCritical().noquote() << QStringLiteral("visualized-host: there is no directory %1").arg(directory);
        return WrongUsage;
    }
    const tarn::core::UnixSignals signalSource(StopSeconds);

    PluginHost host;
    if (host.load(directory) == 0) {
        qCritical().noquote() << QStringLiteral("visualized-host: no plug-in in %1 could be loaded").arg(directory);
        return NothingLoaded;
    }
    host.start();
    return QApplication::exec();
}
