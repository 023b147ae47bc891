#include "services/UpgradeService.h"
#include "services/Dispatch.h"
#include "services/Files.h"
#include "services/Paging.h"
#include "services/SilentPatch.h"
#include "services/UpgradeEngine.h"
#include "services/UpgradeStore.h"
#include "tarn/keys/UpgradeKeys.h"
#include "tarn/link/MessageWire.h"
#include "tarn/link/UpgradeWire.h"
#include <QDir>
#include <QSet>
#include <QSettings>

namespace tarn::services {

using namespace upgrade;
using rpc::Bag;
using rpc::CallResult;
namespace wire = link::wire;

namespace {

CallResult ok(const QVariantMap &values = {}, const QVariantList &list = {})
{
    return acceptedWith(code::Ok, {values, list});
}

QString identity(const Offer &offer)
{
    return QStringList{offer.product, offer.bits, offer.kind, offer.item, offer.version}.join(QChar(0x1F));
}

QVariantMap toMap(const UpgradeStore::Ignored &entry)
{
    return {{wire::ignored::Product, entry.offer.product}, {wire::ignored::Bits, entry.offer.bits},
            {wire::ignored::Kind, entry.offer.kind},       {wire::ignored::Item, entry.offer.item},
            {wire::ignored::Version, entry.offer.version}, {wire::ignored::Time, timeText(entry.time)}};
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

class UpgradeService final : public rpc::IInvocable
{
public:
    UpgradeService(const QString &directory, const UpgradePaths &paths, const UpgradePresenter &presenter)
        : m_paths(paths)
        , m_presenter(presenter)
        , m_store(directory)
        , m_engine(&m_store, {m_paths.apps, directory + QStringLiteral("/downloads"), m_paths.bandwidth})
    {
    }

    CallResult invoke(const QString &method, const Bag &input, const rpc::ICallContext &context) override
    {
        static const HandlerTable<UpgradeService> handlers{
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
        };
        static const ServiceFamily family{QStringLiteral("upgrade"), code::Refused, code::InvalidArgs};
        return dispatch(this, handlers, family, method, {input, context});
    }

private:
    Catalogue catalogue() const
    {
        Catalogue catalogue;
        const QString error = errorOf([&] { catalogue = readCatalogue(m_paths.catalogue, m_paths.publicKey); });
        if (!error.isEmpty())
            throw Failure(QStringLiteral("the catalogue cannot be used: %1").arg(error));
        return catalogue;
    }

    QVariantList findUpdates(bool withIgnored)
    {
        const Catalogue offered = catalogue();
        const QList<UpgradeStore::Ignored> ignores = m_store.ignores();
        QSet<QString> ignored;
        for (const UpgradeStore::Ignored &entry : ignores)
            ignored.insert(identity(entry.offer));
        return updateRecords(readInstalledSoftware(m_paths.apps), offered,
                             [&](const Offer &offer) { return !withIgnored && ignored.contains(identity(offer)); });
    }

    QVariantMap present(const QString &operation, const QVariantList &records) const
    {
        const QString reason = whyNotShown(operation, m_presenter(operation, {{}, records}));
        return {{wire::Shown, reason.isEmpty()}, {wire::ShowError, reason}};
    }

    CallResult checkNewVersion(const Request &request)
    {
        QVariantList records = findUpdates(false);
        const QString product = request.values().value(key::SoftwareName).toString();
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
        m_store.ignore(offers);
        return ok();
    }

    // A product that cannot be exchanged becomes a failed task: the window and the status show the reason as well.
    CallResult startDownload(const Request &request)
    {
        const QString product = request.name(key::SoftwareName);
        const QList<InstalledSoftware> installed = readInstalledSoftware(m_paths.apps);
        UpgradeTask task = makeTask(request.values(), readCatalogue(m_paths.catalogue, m_paths.publicKey), installed);
        task.error = whyNotWritable(installed, product);
        if (!task.error.isEmpty())
            task.state = state::DownloadFailed;
        m_engine.start(task);
        const QVariantMap shown = present(QStringLiteral("showUpgradeDownloadDialog"), {});
        return task.error.isEmpty() ? ok(shown) : refusedWith(code::Refused, task.error);
    }

    // The place that a cursor names; start without one.
    static qint64 placeOf(const QString &cursor, qint64 start)
    {
        bool good = cursor.isEmpty();
        const qint64 place = good ? start : cursor.toLongLong(&good);
        if (!good)
            throw noSuchPlace(cursor);
        return place;
    }

    // Adds the tasks behind a place of the list, which is a task's id.
    static void addTasks(const QList<UpgradeTask> &tasks, qint64 place, Page *page)
    {
        for (const UpgradeTask &task : tasks) {
            if (task.id > place && !page->add(toTaskMap(task), QString::number(task.id)))
                return;
        }
    }

    // As "taskInfoList" while all tasks fit into one message, else in pages.
    CallResult queryTaskInfos(const Request &request)
    {
        const QString cursor = request.values().value(wire::Cursor).toString();
        Page page;
        addTasks(m_engine.tasks(), placeOf(cursor, 0), &page);
        if (cursor.isEmpty() && page.isLast())
            return ok({{key::TaskInfoList, page.bag.list}});
        return acceptedWith(code::Ok, page.bag);
    }

    CallResult stopUpgrade(const Request &request)
    {
        const QString product = request.name(key::SoftwareName);
        if (!m_engine.stop(product))
            throw Failure(QStringLiteral("no task of \"%1\"").arg(product));
        return ok();
    }

    CallResult installSoftware(const Request &request)
    {
        const QString product = request.name(key::SoftwareName);
        m_engine.install(product);
        if (request.values().value(key::WaitForFinished).toBool())
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
            if (task.state != state::Installing)
                throw Failure(task.error);
            m_engine.awaitChange();
        }
    }

    CallResult patchSilently(const Request &request)
    {
        const QString product = request.name(key::SoftwareName);
        const QList<InstalledSoftware> installed = readInstalledSoftware(m_paths.apps);
        const UpgradeTask task = patchTask(product, installed);
        const PatchTools tools{m_engine, m_presenter, request.context};
        QVariantMap report;
        const QString error = services::patchSilently(tools, *findSoftware(installed, product), task,
                                                      request.values().value(wire::KillRunning).toBool(), &report);
        CallResult result = error.isEmpty() ? ok() : refusedWith(code::Refused, error);
        result.output.values = report; // a refusal tells as well how far it has come
        result.output.values.insert(key::NewVersion, task.items.constFirst().version);
        return result;
    }

    // For the patch of the installed version, whether or not it is ignored or there is a new version as well.
    UpgradeTask patchTask(const QString &product, const QList<InstalledSoftware> &installed) const
    {
        const Catalogue offered = catalogue();
        const QVariantMap record =
            recordOf(updateRecords(installed, offered, [](const Offer &) { return false; }), product);
        const QString section = record.contains(key::Patch) ? key::Patch : key::OldPatch;
        const QVariant patch = record.value(section);
        if (patch.toMap().isEmpty())
            throw Failure(QStringLiteral("there is no patch for \"%1\"").arg(product));
        const QString blocked = whyNotWritable(installed, product);
        if (!blocked.isEmpty())
            throw Failure(blocked);
        return makeTask({{key::SoftwareName, product}, {section, patch}}, offered, installed);
    }

    CallResult announce(const Request &request)
    {
        const QVariantList records = findUpdates(false);
        QVariantMap values{{wire::Shown, false}, {wire::ShowError, QString()}};
        if (!records.isEmpty() && request.values().value(wire::Show, true).toBool())
            values = present(QStringLiteral("showAutoCheckUpdateDialog"), records);
        values.insert(wire::Offered, records.size());
        return ok(values, records);
    }

    CallResult showNotes(const Request &request)
    {
        const QString product = request.name(key::SoftwareName);
        const QVariantMap record = recordOf(findUpdates(true), product);
        if (record.isEmpty())
            throw Failure(QStringLiteral("nothing is new for \"%1\"").arg(product));
        return ok(present(QStringLiteral("showUpgradeExplainDialog"), {record}));
    }

    // As Ignores and Tasks while all fit into one message, else in pages: the ignored updates, whose places are negative,
    // and then the tasks.
    CallResult status(const Request &request)
    {
        const QString cursor = request.values().value(wire::Cursor).toString();
        const QList<UpgradeStore::Ignored> ignores = m_store.ignores();
        const QList<UpgradeTask> tasks = m_engine.tasks();
        const int count = ignores.size();
        const qint64 place = placeOf(cursor, -count - 1);
        Page page;
        for (int i = 0; i < count && page.isLast(); ++i) {
            if (i - count > place)
                page.add(toMap(ignores.at(i)), QString::number(i - count));
        }
        if (page.isLast())
            addTasks(tasks, place, &page);
        if (cursor.isEmpty() && page.isLast())
            return ok({{wire::Ignores, page.bag.list.mid(0, count)}, {wire::Tasks, page.bag.list.mid(count)}});
        return acceptedWith(code::Ok, page.bag);
    }

    CallResult forgetIgnores(const Request &request)
    {
        const QString product = request.values().value(key::SoftwareName).toString();
        return ok({{wire::Removed, m_store.forgetIgnores(product)}});
    }

    const UpgradePaths m_paths;
    const UpgradePresenter m_presenter;
    UpgradeStore m_store;
    UpgradeEngine m_engine;
};

} // namespace

UpgradePaths UpgradePaths::ofProgram(const QString &programDirectory)
{
    const QDir directory(programDirectory);
    QSettings settings(settingsFile(programDirectory), QSettings::IniFormat);
    settings.setIniCodec("UTF-8");
    const auto path = [&](const QString &key, const QString &otherwise) {
        const QString configured = settings.value(key).toString();
        return QDir::cleanPath(directory.absoluteFilePath(configured.isEmpty() ? otherwise : configured));
    };
    UpgradePaths paths;
    paths.catalogue =
        path(QStringLiteral("upgrade/catalogue"), QStringLiteral("System/share/tarn/catalogue/catalogue.json"));
    paths.apps = path(QStringLiteral("system/apps_path"), QStringLiteral("apps"));
    if (!QDir(paths.apps).exists())
        paths.apps = QStringLiteral("/opt/apps");
    paths.bandwidth = settings.value(QStringLiteral("upgrade/bandwidth")).toLongLong();
    paths.publicKey = settings.value(QStringLiteral("upgrade/public_key")).toString().trimmed();
    return paths;
}

QSharedPointer<rpc::IInvocable> makeUpgradeService(const QString &directory, const UpgradePaths &paths,
                                                   const UpgradePresenter &presenter)
{
    return QSharedPointer<UpgradeService>::create(directory, paths, presenter);
}

} // namespace tarn::services
