#include "support/Platform.h"
#include "tarn/keys/HubKeys.h"
#include "tarn/link/MessageWire.h"
#include "tarn/link/ServiceConnection.h"
#include <QTest>

namespace tarn::test {

Platform::~Platform()
{
    terminate(m_services.get());
}

ProcessPtr Platform::start(const QString &name, const QStringList &arguments)
{
    ProcessPtr process(new QProcess);
    process->setProcessChannelMode(QProcess::ForwardedChannels);
    process->start(program(name), arguments);
    if (!process->waitForStarted())
        qWarning("%s: %s", qPrintable(program(name)), qPrintable(process->errorString()));
    return process;
}

bool Platform::startHub()
{
    m_hub = start(QStringLiteral("ServiceHub"), {hub::StartArgument});
    return waitForTag(link::wire::MessageTag);
}

bool Platform::startServices()
{
    m_services = start(QStringLiteral("tarn-services"), {});
    return m_services->state() == QProcess::Running;
}

bool Platform::waitForTag(const QString &tag)
{
    // Any method will do: a service that does not know it answers too.
    const auto answers = [&] {
        link::ServiceConnection connection;
        const auto result = connection.call(tag, QStringLiteral("GetUnreadCount"), {}, 1000);
        return result.arrived() || !result.errorText.isEmpty();
    };
    return QTest::qWaitFor(answers, 30000);
}

qint64 Platform::servicesOfHub() const
{
    QProcess pgrep;
    pgrep.start(QStringLiteral("pgrep"),
                {QStringLiteral("-P"), QString::number(m_hub->processId()), QStringLiteral("tarn-services")});
    pgrep.waitForFinished();
    return pgrep.readAll().trimmed().toLongLong();
}

bool Platform::terminate(QProcess *process, int timeoutMs)
{
    if (!process || process->state() == QProcess::NotRunning)
        return true;
    process->terminate();
    return process->waitForFinished(timeoutMs);
}

Platform::Result Platform::tarnctl(const QStringList &arguments, const QByteArray &input)
{
    const ProcessPtr process(new QProcess);
    process->start(program(QStringLiteral("tarnctl")), arguments);
    process->write(input);
    process->closeWriteChannel();
    const bool normal = process->waitForFinished() && process->exitStatus() == QProcess::NormalExit;
    return {normal ? process->exitCode() : -1, process->readAllStandardOutput(), process->readAllStandardError()};
}

} // namespace tarn::test
