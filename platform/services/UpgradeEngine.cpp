#include "services/UpgradeEngine.h"
#include "services/Files.h"
#include "services/InstalledSoftware.h"
#include "services/Log.h"
#include "services/PackageDownload.h"
#include "services/PackageInstaller.h"
#include "tarn/keys/UpgradeKeys.h"
#include <QCryptographicHash>
#include <QDir>
#include <QSet>
#include <algorithm>
#include <utility>

namespace tarn::services {

namespace state = upgrade::state;

namespace {

constexpr int MaxDownloads = 4;     // at once; the other tasks wait
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
    QList<UpgradeTask> list;
    const QString error = m_store->tasks(&list);
    if (!error.isEmpty()) {
        qCWarning(servicesLog).noquote() << QStringLiteral("tasks: %1").arg(error);
        return;
    }
    dropForeignFiles();
    for (const UpgradeTask &task : qAsConst(list))
        takeUp(task);
    scheduleSoon();
}

void UpgradeEngine::takeUp(const UpgradeTask &task)
{
    if (task.state == state::Installing) {
        const QString directory = directoryOf(task.product);
        const QString error = directory.isEmpty() ? QString() : PackageInstaller::recover(directory);
        if (!error.isEmpty())
            return setState(task.product, state::InstallFailed, error);
    }
    const bool hasAll = firstMissing(task) < 0;
    if (task.state == state::Installing || task.state == state::Downloaded)
        setState(task.product, hasAll ? state::Downloaded : state::Downloading);
}

QString UpgradeEngine::start(const UpgradeTask &task)
{
    storeUnstored();
    for (const Unstored &waiting : qAsConst(m_unstored)) {
        if (waiting.product == task.product)
            return waiting.error;
    }
    const QString error = m_store->start(task);
    scheduleSoon();
    return error;
}

QString UpgradeEngine::stop(const QString &product, bool *known)
{
    UpgradeTask task;
    const QString error = taskOf(product, &task);
    *known = error.isEmpty() && task.state != 0;
    if (!*known || !task.isActive())
        return error;
    delete m_downloads.take(product);
    PackageInstaller *installer = m_installations.value(product);
    const bool installing = installer != nullptr;
    if (installing && installer->stop().isEmpty()) {
        installEnded(product, QString()); // too late: the files were exchanged already
        return {};
    }
    delete m_installations.take(product); // the product is as it was
    setState(product, installing ? state::InstallFailed : state::Cancelled,
             installing ? QStringLiteral("the installation was cancelled") : QString());
    dropFiles(task);
    scheduleSoon();
    return {};
}

QString UpgradeEngine::install(const QString &product)
{
    UpgradeTask task;
    const QString error = taskOf(product, &task);
    if (!error.isEmpty() || task.state == state::Installing)
        return error;
    if (task.state != state::Downloaded)
        return QStringLiteral("nothing is downloaded for \"%1\"").arg(product);
    const QString directory = directoryOf(product);
    if (directory.isEmpty()) {
        setState(product, state::InstallFailed, QStringLiteral("the product is not installed"));
        return QStringLiteral("the product is not installed");
    }
    QStringList files;
    for (const UpgradeItem &item : qAsConst(task.items))
        files << file(product, item);
    auto *installer = new PackageInstaller(task, files, directory, this);
    m_installations.insert(product, installer);
    connect(installer, &PackageInstaller::finished, this,
            [this, product](const QString &reason) { installEnded(product, reason); });
    setState(product, state::Installing);
    QMetaObject::invokeMethod(installer, &PackageInstaller::start, Qt::QueuedConnection);
    return {};
}

void UpgradeEngine::installEnded(const QString &product, const QString &error)
{
    PackageInstaller *installer = m_installations.take(product);
    if (!installer)
        return;
    installer->deleteLater();
    UpgradeTask task;
    taskOf(product, &task);
    setState(product, error.isEmpty() ? state::Installed : state::InstallFailed, error);
    dropFiles(task); // after a failure too: a damaged package must not be installed again, nor fill the disk
    if (!error.isEmpty())
        qCWarning(servicesLog).noquote() << QStringLiteral("installing %1: %2").arg(product, error);
}

QString UpgradeEngine::tasks(QList<UpgradeTask> *list)
{
    const QString error = m_store->tasks(list);
    for (UpgradeTask &task : *list) {
        applyUnstored(&task);
        for (UpgradeItem &item : task.items)
            item.received = receivedOf(task, item);
    }
    return error;
}

QString UpgradeEngine::taskOf(const QString &product, UpgradeTask *task)
{
    const QString error = m_store->task(product, task);
    applyUnstored(task);
    return error;
}

void UpgradeEngine::applyUnstored(UpgradeTask *task) const
{
    const auto unstored = m_unstored.constFind(task->id);
    if (unstored == m_unstored.cend())
        return;
    task->state = unstored->state;
    task->error = unstored->error;
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
    QList<UpgradeTask> list;
    tasks(&list);
    for (const UpgradeTask &task : qAsConst(list)) {
        if (m_downloads.size() >= MaxDownloads)
            return;
        if (task.state == state::Downloading && !m_downloads.contains(task.product))
            beginDownload(task);
    }
}

void UpgradeEngine::beginDownload(const UpgradeTask &task)
{
    const int missing = firstMissing(task);
    if (missing < 0) {
        setState(task.product, state::Downloaded);
        return;
    }
    if (!QDir().mkpath(m_settings.downloads)) {
        setState(task.product, state::DownloadFailed, QStringLiteral("%1 cannot be made").arg(m_settings.downloads));
        return;
    }
    const UpgradeItem &item = task.items.at(missing);
    const QString product = task.product;
    auto *download = new PackageDownload({QUrl(item.url), item.sha256, item.size}, partialFile(product, item),
                                         &m_network, &m_throttle, this);
    m_downloads.insert(product, download);
    connect(download, &PackageDownload::finished, this, [this, product, item](const QString &error) {
        const bool kept = !error.isEmpty() || (QFile::rename(partialFile(product, item), file(product, item)) &&
                                               syncToDisk(m_settings.downloads));
        downloadEnded(product, kept ? error : QStringLiteral("%1 cannot be written").arg(file(product, item)));
    });
    QMetaObject::invokeMethod(download, &PackageDownload::start, Qt::QueuedConnection);
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
void UpgradeEngine::setState(const QString &product, int state, const QString &error)
{
    UpgradeTask task;
    bool known = false;
    QString failure = m_store->task(product, &task);
    if (failure.isEmpty())
        failure = m_store->setState(product, state, error, &known);
    if (failure.isEmpty()) {
        m_unstored.remove(task.id);
    } else {
        qCCritical(servicesLog).noquote() << QStringLiteral("task of %1: %2").arg(product, failure);
        const QString notice = QStringLiteral("the state cannot be stored: %1").arg(failure);
        m_unstored.insert(task.id,
                          {product, state, error, error.isEmpty() ? notice : error + QStringLiteral("; ") + notice});
        m_storeAgain.start();
    }
    m_changed();
}

void UpgradeEngine::storeUnstored()
{
    const QHash<qint64, Unstored> waiting = m_unstored;
    for (auto it = waiting.cbegin(); it != waiting.cend(); ++it) {
        UpgradeTask task;
        if (!m_store->task(it->product, &task).isEmpty())
            return m_storeAgain.start();
        if (task.id == it.key())
            setState(it->product, it->state, it->reason);
        else
            m_unstored.remove(it.key()); // another task has replaced it
    }
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

// Removes files that no task can still use.
void UpgradeEngine::dropForeignFiles()
{
    QList<UpgradeTask> list;
    if (!m_store->tasks(&list).isEmpty())
        return;
    QSet<QString> wanted;
    for (const UpgradeTask &task : qAsConst(list)) {
        for (const UpgradeItem &item : task.items)
            wanted +=
                task.isActive() || task.state == state::DownloadFailed ? packageName(task.product, item) : QString();
    }
    const QDir downloads(m_settings.downloads);
    const QFileInfoList files = downloads.entryInfoList(QDir::Files);
    for (const QFileInfo &info : files) {
        if (!wanted.contains(info.completeBaseName()))
            QFile::remove(info.filePath());
    }
}

QString UpgradeEngine::directoryOf(const QString &product) const
{
    const QList<InstalledSoftware> installed = readInstalledSoftware(m_settings.apps);
    const auto found = std::find_if(installed.cbegin(), installed.cend(),
                                    [&](const InstalledSoftware &one) { return one.name == product; });
    return found == installed.cend() ? QString() : found->directory;
}

} // namespace tarn::services
