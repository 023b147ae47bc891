#include "support/Sandbox.h"
#include "tarn/keys/HubKeys.h"
#include "tarn/keys/RpcKeys.h"
#include <QDeadlineTimer>
#include <QDir>
#include <QFile>
#include <QSharedMemory>
#include <QTest>
#include <csignal>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <unistd.h>

static constexpr int PatienceMs = 30000;

namespace {
/// In a new session, since tests stop the programs: the kernel hangs up a process group that is orphaned with a stopped
/// process in it. Dies with the test.
class Program final : public QProcess
{
protected:
    void setupChildProcess() override // between fork and exec
    {
        ::setsid();
        ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    }
};
} // namespace

// Not below a long TMPDIR: a socket's path has room for 107 bytes.
Sandbox::Sandbox()
    : m_dir(QStringLiteral("/tmp/tarn-XXXXXX"))
{
    // The leak check stops all threads of the ending process by ptrace and crashes now and then while gRPC's threads end,
    // which would look like a bad exit of a program; the test's own check stays on.
    qputenv("ASAN_OPTIONS", "detect_leaks=0");
    for (const auto &[variable, folder] :
         {std::pair("TMPDIR", "tmp"), std::pair("XDG_RUNTIME_DIR", "run"), std::pair("XDG_DATA_HOME", "data")}) {
        const QByteArray name = QFile::encodeName(path(QLatin1String(folder)));
        ::mkdir(name.constData(), 0700);
        m_outerEnvironment.insert(variable, qgetenv(variable));
        qputenv(variable, name);
    }
}

Sandbox::~Sandbox()
{
    terminate(m_hub.get());
    {
        QSharedMemory segment(tarn::hub::PortSegmentKey); // of a killed hub; the last user's detaching removes it
        segment.attach();
    }
    for (auto it = m_outerEnvironment.cbegin(); it != m_outerEnvironment.cend(); ++it) {
        if (it.value().isNull())
            qunsetenv(it.key().constData());
        else
            qputenv(it.key().constData(), it.value());
    }
}

QString Sandbox::program(const QString &name)
{
    return qEnvironmentVariable("TARN_BIN_DIR") + QLatin1Char('/') + name;
}

void Sandbox::writeServices(const QByteArray &script)
{
    QFile file(path(QStringLiteral("tarn-services")));
    if (file.open(QIODevice::WriteOnly))
        file.write("#!/bin/sh\n" + script);
    file.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
}

// The hub starts the services that are beside its program.
ProcessPtr Sandbox::newHub()
{
    const QString copy = path(QStringLiteral("ServiceHub"));
    if (!QFile::exists(copy))
        QFile::copy(program(QStringLiteral("ServiceHub")), copy);
    ProcessPtr hub(new Program);
    auto environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("LD_LIBRARY_PATH"), qEnvironmentVariable("TARN_BIN_DIR"));
    hub->setProcessEnvironment(environment);
    hub->setProcessChannelMode(QProcess::MergedChannels);
    hub->setProgram(copy);
    hub->setArguments({tarn::hub::StartArgument});
    return hub;
}

bool Sandbox::startHubAlone()
{
    m_hub = newHub();
    m_hub->start();
    m_port = awaitLine(hub(), "hub ready on port ").toUShort();
    return m_port != 0;
}

bool Sandbox::startHub()
{
    m_hub = start(QStringLiteral("ServiceHub"), {tarn::hub::StartArgument});
    return waitForServices();
}

bool Sandbox::waitForServices()
{
    return QTest::qWaitFor(
        [] {
            return tarnctl({QStringLiteral("message"), QStringLiteral("list")}).exitCode == 0;
        },
        30000);
}

void Sandbox::killHub()
{
    m_hub->kill();
    m_hub->waitForFinished(PatienceMs);
}

static Sandbox::Result run(const QString &program, const QStringList &arguments, const QByteArray &input = {})
{
    QProcess process;
    process.start(program, arguments);
    process.write(input);
    process.closeWriteChannel();
    const bool normal = process.waitForFinished() && process.exitStatus() == QProcess::NormalExit;
    return {normal ? process.exitCode() : -1, process.readAllStandardOutput(), process.readAllStandardError()};
}

pid_t Sandbox::services() const
{
    const QString hub = QString::number(m_hub->processId());
    return run(QStringLiteral("pgrep"), {QStringLiteral("-P"), hub, QStringLiteral("tarn-services")})
        .out.trimmed()
        .toInt();
}

ProcessPtr Sandbox::start(const QString &name, const QStringList &arguments)
{
    ProcessPtr process(new Program);
    process->setProcessChannelMode(QProcess::ForwardedChannels);
    process->start(program(name), arguments);
    process->waitForStarted();
    return process;
}

bool Sandbox::terminate(QProcess *process, int timeoutMs)
{
    if (!process || process->state() == QProcess::NotRunning)
        return true;
    process->terminate();
    return process->waitForFinished(timeoutMs);
}

Sandbox::Result Sandbox::tarnctl(const QStringList &arguments, const QByteArray &input)
{
    return run(program(QStringLiteral("tarnctl")), arguments, input);
}

QHash<QString, QString> Sandbox::settings(const QHash<QString, QString> &more) const
{
    QHash<QString, QString> table{{tarn::rpc::keys::Port, QString::number(m_port)},
                                  {tarn::rpc::keys::Timeout, QStringLiteral("10000")}};
    table.insert(more);
    return table;
}

ProcessPtr Sandbox::startPeer(const QString &tag)
{
    ProcessPtr peer(new Program);
    peer->setProcessChannelMode(QProcess::MergedChannels);
    peer->start(qEnvironmentVariable("TARN_PEER"), {QString::number(m_port), tag});
    if (awaitLine(peer.get(), "ready").isNull())
        return nullptr;
    return peer;
}

QByteArray awaitLine(QProcess *process, const QByteArray &text)
{
    for (const QDeadlineTimer deadline(PatienceMs); !deadline.hasExpired();) {
        while (process->canReadLine()) {
            const QByteArray line = process->readLine().trimmed();
            const int at = line.indexOf(text);
            if (at >= 0)
                return line.mid(at + text.size()).trimmed();
        }
        if (process->state() == QProcess::NotRunning)
            break;
        process->waitForReadyRead(static_cast<int>(qMax<qint64>(1, deadline.remainingTime())));
    }
    return {};
}

bool freeze(pid_t pid)
{
    if (::kill(pid, SIGSTOP) != 0)
        return false;
    const QDir tasks(QStringLiteral("/proc/%1/task").arg(pid));
    const auto standsStill = [&tasks] {
        const QStringList threads = tasks.entryList(QDir::Dirs | QDir::NoDotAndDotDot);
        return !threads.isEmpty() && std::all_of(threads.cbegin(), threads.cend(), [&](const QString &thread) {
            QFile stat(tasks.filePath(thread + QStringLiteral("/stat")));
            if (!stat.open(QIODevice::ReadOnly))
                return true;                        // it has just ended
            const QByteArray line = stat.readAll(); // the state follows the name in brackets
            return line.mid(line.lastIndexOf(')') + 2, 1) == "T";
        });
    };
    return QTest::qWaitFor(standsStill, 5000);
}
