#include "services/PackageInstaller.h"
#include "services/PackageUnpacker.h"
#include "tarn/keys/UpgradeKeys.h"
#include <QDir>
#include <QFile>
#include <QSettings>
#include <algorithm>
#include <exception>

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

PackageInstaller::PackageInstaller(const UpgradeTask &task, const QStringList &files, const QString &directory,
                                   QObject *parent)
    : QObject(parent)
    , m_task(task)
    , m_files(files)
    , m_directory(directory)
    , m_swap(directory)
    , m_error(cancelled())
{
}

PackageInstaller::~PackageInstaller()
{
    stop();
}

QString PackageInstaller::recover(const QString &directory)
{
    return FileSwap(directory).rollBack();
}

void PackageInstaller::start()
{
    const auto work = [this] {
        try {
            m_error = install();
        } catch (const std::exception &e) {
            m_error = QString::fromLocal8Bit(e.what());
        }
        QMetaObject::invokeMethod(
            this,
            [this] {
                if (!m_stopping)
                    emit finished(stop());
            },
            Qt::QueuedConnection);
    };
    try {
        m_worker = std::thread(work);
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
QString PackageInstaller::install()
{
    QString error = m_swap.prepare();
    if (!error.isEmpty())
        return error; // the work area may hold files that could not be restored
    error = stage();
    if (error.isEmpty() && m_stopping)
        error = cancelled();
    if (error.isEmpty())
        return m_swap.apply();
    const QString worse = m_swap.rollBack();
    return worse.isEmpty() ? error : QStringLiteral("%1; rolling back: %2").arg(error, worse);
}

QString PackageInstaller::stage()
{
    PackageUnpacker unpacker(m_swap.staging(), m_stopping);
    QString error;
    for (int i = 0; i < m_files.size() && error.isEmpty(); ++i)
        error = unpacker.unpack(m_files.at(i), m_task.items.at(i).size, m_task.items.at(i).sha256);
    if (error.isEmpty())
        error = unpacker.makeLinks();
    if (error.isEmpty())
        error = updateDescription();
    return error.isEmpty() ? m_swap.checkStaged() : error;
}

// Read back, since QSettings does not report a write that failed when its file was closed.
QString PackageInstaller::updateDescription()
{
    const QString staged = descriptionIn(m_swap.staging());
    if (!QFile::copy(descriptionIn(m_directory), staged))
        return QStringLiteral("%1 cannot be copied").arg(descriptionIn(m_directory));
    {
        QSettings settings(staged, QSettings::IniFormat);
        settings.setIniCodec("UTF-8");
        for (const UpgradeItem &entry : m_task.items)
            writeItem(settings, entry);
    }
    const QList<InstalledSoftware> written = readInstalledSoftware(m_swap.staging());
    return !written.isEmpty() && written.constFirst().name == m_task.product
               ? QString()
               : QStringLiteral("%1 cannot be written").arg(staged);
}

} // namespace tarn::services
