#include "rpc/Sandbox.h"
#include "support/ChildLeaks.h"
#include "tarn/keys/HubKeys.h"
#include "tarn/keys/RpcKeys.h"
#include <QDeadlineTimer>
#include <QDir>
#include <QFile>
#include <QSharedMemory>

static constexpr int PatienceMs = 10000;

void EndProcess::operator()(QProcess *process) const
{
    process->kill();
    process->waitForFinished(PatienceMs);
    delete process;
}

Sandbox::Sandbox()
{
    checkNoLeaksInChildren();
    QDir dir(m_dir.path());
    for (const char *name : {"run", "tmp", "bin"})
        dir.mkdir(QLatin1String(name));
    qputenv("XDG_RUNTIME_DIR", QFile::encodeName(path(QStringLiteral("run"))));
    qputenv("TMPDIR", QFile::encodeName(path(QStringLiteral("tmp"))));
    const QString bin = qEnvironmentVariable("TARN_BIN_DIR");
    qputenv("LD_LIBRARY_PATH", QFile::encodeName(bin));
    QFile::copy(bin + QStringLiteral("/ServiceHub"), path(QStringLiteral("bin/ServiceHub")));
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
    qputenv("TMPDIR", m_tmpDir); // or the next sandbox would be made in this one
}

void Sandbox::writeServices(const QByteArray &script)
{
    QFile file(path(QStringLiteral("bin/tarn-services")));
    if (file.open(QIODevice::WriteOnly))
        file.write("#!/bin/sh\n" + script);
    file.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
}

ProcessPtr Sandbox::newHub()
{
    ProcessPtr hub(new QProcess);
    hub->setProcessChannelMode(QProcess::MergedChannels);
    hub->setProgram(path(QStringLiteral("bin/ServiceHub")));
    hub->setArguments({tarn::hub::StartArgument});
    return hub;
}

bool Sandbox::startHub()
{
    m_hub = newHub();
    m_hub->start();
    m_port = awaitLine(*m_hub, "hub ready on port ").toUShort();
    return m_port != 0;
}

void Sandbox::killHub()
{
    m_hub->kill();
    m_hub->waitForFinished(PatienceMs);
}

QHash<QString, QString> Sandbox::settings(const QHash<QString, QString> &more) const
{
    QHash<QString, QString> table{{tarn::rpc::keys::IP, QStringLiteral("127.0.0.1")},
                                  {tarn::rpc::keys::Port, QString::number(m_port)},
                                  {tarn::rpc::keys::Timeout, QStringLiteral("10000")},
                                  {tarn::rpc::keys::ThreadNum, QStringLiteral("4")}};
    for (auto it = more.cbegin(); it != more.cend(); ++it)
        table.insert(it.key(), it.value());
    return table;
}

ProcessPtr Sandbox::startPeer(const QString &tag)
{
    ProcessPtr peer(new QProcess);
    peer->setProcessChannelMode(QProcess::MergedChannels);
    peer->start(qEnvironmentVariable("TARN_PEER"), {QString::number(m_port), tag});
    if (awaitLine(*peer, "ready").isNull())
        return nullptr;
    return peer;
}

QString awaitLine(QProcess &process, const QByteArray &text)
{
    const QDeadlineTimer deadline(PatienceMs);
    while (!deadline.hasExpired()) {
        while (process.canReadLine()) {
            const QByteArray line = process.readLine().trimmed();
            const int at = line.indexOf(text);
            if (at >= 0)
                return QString::fromUtf8(line.mid(at + text.size()).append(' ')).trimmed() + QLatin1String("");
        }
        if (process.state() == QProcess::NotRunning)
            return QString();
        process.waitForReadyRead(static_cast<int>(qMax<qint64>(1, deadline.remainingTime())));
    }
    return QString();
}

qint64 memoryKiB(qint64 pid, const QByteArray &field)
{
    QFile file(QStringLiteral("/proc/%1/status").arg(pid));
    if (!file.open(QIODevice::ReadOnly))
        return -1;
    for (const QByteArray &line : file.readAll().split('\n')) {
        if (line.startsWith(field + ':'))
            return line.mid(field.size() + 1).simplified().split(' ').first().toLongLong();
    }
    return -1;
}
