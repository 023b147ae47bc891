#include "services/Files.h"
#include "services/Services.h"
#include "tarn/core/Program.h"
#include "tarn/link/MessageWire.h"
#include "tarn/link/ServiceConnection.h"
#include "tarn/rpc/HubPort.h"
#include "tarn/rpc/Rpc.h"
#include "tarn/visualized/IVisualizedService.h"
#include <QCommandLineParser>
#include <QCoreApplication>
#include <QFile>
#include <QTimer>
#include <cerrno>
#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/stat.h>

using namespace tarn;
using namespace tarn::services;

namespace {

constexpr int ShowTimeout = 5000; // ms; a push is not held up by a user interface that hangs
constexpr int PollMs = 100;       // while the data directory is in use or there is no hub

// Waits for the data directory, makes the services, waits for a hub and registers them there.
class Application
{
public:
    explicit Application(const QString &directory)
        : m_directory(directory)
        , m_lock(directory + QStringLiteral("/services.lock"))
    {
        QObject::connect(&m_poll, &QTimer::timeout, &m_poll, [this] { proceed(); });
        m_poll.start(PollMs);
        proceed();
    }
    ~Application()
    {
        m_userInterface.close(); // else a call to a host that hangs would delay the end
        if (m_adapter)
            m_adapter->unactive();
        m_adapter.reset();
        m_rpc.shutdown();
    }

private:
    void proceed()
    {
        if (m_services.isEmpty() && hasDirectory())
            makeServices();
        if (!m_services.isEmpty() && isRegistered())
            m_poll.stop(); // the core registers them again when the hub restarts
    }

    // Locks the data directory without waiting.
    bool hasDirectory()
    {
        struct flock whole = {};
        whole.l_type = F_WRLCK;
        const bool isOpen = m_lock.isOpen() || m_lock.open(QIODevice::ReadWrite);
        if (isOpen && ::fcntl(m_lock.handle(), F_SETLK, &whole) == 0)
            return true;
        if (!isOpen || (errno != EACCES && errno != EAGAIN)) {
            report(
                QStringLiteral("the data directory cannot be locked: %1").arg(systemFailure(m_lock.fileName()).text()),
                true);
            return false;
        }
        ::fcntl(m_lock.handle(), F_GETLK, &whole);
        report(QStringLiteral("%1 is in use by process %2; waiting until it ends")
                   .arg(m_directory, QString::number(whole.l_pid)));
        return false;
    }

    // One line for all attempts that fail for the same reason.
    void report(const QString &trouble, bool isCritical = false)
    {
        if (trouble == m_lastTrouble)
            return;
        m_lastTrouble = trouble;
        if (isCritical)
            qCCritical(servicesLog).noquote() << trouble;
        else
            qCWarning(servicesLog).noquote() << trouble;
    }

    void makeServices()
    {
        const QString programs = QCoreApplication::applicationDirPath();
        const auto show = [this](const QString &operation, const rpc::Bag &bag) {
            return m_userInterface.call(visualized::DefaultTag, operation, bag, ShowTimeout);
        };
        m_services.insert(link::wire::MessageTag, makeMessageService(m_directory, show));
        m_services.insert(link::wire::UpgradeTag,
                          makeUpgradeService(m_directory, UpgradePaths::ofProgram(programs), show));
        try {
            m_services.insert(link::wire::CloudTag, makeCloudService(m_directory, configuredLinks(programs), now));
        } catch (const std::exception &e) { // messages and upgrades work without it
            qCCritical(servicesLog, "there is no cloud account service: %s", e.what());
        }
    }

    bool isRegistered()
    {
        QString trouble;
        const quint16 port = rpc::hubPort(&trouble);
        if (port != 0 && serve(port)) {
            qCInfo(servicesLog).noquote() << QStringLiteral("services are registered at the hub on port %1").arg(port);
            return true;
        }
        if (port != 0)
            trouble = QString::fromStdString(rpc::getRpcLastError().message);
        report(QStringLiteral("waiting for the hub: %1").arg(trouble));
        return false;
    }

    bool serve(quint16 port)
    {
        const QString address = QStringLiteral("127.0.0.1");
        if (!m_rpc.init({{rpc::keys::IP, address},
                         {rpc::keys::SvrIP, address},
                         {rpc::keys::Port, QString::number(port)},
                         {rpc::keys::ThreadNum, QStringLiteral("8")}}))
            return false;
        auto adapter = m_rpc.createAdapter(QStringLiteral("tarn-services"));
        for (auto it = m_services.cbegin(); adapter && it != m_services.cend(); ++it) {
            if (!adapter->add(std::any(*it), it.key(), it.key()))
                return false;
        }
        if (!adapter || !adapter->active())
            return false;
        m_adapter = adapter;
        return true;
    }

    const QString m_directory;
    QFile m_lock; // held for this process alone; a killed holder leaves nothing behind
    QTimer m_poll;
    QString m_lastTrouble;
    link::ServiceConnection m_userInterface;
    QMap<QString, QSharedPointer<rpc::IInvocable>> m_services; ///< by interface name and tag
    rpc::Rpc m_rpc;                                            // last: its calls use the rest
    QSharedPointer<rpc::RpcAdapter> m_adapter;
};

} // namespace

int main(int argc, char *argv[])
{
    core::prepareProgram(false, core::hasArgument(argc, argv, "--verbose"));
    ::umask(077);
#ifndef __SANITIZE_ADDRESS__     // its leak check attaches to the process
    ::prctl(PR_SET_DUMPABLE, 0); // neither core files nor other programs of the user read the secrets in memory
#endif
    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("tarn-services"));
    QCommandLineParser parser;
    core::readArguments(&parser,
                        QStringLiteral("The platform's background services: messages, upgrades and cloud accounts."));

    const core::UnixSignals signalSource;
    try {
        const Application services(dataDirectory());
        return QCoreApplication::exec();
    } catch (const Failure &failure) {
        qCCritical(servicesLog).noquote() << failure.text();
        return 1;
    }
}
