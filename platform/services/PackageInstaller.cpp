#include "services/PackageInstaller.h"
#include "services/Failure.h"
#include "tarn/keys/UpgradeKeys.h"
#include <QDir>
#include <QFile>
#include <QSettings>
#include <algorithm>

namespace tarn::services {

namespace item = upgrade::item;

namespace {

QString cancelled()
{
    return QStringLiteral("the installation was cancelled");
}

QString descriptionIn(const QString &directory)
{
    return QDir(directory).filePath(QStringLiteral("installation.ini"));
}

void setPlugin(QSettings &settings, const QString &name, const QString &version)
{
    const QString array = QStringLiteral("Plugins");
    int position = 0;
    const int count = settings.beginReadArray(array);
    for (; position < count; ++position) {
        settings.setArrayIndex(position);
        if (settings.value(QStringLiteral("Name")).toString() == name)
            break;
    }
    settings.endArray();
    settings.beginWriteArray(array, std::max(count, position + 1));
    settings.setArrayIndex(position);
    settings.setValue(QStringLiteral("Name"), name);
    settings.setValue(QStringLiteral("Version"), version);
    settings.endArray();
}

void writeItem(QSettings &settings, const UpgradeItem &entry)
{
    if (entry.type == item::Named) {
        setPlugin(settings, entry.name, entry.version);
    } else if (entry.type == item::Main) {
        settings.setValue(QStringLiteral("Version"), entry.version);
        settings.remove(QStringLiteral("PatchVersion")); // it belonged to the version before
    } else {
        settings.setValue(QStringLiteral("PatchVersion"), entry.version);
    }
}

} // namespace

PackageInstaller::PackageInstaller(const UpgradeTask &task, const QList<Package> &packages, const QString &directory,
                                   QObject *parent)
    : QObject(parent)
    , m_task(task)
    , m_packages(packages)
    , m_directory(directory)
    , m_swap(directory)
    , m_error(cancelled())
{
}

PackageInstaller::~PackageInstaller()
{
    stop();
}

void PackageInstaller::start()
{
    const auto conclude = [this] {
        if (!m_stopping)
            emit finished(stop());
    };
    try {
        m_worker = std::thread([this, conclude] {
            m_error = errorOf([this] { install(); });
            QMetaObject::invokeMethod(this, conclude, Qt::QueuedConnection);
        });
    } catch (const std::system_error &e) {
        emit finished(QStringLiteral("there is no thread for the installation: %1").arg(QLatin1String(e.what())));
    }
}

QString PackageInstaller::stop()
{
    m_stopping = true;
    if (m_worker.joinable())
        m_worker.join();
    return m_error;
}

// On the worker.
void PackageInstaller::install()
{
    m_swap.prepare(); // else the work area may hold files that could not be restored
    const QString error = errorOf([this] { stage(); });
    if (!error.isEmpty())
        m_swap.giveUp(error);
    m_swap.apply();
}

void PackageInstaller::stage()
{
    unpackPackages(m_packages, m_swap.staging(), m_stopping);
    updateDescription();
    m_swap.checkStaged();
    if (m_stopping)
        throw Failure(cancelled());
}

// Read back, since QSettings does not report a write that failed when its file was closed.
void PackageInstaller::updateDescription()
{
    const QString staged = descriptionIn(m_swap.staging());
    if (!QFile::copy(descriptionIn(m_directory), staged))
        throw Failure(QStringLiteral("%1 cannot be copied").arg(descriptionIn(m_directory)));
    {
        QSettings settings(staged, QSettings::IniFormat);
        settings.setIniCodec("UTF-8");
        for (const UpgradeItem &entry : m_task.items)
            writeItem(settings, entry);
    }
    if (!findSoftware(readInstalledSoftware(m_swap.staging()), m_task.product))
        throw Failure(QStringLiteral("%1 cannot be written").arg(staged));
}

} // namespace tarn::services
