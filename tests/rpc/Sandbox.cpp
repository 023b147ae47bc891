#include "Sandbox.h"
#include "tarn/hub/HubKeys.h"
#include "tarn/rpc/RpcKeys.h"
#include <QDeadlineTimer>
#include <QDir>
#include <QRegularExpression>

static constexpr int PatienceMs = 10000;

Sandbox::Sandbox()
{
    QDir(m_dir.path()).mkdir(QStringLiteral("run"));
    QDir(m_dir.path()).mkdir(QStringLiteral("tmp"));
    qputenv("XDG_RUNTIME_DIR", path(QStringLiteral("run")).toLocal8Bit());
    qputenv("TMPDIR", path(QStringLiteral("tmp")).toLocal8Bit());
}

Sandbox::~Sandbox()
{
    if (m_hub && m_hub->state() != QProcess::NotRunning) {
        m_hub->terminate();
        if (!m_hub->waitForFinished(PatienceMs))
            m_hub->kill();
        m_hub->waitForFinished(PatienceMs);
    }
}

bool Sandbox::startHub()
{
    m_hub = std::make_unique<QProcess>();
    m_hub->setProcessChannelMode(QProcess::MergedChannels);
    m_hub->start(qEnvironmentVariable("TARN_BIN_DIR") + QStringLiteral("/ServiceHub"), {tarn::hub::StartArgument});
    const QString port = awaitLine(*m_hub, "hub ready on port ");
    m_port = port.toUShort();
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

std::unique_ptr<QProcess> Sandbox::startPeer(const QString &tag, const QStringList &more)
{
    auto peer = std::make_unique<QProcess>();
    peer->setProcessChannelMode(QProcess::MergedChannels);
    peer->start(qEnvironmentVariable("TARN_PEER"), QStringList{QString::number(m_port), tag} + more);
    if (awaitLine(*peer, "ready").isNull())
        return nullptr;
    return peer;
}

QString awaitLine(QProcess &process, const QByteArray &beginning)
{
    const QDeadlineTimer deadline(PatienceMs);
    while (!deadline.hasExpired()) {
        while (process.canReadLine()) {
            const QByteArray line = process.readLine().trimmed();
            const int at = line.indexOf(beginning);
            if (at >= 0)
                return QString::fromUtf8(line.mid(at + beginning.size())).trimmed() + QLatin1String("");
        }
        if (process.state() == QProcess::NotRunning && !process.canReadLine())
            return QString();
        process.waitForReadyRead(static_cast<int>(qMax<qint64>(1, deadline.remainingTime())));
    }
    return QString();
}
