#include "hub/ChildKeeper.h"
#include "tarn/rpc/RuntimeDir.h"
#include <QFileInfo>
#include <QTimer>
#include <csignal>
#include <sys/prctl.h>
#include <unistd.h>

namespace {

constexpr int FirstPauseMs = 100;
constexpr int LongestPauseMs = 10000;
constexpr int SteadyMs = 2000;      // a program that ran that long did not fail at its start
constexpr int KilledPauseMs = 1000; // longest pause after an end that is not the program's own doing
constexpr int StopMs = 5000;

bool isOwnDoing(const QProcess &process)
{
    if (process.exitStatus() == QProcess::NormalExit)
        return true;
    const int signalNumber = process.exitCode();
    return signalNumber != SIGKILL && signalNumber != SIGTERM && signalNumber != SIGINT && signalNumber != SIGHUP;
}

QString endOf(const QProcess &process)
{
    if (process.error() == QProcess::FailedToStart)
        return process.errorString();
    return process.exitStatus() == QProcess::NormalExit ? QStringLiteral("exit code %1").arg(process.exitCode())
                                                        : QStringLiteral("signal %1").arg(process.exitCode());
}

/// Dies with the hub, however the hub ends.
class BoundProcess final : public QProcess
{
public:
    explicit BoundProcess(QObject *parent)
        : QProcess(parent)
        , m_parent(::getpid())
    {
    }

protected:
    void setupChildProcess() override // between fork and exec
    {
        ::prctl(PR_SET_PDEATHSIG, SIGTERM);
        if (::getppid() != m_parent)
            ::_exit(1); // the hub ended before the line above
    }

private:
    const pid_t m_parent;
};

} // namespace

ChildKeeper::ChildKeeper(const QString &program)
    : m_program(program)
    , m_process(new BoundProcess(this))
{
    m_process->setProcessChannelMode(QProcess::ForwardedChannels);
    m_process->setStandardInputFile(QProcess::nullDevice());
    m_process->setProgram(m_program);
    m_process->setWorkingDirectory(QFileInfo(m_program).absolutePath());
    connect(m_process, QOverload<int, QProcess::ExitStatus>::of(&QProcess::finished), this, &ChildKeeper::OnEnded);
    connect(m_process, &QProcess::errorOccurred, this, [this](QProcess::ProcessError error) {
        if (error == QProcess::FailedToStart)
            OnEnded();
    });
    if (QFileInfo(m_program).isExecutable())
        run();
    else
        qWarning("%s does not exist, the hub runs without it", qUtf8Printable(m_program));
}

ChildKeeper::~ChildKeeper()
{
    m_process->disconnect(this);
    if (m_process->state() == QProcess::NotRunning)
        return;
    m_process->terminate();
    if (m_process->waitForFinished(StopMs))
        return;
    qWarning("%s does not end, it is killed", qUtf8Printable(m_program));
    m_process->kill();
    m_process->waitForFinished(StopMs);
}

void ChildKeeper::run()
{
    m_lifetime.start();
    m_process->start();
}

void ChildKeeper::OnEnded()
{
    tarn::rpc::sweepSockets(); // a killed program leaves its own behind
    const int longest = isOwnDoing(*m_process) ? LongestPauseMs : KilledPauseMs;
    m_pauseMs = m_lifetime.elapsed() > SteadyMs || m_pauseMs == 0 ? FirstPauseMs : qMin(2 * m_pauseMs, longest);
    qWarning("%s has ended (%s), next start in %d ms", qUtf8Printable(m_program), qUtf8Printable(endOf(*m_process)),
             m_pauseMs);
    QTimer::singleShot(m_pauseMs, this, &ChildKeeper::run);
}
