#include "tarn/core/Program.h"
#include <QProcess>
#include <QTemporaryFile>
#include <QTest>
#include <csignal>
#include <fcntl.h>
#include <functional>
#include <sys/wait.h>
#include <unistd.h>

using namespace tarn;

namespace {

/// The lines that the work writes to standard error.
QStringList written(const std::function<void()> &work)
{
    QTemporaryFile file;
    if (!file.open())
        return {};
    const int kept = ::dup(STDERR_FILENO);
    ::dup2(file.handle(), STDERR_FILENO);
    work();
    ::dup2(kept, STDERR_FILENO);
    ::close(kept);
    file.seek(0);
    return QString::fromUtf8(file.readAll()).split('\n', Qt::SkipEmptyParts);
}

void log(const QString &text)
{
    core::writeLog(QtWarningMsg, QMessageLogContext("lib.so", 1, "void Class::name(int)", "default"), text);
}

/// Runs the work in a child. @return its wait status
int statusOf(const std::function<void()> &work)
{
    const pid_t child = ::fork();
    if (child == 0) {
        work();
        ::_exit(7);
    }
    int status = 0;
    ::waitpid(child, &status, 0);
    return status;
}

} // namespace

// Start, end and log of the platform's programs.
class TestProgram final : public QObject
{
    Q_OBJECT
private slots:
    void logLines()
    {
        qputenv("TZ", "UTC-5");
        const auto hour = [] { return QDateTime::currentDateTimeUtc().addSecs(5 * 3600).toString("hh"); };
        const QString before = hour();
        const QStringList lines = written([] {
            log("短");
            log(QString(2000, QChar(0x4e00))); // 6,000 bytes; the cut would be inside a character
        });
        QCOMPARE(lines.size(), 2);
        const QString head = QString(R"(^\d{4}-\d\d-\d\d (%1|%2):\d\d:\d\d\.\d{3} tst_Program\[%3\] warning: )");
        const QString start = head.arg(before, hour()).arg(::getpid());
        QVERIFY2(lines.at(0).contains(QRegularExpression(start + "短$")), qPrintable(lines.at(0)));
        QVERIFY(lines.at(1).contains(QRegularExpression(start + R"(一{1365}\.\.\. \(6000 bytes\)$)")));
    }

    void mainThreadThatHangs()
    {
        const int status = statusOf([] {
            const core::UnixSignals signalSource(1);
            int ends[2];
            if (::pipe2(ends, O_NONBLOCK) != 0)
                ::_exit(2);
            while (::write(ends[1], "x", 1) == 1) { // a full pipe that is not read
            }
            ::fcntl(ends[1], F_SETFL, 0);
            ::dup2(ends[1], STDERR_FILENO);
            ::raise(SIGTERM);
            for (;;)
                ::pause();
        });
        QVERIFY(WIFEXITED(status));
        QCOMPARE(WEXITSTATUS(status), 1);
    }

    void hostWithoutDisplay()
    {
        auto environment = QProcessEnvironment::systemEnvironment();
        environment.insert("QT_QPA_PLATFORM", "xcb");
        environment.insert("DISPLAY", ":4711");
        const auto run = [&](const QStringList &arguments) {
            QProcess host;
            host.setProcessEnvironment(environment);
            host.setProcessChannelMode(QProcess::MergedChannels);
            host.start(qEnvironmentVariable("TARN_BIN_DIR") + "/visualized-host", arguments);
            const bool ended = host.waitForFinished(20000) && host.exitStatus() == QProcess::NormalExit;
            return QString("%1: ").arg(ended ? host.exitCode() : -1) + QString::fromUtf8(host.readAll()).trimmed();
        };
        QVERIFY(run({"--help"}).startsWith("0: Usage: "));
        QCOMPARE(run({}), QStringLiteral("1: visualized-host: the X display \":4711\" (environment variable DISPLAY) "
                                         "cannot be opened"));
    }
};

QTEST_GUILESS_MAIN(TestProgram)
#include "tst_Program.moc"
