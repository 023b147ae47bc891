#include "services/DataDirectory.h"
#include "services/Log.h"
#include "services/MessageService.h"
#include "services/ServiceRunner.h"
#include "services/UpgradeService.h"
#include "services/cloud/CloudService.h"
#include "tarn/core/Program.h"
#include "tarn/link/MessageWire.h"
#include "tarn/link/ServiceConnection.h"
#include "tarn/visualized/IVisualizedService.h"
#include <QCommandLineParser>
#include <QCoreApplication>
#include <QTimer>
#include <sys/prctl.h>
#include <sys/stat.h>

using namespace tarn;
using namespace tarn::services;

namespace {

constexpr int ShowTimeout = 5000; // ms; a push is not held up by a user interface that hangs
constexpr int LockPollMs = 100;

class Application
{
public:
    explicit Application(const QString &directory)
        : m_directory(directory)
        , m_lock(directory)
    {
        QObject::connect(&m_lockPoll, &QTimer::timeout, &m_lockPoll, [this] { begin(); });
        m_lockPoll.start(LockPollMs);
        begin();
    }
    ~Application() { m_userInterface.close(); } // no call of ours waits for a window that hangs

private:
    void begin()
    {
        QString error;
        if (!m_lock.tryLock(&error)) {
            waitForHolder(error);
            return;
        }
        m_lockPoll.stop();
        const auto present = [this](const rpc::Bag &bag) {
            return m_userInterface.call(visualized::DefaultTag, QStringLiteral("ShowNotifyMessage"), bag, ShowTimeout);
        };
        m_runner.addService(link::wire::MessageTag, QSharedPointer<MessageService>::create(m_directory, present));
        const auto show = [this](const QString &operation, const rpc::Bag &bag) {
            return m_userInterface.call(visualized::DefaultTag, operation, bag, ShowTimeout);
        };
        m_runner.addService(link::wire::UpgradeTag,
                            QSharedPointer<UpgradeService>::create(
                                m_directory, UpgradePaths::ofProgram(QCoreApplication::applicationDirPath()), show));
        addCloudService();
        m_runner.start();
    }

    // What it is built on can fail; messages and upgrades go on without it.
    void addCloudService()
    {
        try {
            m_runner.addService(link::wire::CloudTag,
                                QSharedPointer<CloudService>::create(
                                    m_directory, CloudSettings::ofProgram(QCoreApplication::applicationDirPath())));
        } catch (const std::exception &e) {
            qCCritical(servicesLog, "there is no cloud account service: %s", e.what());
        }
    }

    // Called again with every attempt, acts with the first.
    void waitForHolder(const QString &error)
    {
        if (m_waiting)
            return;
        m_waiting = true;
        if (!error.isEmpty()) {
            qCCritical(servicesLog).noquote() << QStringLiteral("the data directory cannot be locked: %1").arg(error);
            return;
        }
        qCWarning(servicesLog).noquote() << QStringLiteral("%1 is in use by process %2; waiting until it ends")
                                                .arg(m_directory)
                                                .arg(m_lock.holder());
    }

    const QString m_directory;
    DataLock m_lock;
    QTimer m_lockPoll;
    bool m_waiting = false;
    link::ServiceConnection m_userInterface;
    ServiceRunner m_runner; // last: its calls use the rest
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
    QCoreApplication::setApplicationVersion(QStringLiteral(TARN_VERSION));
    QCommandLineParser parser;
    parser.setApplicationDescription(
        QStringLiteral("The platform's background services: messages, upgrades and cloud accounts."));
    parser.addHelpOption();
    parser.addVersionOption();
    parser.addOption({QStringLiteral("verbose"), QStringLiteral("Write debug lines too.")});
    parser.process(app);

    const core::UnixSignals signalSource;
    QObject::connect(&signalSource, &core::UnixSignals::terminationRequested, &app, &QCoreApplication::quit);
    QString error;
    const QString directory = dataDirectory(&error);
    if (directory.isEmpty()) {
        qCCritical(servicesLog).noquote() << error;
        return 1;
    }
    const Application services(directory);
    return QCoreApplication::exec();
}
