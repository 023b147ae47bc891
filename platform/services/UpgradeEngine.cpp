#include "services/UpgradeEngine.h"
#include "services/FileSwap.h"
#include "services/Files.h"
#include "services/InstalledSoftware.h"
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

bool isComplete(const UpgradeTask &task) // all packages are downloaded
{
    return std::all_of(task.items.cbegin(), task.items.cend(),
                       [](const UpgradeItem &item) { return QFile::exists(item.file); });
}

qint64 receivedOf(const UpgradeTask &task, const UpgradeItem &item)
{
    if (task.state == state::Installed)
        return item.size; // the package was removed
    const QFileInfo complete(item.file);
    return complete.exists() ? complete.size() : QFileInfo(partOf(item.file)).size();
}

void dropFiles(const UpgradeTask &task)
{
    for (const UpgradeItem &item : task.items) {
        QFile::remove(item.file);
        QFile::remove(partOf(item.file));
    }
}

} // namespace

UpgradeEngine::UpgradeEngine(UpgradeStore *store, QString apps, QString downloads, qint64 bandwidth)
    : m_store(store)
    , m_apps(std::move(apps))
    , m_downloads(std::move(downloads))
    , m_throttle(bandwidth)
{
    const QString error = errorOf([this] { m_thread.run([this] { load(); }); });
    if (!error.isEmpty())
        qCWarning(servicesLog).noquote() << QStringLiteral("tasks: %1").arg(error);
}

UpgradeEngine::~UpgradeEngine()
{
    m_thread.run([this] { // calls that are posted already find no task
        m_tasks.clear();
        m_running.clear();
    });
}

// Called by each question for a task: a store that cannot be read now may be readable later.
void UpgradeEngine::load()
{
    if (m_isLoaded)
        return;
    QList<UpgradeTask> list = m_store->tasks();
    m_isLoaded = true;
    for (UpgradeTask &task : list) {
        placeFiles(&task);
        m_tasks.insert(task.id, task);
    }
    dropForeignFiles();
    for (UpgradeTask &task : m_tasks)
        takeUp(&task);
    schedule();
}

// One name for one package: a part of another package is never continued.
void UpgradeEngine::placeFiles(UpgradeTask *task) const
{
    for (UpgradeItem &item : task->items) {
        const QString identity = QStringList{task->product, item.url, item.sha256, item.version}.join(QChar(0x1F));
        const QByteArray name = QCryptographicHash::hash(identity.toUtf8(), QCryptographicHash::Sha1).toHex();
        item.file = QDir(m_downloads).filePath(QString::fromLatin1(name) + QStringLiteral(".package"));
    }
}

void UpgradeEngine::takeUp(UpgradeTask *task)
{
    QString directory; // empty when it is not installed
    if (task->state == state::Installing)
        directory = readInstalledSoftware(m_apps).value(task->product).directory;
    const QString error = directory.isEmpty() ? QString() : errorOf([&] { FileSwap(directory).rollBack(); });
    if (!error.isEmpty())
        setState(task->product, state::InstallFailed, error);
    else if (task->state == state::Installing || task->state == state::Downloaded)
        setState(task->product, isComplete(*task) ? state::Downloaded : state::Downloading);
}

UpgradeTask *UpgradeEngine::find(const QString &product)
{
    const auto found =
        std::find_if(m_tasks.begin(), m_tasks.end(), [&](const UpgradeTask &task) { return task.product == product; });
    return found == m_tasks.end() ? nullptr : &*found;
}

bool UpgradeEngine::start(UpgradeTask task)
{
    return m_thread.run([&] {
        const UpgradeTask before = current(task.product);
        if (before.isActive())
            return false;
        placeFiles(&task);
        task.id = m_tasks.isEmpty() ? 0 : m_tasks.lastKey() + 1; // a new database would count from 1 again
        task.id = m_store->save(task);
        m_unstored.remove(task.product);
        m_tasks.remove(before.id);
        m_tasks.insert(task.id, task);
        dropForeignFiles(); // parts of the task that is replaced
        schedule();
        return true;
    });
}

bool UpgradeEngine::stop(const QString &product)
{
    std::shared_future<QString> installation; // awaited here: the other tasks can be asked for and stopped meanwhile
    int number = 0;
    m_thread.run([&] {
        const UpgradeTask task = current(product);
        if (task.state == state::Installing) {
            Work &running = m_running[product];
            running.stopping = true;
            number = running.number;
            installation = running.error;
        } else if (task.isActive()) {
            m_running.erase(product);
            dropFiles(task); // first: a full disk has room for the state then
            setState(product, state::Cancelled);
            schedule();
        }
    });
    if (installation.valid())
        installation.wait();
    return m_thread.run([&] {
        finish(product, number);
        const UpgradeTask task = current(product);
        failIf(m_unstored.contains(product), task.error);
        return task.state != 0;
    });
}

void UpgradeEngine::install(const QString &product)
{
    m_thread.run([&] {
        const UpgradeTask task = current(product);
        if (task.state == state::Installing)
            return;
        failIf(task.state != state::Downloaded, QStringLiteral("nothing is downloaded for \"%1\"").arg(product));
        const QString directory = readInstalledSoftware(m_apps).value(product).directory;
        if (directory.isEmpty()) { // the product was removed meanwhile
            setState(product, state::InstallFailed, QStringLiteral("the product is not installed"));
            throw Failure(current(product).error);
        }
        setState(product, state::Installing);
        begin(product, [=](const std::atomic<bool> &stopping) { installPackages(task, directory, stopping); });
    });
}

// Runs work on another thread, then finish() on this one.
void UpgradeEngine::begin(const QString &product, const std::function<void(const std::atomic<bool> &)> &work)
{
    Work &running = m_running[product];
    running.number = ++m_lastNumber;
    const auto finishSoon = [this, product, number = m_lastNumber] { m_thread.post([=] { finish(product, number); }); };
    const QString error = errorOf([&] {
        running.error = std::async(std::launch::async, [&running, work, finishSoon] {
            QString failure = errorOf([&] { work(running.stopping); });
            finishSoon();
            return failure;
        });
    });
    if (!error.isEmpty()) {
        running.error = std::async(std::launch::deferred,
                                   [error] { return QStringLiteral("there is no thread for it: %1").arg(error); });
        finishSoon();
    }
}

void UpgradeEngine::finish(const QString &product, int number)
{
    const auto running = m_running.find(product);
    if (running == m_running.end() || running->second.number != number)
        return; // it was stopped
    QString error = running->second.error.get();
    const bool installing = current(product).state == state::Installing;
    if (!error.isEmpty() && running->second.stopping)
        error = QStringLiteral("the installation was cancelled");
    else if (!error.isEmpty())
        qCWarning(servicesLog).noquote() << QStringLiteral("%1 %2: %3")
                                                .arg(installing ? QStringLiteral("installing")
                                                                : QStringLiteral("downloading"),
                                                     product, error);
    m_running.erase(running);
    if (error.isEmpty())
        setState(product, installing ? state::Installed : state::Downloaded);
    else
        setState(product, installing ? state::InstallFailed : state::DownloadFailed, error);
    if (installing) // also after a failure: a damaged package must neither be installed again nor fill the disk
        dropFiles(current(product));
    schedule(); // the next product
}

QList<UpgradeTask> UpgradeEngine::tasks()
{
    QList<UpgradeTask> list = m_thread.run([this] {
        load();
        return m_tasks.values();
    });
    for (UpgradeTask &task : list) {
        for (UpgradeItem &item : task.items)
            item.received = receivedOf(task, item);
    }
    return list;
}

UpgradeTask UpgradeEngine::taskOf(const QString &product)
{
    return m_thread.run([&] { return current(product); });
}

UpgradeTask UpgradeEngine::current(const QString &product)
{
    load();
    const UpgradeTask *task = find(product);
    return task ? *task : UpgradeTask();
}

void UpgradeEngine::schedule()
{
    const QMap<qint64, UpgradeTask> list = m_tasks;
    const auto runs = [this](const UpgradeTask &task) {
        return task.state == state::Downloading && m_running.count(task.product) > 0;
    };
    auto downloads = std::count_if(list.cbegin(), list.cend(), runs);
    for (const UpgradeTask &task : list) {
        if (task.state == state::Downloading && !runs(task) && downloads++ < MaxDownloads)
            begin(task.product, [this, task](const std::atomic<bool> &stopping) { download(task, stopping); });
    }
}

// Any thread.
void UpgradeEngine::download(const UpgradeTask &task, const std::atomic<bool> &stopping)
{
    failIf(!QDir().mkpath(m_downloads), QStringLiteral("%1 cannot be made").arg(m_downloads));
    for (const UpgradeItem &item : task.items) {
        if (!QFile::exists(item.file))
            downloadPackage(item, &m_throttle, stopping);
    }
}

void UpgradeEngine::setState(const QString &product, int state, const QString &reason)
{
    UpgradeTask *task = find(product);
    task->state = state;
    task->error = reason.left(MaxError);
    storeState(task);
}

// A state that cannot be stored is kept in memory, reported with the task's error and stored later: with the state
// before, the task would start over again and again while the disk is full.
void UpgradeEngine::storeState(UpgradeTask *task)
{
    m_unstored.remove(task->product);
    const QString failure = errorOf([&] { m_store->save(*task); });
    if (failure.isEmpty())
        return;
    qCCritical(servicesLog).noquote() << QStringLiteral("task of %1: %2").arg(task->product, failure);
    m_unstored.insert(task->product, task->error);
    task->error += (task->error.isEmpty() ? QString() : QStringLiteral("; ")) +
                   QStringLiteral("the state cannot be stored: %1").arg(failure);
    if (!std::exchange(m_storesAgain, true))
        m_thread.post([this] { storeAgain(); }, StoreAgainMs);
}

void UpgradeEngine::storeAgain()
{
    m_storesAgain = false;
    for (UpgradeTask &task : m_tasks) {
        if (!m_unstored.contains(task.product))
            continue;
        task.error = m_unstored.value(task.product);
        storeState(&task);
    }
}

void UpgradeEngine::dropForeignFiles() const
{
    QSet<QString> wanted;
    for (const UpgradeTask &task : m_tasks) {
        for (const UpgradeItem &item : task.items) {
            if (task.isActive() || task.state == state::DownloadFailed)
                wanted << item.file << partOf(item.file);
        }
    }
    const QFileInfoList files = QDir(m_downloads).entryInfoList(QDir::Files);
    for (const QFileInfo &info : files) {
        if (!wanted.contains(info.filePath()))
            QFile::remove(info.filePath());
    }
}

} // namespace tarn::services
