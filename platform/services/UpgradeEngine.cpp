#include "services/UpgradeEngine.h"
#include "services/Files.h"
#include "services/InstalledSoftware.h"
#include "services/Log.h"
#include "services/PackageInstaller.h"
#include "tarn/keys/UpgradeKeys.h"
#include <QCryptographicHash>
#include <QDir>
#include <QSet>
#include <utility>

namespace tarn::services {

namespace state = upgrade::state;

namespace {

constexpr int MaxDownloads = 4;     // at once; the other tasks wait
constexpr int MaxError = 500;       // characters of a task's error, which may quote a file or a server
constexpr int StoreAgainMs = 10000; // after a state could not be stored

// One name for one package: a part of another package is never continued.
QString packageName(const QString &product, const UpgradeItem &item)
{
    const QString identity = QStringList{product, item.url, item.sha256, item.version}.join(QChar(0x1F));
    return QString::fromLatin1(QCryptographicHash::hash(identity.toUtf8(), QCryptographicHash::Sha1).toHex());
}

} // namespace

UpgradeEngine::UpgradeEngine(UpgradeStore *store, Settings settings, std::function<void()> changed)
    : m_store(store)
    , m_settings(std::move(settings))
    , m_changed(std::move(changed))
    , m_throttle(m_settings.bandwidth)
{
    m_storeAgain.setSingleShot(true);
    m_storeAgain.setInterval(StoreAgainMs);
    connect(&m_storeAgain, &QTimer::timeout, this, &UpgradeEngine::storeUnstored);
}

// The destructors of running installations undo them; the stored tasks stay as they are.
UpgradeEngine::~UpgradeEngine() = default;

void UpgradeEngine::resume()
{
    const QString error = errorOf([this] {
        const QList<UpgradeTask> list = m_store->tasks();
        dropForeignFiles(list);
        for (const UpgradeTask &task : list)
            takeUp(task);
        scheduleSoon();
    });
    if (!error.isEmpty())
        qCWarning(servicesLog).noquote() << QStringLiteral("tasks: %1").arg(error);
}

void UpgradeEngine::takeUp(const UpgradeTask &task)
{
    const QString directory = task.state == state::Installing ? directoryOf(task.product) : QString();
    const QString error = directory.isEmpty() ? QString() : errorOf([&] { FileSwap(directory).rollBack(); });
    if (!error.isEmpty())
        return setState(task.product, state::InstallFailed, error);
    if (task.state == state::Installing || task.state == state::Downloaded)
        setState(task.product, firstMissing(task) < 0 ? state::Downloaded : state::Downloading);
}

void UpgradeEngine::start(const UpgradeTask &task)
{
    storeUnstored();
    if (m_unstored.contains(task.product))
        throw Failure(m_unstored.value(task.product).error);
    scheduleSoon();
    m_store->start(task);
}

bool UpgradeEngine::stop(const QString &product)
{
    const UpgradeTask task = taskOf(product);
    if (!task.isActive())
        return task.state != 0;
    delete m_downloads.take(product);
    PackageInstaller *installer = m_installations.value(product);
    const bool installing = installer != nullptr;
    if (installing && installer->stop().isEmpty()) {
        installEnded(product, QString()); // too late: the files were exchanged already
        return true;
    }
    delete m_installations.take(product); // the product is as it was
    setState(product, installing ? state::InstallFailed : state::Cancelled,
             installing ? QStringLiteral("the installation was cancelled") : QString());
    dropFiles(task);
    scheduleSoon();
    return true;
}

void UpgradeEngine::install(const QString &product)
{
    const UpgradeTask task = taskOf(product);
    if (task.state == state::Installing)
        return;
    if (task.state != state::Downloaded)
        throw Failure(QStringLiteral("nothing is downloaded for \"%1\"").arg(product));
    const QString directory = directoryOf(product);
    if (directory.isEmpty()) {
        const QString reason = QStringLiteral("the product is not installed");
        setState(product, state::InstallFailed, reason);
        throw Failure(reason);
    }
    QList<Package> packages;
    for (const UpgradeItem &item : task.items)
        packages << Package{file(product, item), item.size, item.sha256};
    auto *installer = new PackageInstaller(task, packages, directory, this);
    m_installations.insert(product, installer);
    connect(installer, &PackageInstaller::finished, this,
            [this, product](const QString &reason) { installEnded(product, reason); });
    setState(product, state::Installing);
    QMetaObject::invokeMethod(installer, &PackageInstaller::start, Qt::QueuedConnection);
}

void UpgradeEngine::installEnded(const QString &product, const QString &error)
{
    PackageInstaller *installer = m_installations.take(product);
    if (!installer)
        return;
    installer->deleteLater();
    setState(product, error.isEmpty() ? state::Installed : state::InstallFailed, error);
    // After a failure too: a damaged package must neither be installed again nor fill the disk.
    dropFiles(installer->task());
    if (!error.isEmpty())
        qCWarning(servicesLog).noquote() << QStringLiteral("installing %1: %2").arg(product, error);
}

QList<UpgradeTask> UpgradeEngine::tasks()
{
    QList<UpgradeTask> list = m_store->tasks();
    for (UpgradeTask &task : list) {
        task = withUnstored(task);
        for (UpgradeItem &item : task.items)
            item.received = receivedOf(task, item);
    }
    return list;
}

UpgradeTask UpgradeEngine::taskOf(const QString &product)
{
    return withUnstored(m_store->task(product));
}

UpgradeTask UpgradeEngine::withUnstored(UpgradeTask task) const
{
    const auto unstored = m_unstored.constFind(task.product);
    if (unstored != m_unstored.cend()) {
        task.state = unstored->state;
        task.error = unstored->error;
    }
    return task;
}

void UpgradeEngine::scheduleSoon()
{
    if (m_scheduled)
        return;
    m_scheduled = true;
    QMetaObject::invokeMethod(this, &UpgradeEngine::schedule, Qt::QueuedConnection);
}

void UpgradeEngine::schedule()
{
    m_scheduled = false;
    const QString error = errorOf([this] { // after a failure the next start schedules again
        const QList<UpgradeTask> list = tasks();
        for (const UpgradeTask &task : list) {
            if (m_downloads.size() >= MaxDownloads)
                return;
            if (task.state == state::Downloading && !m_downloads.contains(task.product))
                beginDownload(task);
        }
    });
    if (!error.isEmpty())
        qCWarning(servicesLog).noquote() << QStringLiteral("no download is begun: %1").arg(error);
}

void UpgradeEngine::beginDownload(const UpgradeTask &task)
{
    const int missing = firstMissing(task);
    if (missing < 0)
        return setState(task.product, state::Downloaded);
    if (!QDir().mkpath(m_settings.downloads))
        return setState(task.product, state::DownloadFailed,
                        QStringLiteral("%1 cannot be made").arg(m_settings.downloads));
    const UpgradeItem &item = task.items.at(missing);
    const QString product = task.product;
    auto *download = new PackageDownload({QUrl(item.url), item.sha256, item.size}, partialFile(product, item),
                                         &m_network, &m_throttle, this);
    m_downloads.insert(product, download);
    connect(download, &PackageDownload::finished, this, [this, product, item](const QString &error) {
        downloadEnded(product, error.isEmpty() ? errorOf([&] { keepPackage(product, item); }) : error);
    });
    QMetaObject::invokeMethod(download, &PackageDownload::start, Qt::QueuedConnection);
}

void UpgradeEngine::keepPackage(const QString &product, const UpgradeItem &item) const
{
    if (!QFile::rename(partialFile(product, item), file(product, item)))
        throw Failure(QStringLiteral("%1 cannot be written").arg(file(product, item)));
    syncToDisk(m_settings.downloads);
}

void UpgradeEngine::downloadEnded(const QString &product, const QString &error)
{
    if (PackageDownload *download = m_downloads.take(product))
        download->deleteLater();
    if (!error.isEmpty()) {
        qCWarning(servicesLog).noquote() << QStringLiteral("downloading %1: %2").arg(product, error);
        setState(product, state::DownloadFailed, error);
    }
    scheduleSoon(); // the next package of this product, or the next product
}

// A state that cannot be stored is kept in memory and stored later: the task must neither lie to callers nor start over
// again and again while the disk is full.
void UpgradeEngine::setState(const QString &product, int state, const QString &reason)
{
    const QString error = reason.left(MaxError);
    const QString failure = errorOf([&] { m_store->setState(product, state, error); });
    if (failure.isEmpty()) {
        m_unstored.remove(product);
    } else {
        qCCritical(servicesLog).noquote() << QStringLiteral("task of %1: %2").arg(product, failure);
        const QString notice = QStringLiteral("the state cannot be stored: %1").arg(failure);
        m_unstored.insert(product, {state, error, error.isEmpty() ? notice : error + QStringLiteral("; ") + notice});
        m_storeAgain.start();
    }
    m_changed();
}

void UpgradeEngine::storeUnstored()
{
    const QHash<QString, Unstored> waiting = m_unstored;
    for (auto it = waiting.cbegin(); it != waiting.cend(); ++it)
        setState(it.key(), it->state, it->reason);
}

int UpgradeEngine::firstMissing(const UpgradeTask &task) const
{
    for (int i = 0; i < task.items.size(); ++i) {
        if (!QFile::exists(file(task.product, task.items.at(i))))
            return i;
    }
    return -1;
}

qint64 UpgradeEngine::receivedOf(const UpgradeTask &task, const UpgradeItem &item) const
{
    if (task.state == state::Installed)
        return item.size; // the package was removed
    const QFileInfo complete(file(task.product, item));
    return complete.exists() ? complete.size() : QFileInfo(partialFile(task.product, item)).size();
}

QString UpgradeEngine::file(const QString &product, const UpgradeItem &item) const
{
    return QDir(m_settings.downloads).filePath(packageName(product, item) + QStringLiteral(".package"));
}

QString UpgradeEngine::partialFile(const QString &product, const UpgradeItem &item) const
{
    return QDir(m_settings.downloads).filePath(packageName(product, item) + QStringLiteral(".part"));
}

void UpgradeEngine::dropFiles(const UpgradeTask &task)
{
    for (const UpgradeItem &item : task.items) {
        QFile::remove(file(task.product, item));
        QFile::remove(partialFile(task.product, item));
    }
}

// Removes files that none of the tasks can still use.
void UpgradeEngine::dropForeignFiles(const QList<UpgradeTask> &tasks)
{
    QSet<QString> wanted;
    for (const UpgradeTask &task : tasks) {
        for (const UpgradeItem &item : task.items) {
            if (task.isActive() || task.state == state::DownloadFailed)
                wanted += packageName(task.product, item);
        }
    }
    const QFileInfoList files = QDir(m_settings.downloads).entryInfoList(QDir::Files);
    for (const QFileInfo &info : files) {
        if (!wanted.contains(info.completeBaseName()))
            QFile::remove(info.filePath());
    }
}

QString UpgradeEngine::directoryOf(const QString &product) const
{
    const QList<InstalledSoftware> installed = readInstalledSoftware(m_settings.apps);
    const InstalledSoftware *software = findSoftware(installed, product);
    return software ? software->directory : QString();
}

} // namespace tarn::services
