#include "support/Sandbox.h"
#include "tarn/keys/HubKeys.h"
#include "tarn/keys/RpcKeys.h"
#include <QDeadlineTimer>
#include <QDir>
#include <QFile>
#include <QSharedMemory>
#include <sys/stat.h>

static constexpr int PatienceMs = 10000;

void EndProcess::operator()(QProcess *process) const
{
    process->kill();
    process->waitForFinished(PatienceMs);
    delete process;
}

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
    if (m_hub && m_hub->state() != QProcess::NotRunning) {
        m_hub->terminate();
        m_hub->waitForFinished(PatienceMs);
    }
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
    ProcessPtr hub(new QProcess);
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

void Sandbox::killHub()
{
    m_hub->kill();
    m_hub->waitForFinished(PatienceMs);
}

QHash<QString, QString> Sandbox::settings(const QHash<QString, QString> &more) const
{
    QHash<QString, QString> table{{tarn::rpc::keys::Port, QString::number(m_port)},
                                  {tarn::rpc::keys::Timeout, QStringLiteral("10000")}};
    for (auto it = more.cbegin(); it != more.cend(); ++it)
        table.insert(it.key(), it.value());
    return table;
}

ProcessPtr Sandbox::startPeer(const QString &tag)
{
    ProcessPtr peer(new QProcess);
    peer->setProcessChannelMode(QProcess::MergedChannels);
    peer->start(qEnvironmentVariable("TARN_PEER"), {QString::number(m_port), tag});
    if (awaitLine(peer.get(), "ready").isNull())
        return nullptr;
    return peer;
}

QString awaitLine(QProcess *process, const QByteArray &text)
{
    const QDeadlineTimer deadline(PatienceMs);
    while (!deadline.hasExpired()) {
        while (process->canReadLine()) {
            const QByteArray line = process->readLine().trimmed();
            const int at = line.indexOf(text);
            if (at >= 0)
                return QString::fromUtf8(line.mid(at + text.size()).append(' ')).trimmed() + QLatin1String("");
        }
        if (process->state() == QProcess::NotRunning)
            return QString();
        process->waitForReadyRead(static_cast<int>(qMax<qint64>(1, deadline.remainingTime())));
    }
    return QString();
}
