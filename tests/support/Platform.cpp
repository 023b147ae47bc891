#include "support/Platform.h"
#include "support/ChildLeaks.h"
#include "tarn/link/MessageWire.h"
#include "tarn/link/ServiceConnection.h"
#include "tarn/rpc/HubPort.h"
#include <QDir>
#include <QFile>
#include <QProcessEnvironment>
#include <QTest>
#include <csignal>
#include <sys/stat.h>

namespace tarn::test {

namespace {
constexpr int StartTimeout = 30000;
} // namespace

// Not below a long TMPDIR: a socket's path has room for 107 bytes.
Platform::Platform()
    : m_directory(QStringLiteral("/tmp/tarn-XXXXXX"))
{
    checkNoLeaksInChildren();
    for (const auto &[variable, folder] :
         {std::pair("TMPDIR", "t"), std::pair("XDG_RUNTIME_DIR", "r"), std::pair("XDG_DATA_HOME", "d")}) {
        const QString path = directory() + QLatin1Char('/') + QLatin1String(folder);
        QDir().mkpath(path);
        ::chmod(QFile::encodeName(path).constData(), 0700);
        setVariable(variable, path);
    }
}

Platform::~Platform()
{
    for (QProcess *process : {m_services.get(), m_hub.get()})
        terminate(process);
    for (auto it = m_outerEnvironment.cbegin(); it != m_outerEnvironment.cend(); ++it) {
        if (it.value().isNull())
            qunsetenv(it.key().constData());
        else
            qputenv(it.key().constData(), it.value());
    }
}

void Platform::setVariable(const char *name, const QString &value)
{
    m_outerEnvironment.insert(name, qEnvironmentVariableIsSet(name) ? qgetenv(name) : QByteArray());
    qputenv(name, QFile::encodeName(value));
}

QString Platform::program(const QString &name)
{
    return qEnvironmentVariable("TARN_BIN_DIR") + QLatin1Char('/') + name;
}

std::unique_ptr<QProcess> Platform::start(const QString &name, const QStringList &arguments)
{
    auto process = std::make_unique<QProcess>();
    process->setProcessChannelMode(QProcess::ForwardedChannels);
    process->start(program(name), arguments);
    if (!process->waitForStarted())
        qWarning("%s: %s", qPrintable(program(name)), qPrintable(process->errorString()));
    return process;
}

bool Platform::startHub()
{
    m_hub = start(QStringLiteral("ServiceHub"), {QStringLiteral("quickboot")});
    return QTest::qWaitFor([] { return rpc::hubPort() != 0; }, StartTimeout) && waitForTag(link::wire::MessageTag);
}

// The hub starts the services that stand beside its program.
bool Platform::startHubAlone()
{
    const QString copy = directory() + QStringLiteral("/ServiceHub");
    if (!QFile::exists(copy) && !QFile::copy(program(QStringLiteral("ServiceHub")), copy))
        return false;
    m_hub = std::make_unique<QProcess>();
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("LD_LIBRARY_PATH"), qEnvironmentVariable("TARN_BIN_DIR"));
    m_hub->setProcessEnvironment(environment);
    m_hub->setProcessChannelMode(QProcess::ForwardedChannels);
    m_hub->start(copy, {QStringLiteral("quickboot")});
    return QTest::qWaitFor([] { return rpc::hubPort() != 0; }, StartTimeout);
}

bool Platform::startServices()
{
    m_services = start(QStringLiteral("tarn-services"), {});
    return m_services->state() == QProcess::Running;
}

bool Platform::waitForTag(const QString &tag)
{
    return QTest::qWaitFor(
        [&] {
            // Any method will do: whoever does not know it is there all the same.
            link::ServiceConnection connection;
            const auto result = connection.call(tag, QStringLiteral("GetUnreadCount"), {}, 1000);
            return result.arrived() || !result.errorText.isEmpty();
        },
        StartTimeout);
}

qint64 Platform::servicesOfHub() const
{
    if (!m_hub)
        return 0;
    const auto tasks =
        QDir(QStringLiteral("/proc/%1/task").arg(m_hub->processId())).entryList(QDir::Dirs | QDir::NoDotAndDotDot);
    for (const QString &task : tasks) {
        QFile children(QStringLiteral("/proc/%1/task/%2/children").arg(m_hub->processId()).arg(task));
        if (!children.open(QIODevice::ReadOnly))
            continue;
        for (const QByteArray &pid : children.readAll().split(' ')) {
            QFile command(QStringLiteral("/proc/%1/cmdline").arg(QString::fromLatin1(pid.trimmed())));
            if (command.open(QIODevice::ReadOnly) && command.readAll().contains("tarn-services"))
                return pid.trimmed().toLongLong();
        }
    }
    return 0;
}

bool Platform::terminate(QProcess *process, int timeoutMs)
{
    if (!process || process->state() == QProcess::NotRunning)
        return true;
    process->terminate();
    if (process->waitForFinished(timeoutMs))
        return true;
    qWarning("%s did not end", qPrintable(process->program()));
    kill(process);
    return false;
}

void Platform::kill(QProcess *process)
{
    process->kill();
    process->waitForFinished();
}

Platform::Result Platform::tarnctl(const QStringList &arguments, const QByteArray &input)
{
    QProcess process;
    process.start(program(QStringLiteral("tarnctl")), arguments);
    process.write(input);
    process.closeWriteChannel();
    const bool ended = process.waitForFinished();
    if (!ended)
        kill(&process);
    const bool normal = ended && process.exitStatus() == QProcess::NormalExit;
    return {normal ? process.exitCode() : -1, process.readAllStandardOutput(), process.readAllStandardError()};
}

} // namespace tarn::test
