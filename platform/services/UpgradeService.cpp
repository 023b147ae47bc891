#include "services/Files.h"
#include "services/Services.h"
#include "services/SilentPatch.h"
#include "services/UpgradeEngine.h"
#include "tarn/link/UpgradeWire.h"
#include <QDeadlineTimer>
#include <QDir>
#include <QHash>
#include <QMutex>
#include <QSettings>
#include <algorithm>

namespace tarn::services {

using namespace upgrade;
using rpc::CallResult;
namespace wire = link::wire;

namespace {

constexpr unsigned long PollMs = 100;  // between two looks at a task
constexpr int ShownAsRunningMs = 2500; // a window asks once a second
constexpr int MaxPageBytes = 360000;   // at most 60,000 values; a message has room for 65,536

QVariantMap toMap(const Offer &ignored)
{
    return {{wire::ignored::Product, ignored.product}, {wire::ignored::Bits, ignored.bits},
            {wire::ignored::Kind, ignored.kind},       {wire::ignored::Item, ignored.item},
            {wire::ignored::Version, ignored.version}, {wire::ignored::Time, timeText(ignored.time)}};
}

QVariantMap recordOf(const QVariantList &records, const QString &product)
{
    for (const QVariant &record : records) {
        const QVariantMap map = record.toMap();
        if (map.value(key::SoftwareName).toString() == product)
            return map;
    }
    return {};
}

class UpgradeService final : public Dispatcher<UpgradeService>
{
public:
    UpgradeService(const QString &directory, const UpgradePaths &paths, const Presenter &presenter)
        : Dispatcher({QStringLiteral("upgrade"), code::Ok, code::Refused, code::InvalidArgs},
                     {
                         {QStringLiteral("CheckNewVersion"), &UpgradeService::checkNewVersion},
                         {QStringLiteral("IgnoreUpgrade"), &UpgradeService::ignoreUpgrade},
                         {QStringLiteral("StartDownload"), &UpgradeService::startDownload},
                         {QStringLiteral("QueryTaskInfos"), &UpgradeService::queryTaskInfos},
                         {QStringLiteral("StopUpgrade"), &UpgradeService::stopUpgrade},
                         {QStringLiteral("InstallSoftware"), &UpgradeService::installSoftware},
                         {wire::method::PatchSilently, &UpgradeService::patchSilently},
                         {wire::method::AnnounceUpdates, &UpgradeService::announce},
                         {wire::method::ShowNotes, &UpgradeService::showNotes},
                         {wire::method::UpgradeStatus, &UpgradeService::status},
                         {wire::method::ForgetIgnores, &UpgradeService::forgetIgnores},
                     })
        , m_paths(paths)
        , m_presenter(presenter)
        , m_store(directory)
        , m_engine(&m_store, m_paths.apps, directory + QStringLiteral("/downloads"), m_paths.bandwidth)
    {
    }

private:
    Catalogue catalogue() const
    {
        Catalogue catalogue;
        const QString error = errorOf([&] { catalogue = readCatalogue(m_paths.catalogue, m_paths.publicKey); });
        failIf(!error.isEmpty(), QStringLiteral("the catalogue cannot be used: %1").arg(error));
        return catalogue;
    }

    QVariantList findUpdates(bool withIgnored)
    {
        QSet<QString> ignored;
        if (!withIgnored) {
            for (const Offer &offer : m_store.ignores())
                ignored.insert(offer.identity());
        }
        return updateRecords(readInstalledSoftware(m_paths.apps), catalogue(), ignored);
    }

    QVariantMap present(const QString &operation, const QVariantList &records) const
    {
        const QString reason = whyNotShown(operation, m_presenter(operation, {{}, records}));
        return {{wire::Shown, reason.isEmpty()}, {wire::ShowError, reason}};
    }

    CallResult checkNewVersion(const Request &request)
    {
        QVariantList records = findUpdates(false);
        const QString product = request.optionalText(key::SoftwareName);
        if (!product.isEmpty()) {
            const QVariantMap record = recordOf(records, product);
            records = record.isEmpty() ? QVariantList() : QVariantList{record};
        }
        return ok({{wire::Offered, records.size()}}, records);
    }

    CallResult ignoreUpgrade(const Request &request)
    {
        const QString product = request.name(key::IgnoredName);
        const QVariantMap &values = request.values();
        const QString bits = values.value(key::Bitness).toString();
        QList<Offer> offers = offersOf(product, bits, values);
        const QString version = values.value(key::IgnoredVersion).toString(); // empty from the check-update prompt
        if (offers.isEmpty() && !version.isEmpty())
            offers << Offer{product, bits, key::Software, {}, version};
        require(!offers.isEmpty(), QStringLiteral("the request names no version to ignore"));
        for (const Offer &offer : qAsConst(offers))
            require(
                std::max({bits.size(), offer.item.size(), offer.version.size()}) <= ValueReader::MaxName,
                QStringLiteral("a name or version to ignore is longer than %1 characters").arg(ValueReader::MaxName));
        m_store.ignore(offers);
        return ok();
    }

    // A product that cannot be exchanged becomes a failed task: the status and the window's row give the reason.
    CallResult startDownload(const Request &request)
    {
        const QString product = request.name(key::SoftwareName);
        const InstalledProducts installed = readInstalledSoftware(m_paths.apps);
        UpgradeTask task = makeTask(request.values(), catalogue(), installed);
        task.error = whyNotWritable(installed.value(product));
        if (!task.error.isEmpty())
            task.state = state::DownloadFailed;
        if (m_engine.start(task)) {
            const QMutexLocker lock(&m_startsLock);
            m_starts.insert(product, QDeadlineTimer(ShownAsRunningMs));
        }
        const QVariantMap shown = present(QStringLiteral("showUpgradeDownloadDialog"), {});
        failIf(!task.error.isEmpty(), task.error);
        return ok(shown);
    }

    // A window has rows for tasks that it saw running only, and tells of a failure in the row. So a task that failed at once
    // is given as a running one for the time of some questions.
    QVariantList firstSeenRunning(QVariantList rows)
    {
        const QMutexLocker lock(&m_startsLock);
        for (QVariant &row : rows) {
            QVariantMap task = row.toMap();
            if (task.value(key::Status).toInt() != state::DownloadFailed ||
                m_starts.value(task.value(key::SoftName).toString()).hasExpired())
                continue;
            task.insert(key::Status, int(state::Downloading));
            task.insert(key::ErrMsg, QString());
            row = task;
        }
        return rows;
    }

    // The requested page of rows, which are ordered by their places.
    static Page pageOf(const QMap<qint64, QVariantMap> &rows, const Request &request)
    {
        const QString cursor = request.values().value(wire::Cursor).toString();
        bool isPlace = cursor.isEmpty();
        auto row = isPlace ? rows.cbegin() : rows.upperBound(cursor.toLongLong(&isPlace));
        if (!isPlace)
            throw noSuchPlace(cursor);
        Page page(MaxPageBytes);
        while (row != rows.cend() && page.add(*row, QString::number(row.key())))
            ++row;
        return page;
    }

    static bool isWhole(const Page &page, const Request &request) // the only page
    {
        return page.values.isEmpty() && !request.values().contains(wire::Cursor);
    }

    QMap<qint64, QVariantMap> taskRows()
    {
        QMap<qint64, QVariantMap> rows;
        for (const UpgradeTask &task : m_engine.tasks())
            rows.insert(task.id, toTaskMap(task));
        return rows;
    }

    // As "taskInfoList" while all tasks fit into one message, else in pages.
    CallResult queryTaskInfos(const Request &request)
    {
        const Page page = pageOf(taskRows(), request);
        const QVariantList rows = firstSeenRunning(page.list);
        return isWhole(page, request) ? ok({{key::TaskInfoList, rows}}) : ok(page.values, rows);
    }

    CallResult stopUpgrade(const Request &request)
    {
        const QString product = request.name(key::SoftwareName);
        failIf(!m_engine.stop(product), QStringLiteral("no task of \"%1\"").arg(product));
        return ok();
    }

    CallResult installSoftware(const Request &request)
    {
        const QString product = request.name(key::SoftwareName);
        const bool isAwaited = request.flag(key::WaitForFinished);
        m_engine.install(product);
        if (isAwaited)
            awaitInstallation(product, request.context);
        return ok();
    }

    // Returns when it is installed, or when the caller no longer waits.
    void awaitInstallation(const QString &product, const rpc::ICallContext &context)
    {
        while (!context.isCancelled()) {
            const UpgradeTask task = m_engine.taskOf(product);
            if (task.state == state::Installed || (task.state != state::Installing && task.error.isEmpty()))
                return;
            failIf(task.state != state::Installing, task.error);
            QThread::msleep(PollMs);
        }
    }

    CallResult patchSilently(const Request &request)
    {
        const QString product = request.name(key::SoftwareName);
        const InstalledProducts installed = readInstalledSoftware(m_paths.apps);
        const UpgradeTask task = patchTask(product, installed);
        return services::patchSilently({m_engine, m_presenter, request.context}, installed.value(product), task,
                                       request.flag(wire::KillRunning));
    }

    // For the patch of the installed version, whether or not it is ignored or there is a new version as well.
    UpgradeTask patchTask(const QString &product, const InstalledProducts &installed) const
    {
        const Catalogue offered = catalogue();
        const QVariantMap record = recordOf(updateRecords(installed, offered), product);
        const QString section = record.contains(key::Patch) ? key::Patch : key::OldPatch;
        const QVariant patch = record.value(section);
        failIf(patch.toMap().isEmpty(), QStringLiteral("there is no patch for \"%1\"").arg(product));
        const QString blocked = whyNotWritable(installed.value(product));
        failIf(!blocked.isEmpty(), blocked);
        return makeTask({{key::SoftwareName, product}, {section, patch}}, offered, installed);
    }

    CallResult announce(const Request &request)
    {
        const bool isShown = request.flag(wire::Show, true);
        const QVariantList records = findUpdates(false);
        QVariantMap values{{wire::Shown, false}, {wire::ShowError, QString()}};
        if (!records.isEmpty() && isShown)
            values = present(QStringLiteral("showAutoCheckUpdateDialog"), records);
        values.insert(wire::Offered, records.size());
        return ok(values, records);
    }

    CallResult showNotes(const Request &request)
    {
        const QString product = request.name(key::SoftwareName);
        const QVariantMap record = recordOf(findUpdates(true), product);
        failIf(record.isEmpty(), QStringLiteral("nothing is new for \"%1\"").arg(product));
        return ok(present(QStringLiteral("showUpgradeExplainDialog"), {record}));
    }

    // As Ignores and Tasks while all fit into one message, else in pages: the ignored updates, whose places are
    // negative, and then the tasks.
    CallResult status(const Request &request)
    {
        QMap<qint64, QVariantMap> rows = taskRows();
        const QList<Offer> ignores = m_store.ignores();
        const int count = ignores.size();
        for (int i = 0; i < count; ++i)
            rows.insert(i - count, toMap(ignores.at(i)));
        const Page page = pageOf(rows, request);
        if (isWhole(page, request))
            return ok({{wire::Ignores, page.list.mid(0, count)}, {wire::Tasks, page.list.mid(count)}});
        return ok(page.values, page.list);
    }

    CallResult forgetIgnores(const Request &request)
    {
        return ok({{wire::Removed, m_store.forgetIgnores(request.optionalText(key::SoftwareName))}});
    }

    const UpgradePaths m_paths;
    const Presenter m_presenter;
    UpgradeStore m_store;
    UpgradeEngine m_engine;
    QMutex m_startsLock;
    QHash<QString, QDeadlineTimer> m_starts; ///< by product: until when its failed task is given as a running one
};

} // namespace

UpgradePaths UpgradePaths::ofProgram(const QString &programDirectory)
{
    const QDir directory(programDirectory);
    QSettings settings(settingsFile(programDirectory), QSettings::IniFormat);
    settings.setIniCodec("UTF-8");
    const auto path = [&](const QString &key, const QString &otherwise) {
        const QString configured = iniText(settings, key);
        return QDir::cleanPath(directory.absoluteFilePath(configured.isEmpty() ? otherwise : configured));
    };
    UpgradePaths paths;
    paths.catalogue =
        path(QStringLiteral("upgrade/catalogue"), QStringLiteral("System/share/tarn/catalogue/catalogue.json"));
    paths.apps = path(QStringLiteral("system/apps_path"), QStringLiteral("apps"));
    if (!QDir(paths.apps).exists())
        paths.apps = QStringLiteral("/opt/apps");
    const QString bandwidth = iniText(settings, QStringLiteral("upgrade/bandwidth"));
    bool isNumber = false;
    paths.bandwidth = bandwidth.toLongLong(&isNumber);
    if (!bandwidth.isEmpty() && (!isNumber || paths.bandwidth < 0))
        qCWarning(servicesLog).noquote() << QStringLiteral("cfg.ini, upgrade/bandwidth: expected a number of bytes per "
                                                           "second instead of \"%1\"; there is no limit")
                                                .arg(bandwidth);
    paths.publicKey = iniText(settings, QStringLiteral("upgrade/public_key"));
    return paths;
}

QSharedPointer<rpc::IInvocable> makeUpgradeService(const QString &directory, const UpgradePaths &paths,
                                                   const Presenter &presenter)
{
    return QSharedPointer<UpgradeService>::create(directory, paths, presenter);
}

} // namespace tarn::services
