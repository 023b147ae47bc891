#include "services/UpgradeService.h"
#include "services/Files.h"
#include "services/Log.h"
#include "services/Paging.h"
#include "services/RequestReader.h"
#include "services/SilentPatch.h"
#include "services/UpgradeEngine.h"
#include "services/UpgradeStore.h"
#include "tarn/keys/UpgradeKeys.h"
#include "tarn/link/MessageWire.h"
#include "tarn/link/UpgradeWire.h"
#include <QDateTime>
#include <QDir>
#include <QSet>
#include <QSettings>
#include <algorithm>
#include <utility>

namespace tarn::services {

using namespace upgrade;
using rpc::Bag;
using rpc::CallResult;
namespace wire = link::wire;

namespace {

// error: the error, empty on success.
CallResult answer(const QString &error, Bag output = {})
{
    return error.isEmpty() ? acceptedWith(code::Ok, std::move(output)) : refusedWith(code::Refused, error);
}

QString identity(const Offer &offer)
{
    return QStringList{offer.product, offer.bits, offer.kind, offer.item, offer.version}.join(QChar(0x1F));
}

QVariantMap toMap(const UpgradeStore::Ignored &entry)
{
    const QString time = QDateTime::fromMSecsSinceEpoch(entry.time).toString(QStringLiteral("yyyy-MM-dd hh:mm:ss"));
    return {{wire::ignored::Product, entry.offer.product}, {wire::ignored::Bits, entry.offer.bits},
            {wire::ignored::Kind, entry.offer.kind},       {wire::ignored::Item, entry.offer.item},
            {wire::ignored::Version, entry.offer.version}, {wire::ignored::Time, time}};
}

QVariantList toMaps(const QList<UpgradeTask> &tasks)
{
    QVariantList list;
    for (const UpgradeTask &task : tasks)
        list << toTaskMap(task);
    return list;
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

UpgradeService::UpgradeService(const QString &directory, UpgradePaths paths, Presenter presenter)
    : m_paths(std::move(paths))
    , m_presenter(std::move(presenter))
{
    const UpgradeEngine::Settings settings{m_paths.apps, directory + QStringLiteral("/downloads"), m_paths.bandwidth};
    m_thread.run([&] {
        m_store = std::make_unique<UpgradeStore>(directory);
        m_engine = std::make_unique<UpgradeEngine>(m_store.get(), settings, [this] { m_changed.wakeAll(); });
        m_engine->resume();
    });
}

UpgradeService::~UpgradeService()
{
    m_thread.run([&] {
        m_engine.reset();
        m_store.reset();
    });
}

const HandlerTable<UpgradeService> &UpgradeService::handlers()
{
    static const HandlerTable<UpgradeService> table{
        {QStringLiteral("CheckNewVersion"), &UpgradeService::checkNewVersion},
        {QStringLiteral("IgnoreUpgrade"), &UpgradeService::ignoreUpgrade},
        {QStringLiteral("StartDownload"), &UpgradeService::startDownload},
        {QStringLiteral("QueryTaskInfos"), &UpgradeService::queryTaskInfos},
        {QStringLiteral("StopUpgrade"), &UpgradeService::stopUpgrade},
        {wire::method::AnnounceUpdates, &UpgradeService::announce},
        {wire::method::ShowNotes, &UpgradeService::showNotes},
        {wire::method::UpgradeStatus, &UpgradeService::status},
        {wire::method::ForgetIgnores, &UpgradeService::forgetIgnores},
    };
    return table;
}

CallResult UpgradeService::invoke(const QString &method, const Bag &input, const rpc::ICallContext &context)
{
    // The two that can take long look after their caller.
    if (method == QLatin1String("InstallSoftware"))
        return logged(method, installSoftware(input, context));
    if (method == wire::method::PatchSilently)
        return logged(method, patchSilently(input, context));
    return dispatch(this, handlers(), QStringLiteral("upgrade"), method, input);
}

QString UpgradeService::store(const std::function<QString(UpgradeStore &)> &work)
{
    QString error;
    m_thread.run([&] { error = work(*m_store); });
    return error;
}

QString UpgradeService::engine(const std::function<QString(UpgradeEngine &)> &work)
{
    QString error;
    m_thread.run([&] { error = work(*m_engine); });
    return error;
}

QString UpgradeService::findUpdates(bool withIgnored, QVariantList *records)
{
    Catalogue catalogue;
    QString error = readCatalogue(m_paths.catalogue, m_paths.publicKey, &catalogue);
    if (!error.isEmpty())
        return QStringLiteral("the catalogue cannot be used: %1").arg(error);
    QList<UpgradeStore::Ignored> ignores;
    error = store([&](UpgradeStore &s) { return s.ignores(&ignores); });
    QSet<QString> ignored;
    if (!withIgnored) {
        for (const UpgradeStore::Ignored &entry : qAsConst(ignores))
            ignored.insert(identity(entry.offer));
    }
    *records = updateRecords(readInstalledSoftware(m_paths.apps), catalogue,
                             [&](const Offer &offer) { return ignored.contains(identity(offer)); });
    return error;
}

void UpgradeService::present(const QString &operation, const QVariantList &records, QVariantMap *answer)
{
    const CallResult shown = m_presenter(operation, {{}, records});
    const QString reason = whyNotShown(operation, shown);
    answer->insert(wire::Shown, reason.isEmpty());
    answer->insert(wire::ShowError, reason);
}

CallResult UpgradeService::checkNewVersion(const Bag &input)
{
    QVariantList records;
    const QString error = findUpdates(false, &records);
    const QString product = input.values.value(key::SoftwareName).toString();
    if (!product.isEmpty()) {
        const QVariantMap record = recordOf(records, product);
        records = record.isEmpty() ? QVariantList() : QVariantList{record};
    }
    return answer(error, {{{wire::Offered, records.size()}}, records});
}

CallResult UpgradeService::ignoreUpgrade(const Bag &input)
{
    RequestReader request(input.values);
    const QString product = request.name(key::IgnoredName);
    if (!request.error().isEmpty())
        return refusedWith(code::InvalidArgs, request.error());
    const QString bits = input.values.value(key::Bitness).toString();
    QList<Offer> offers = offersOf(product, bits, input.values);
    const QString version = input.values.value(key::IgnoredVersion).toString(); // empty from the check-update prompt
    if (offers.isEmpty() && !version.isEmpty())
        offers << Offer{product, bits, key::Software, {}, version};
    if (offers.isEmpty())
        return refusedWith(code::InvalidArgs, QStringLiteral("the request names no version to ignore"));
    return answer(store([&](UpgradeStore &s) { return s.ignore(offers); }));
}

// A product that cannot be exchanged becomes a failed task: the window and the status show the reason as well.
CallResult UpgradeService::startDownload(const Bag &input)
{
    RequestReader request(input.values);
    const QString product = request.name(key::SoftwareName);
    if (!request.error().isEmpty())
        return refusedWith(code::InvalidArgs, request.error());
    Catalogue catalogue;
    const QList<InstalledSoftware> installed = readInstalledSoftware(m_paths.apps);
    QString error = readCatalogue(m_paths.catalogue, m_paths.publicKey, &catalogue);
    UpgradeTask task;
    if (error.isEmpty())
        error = makeTask(input.values, catalogue, installed, &task);
    if (error.isEmpty())
        task.error = whyNotWritable(installed, product);
    if (!task.error.isEmpty())
        task.state = state::DownloadFailed;
    if (error.isEmpty())
        error = engine([&](UpgradeEngine &e) { return e.start(task); });
    QVariantMap values;
    if (error.isEmpty())
        present(QStringLiteral("showUpgradeDownloadDialog"), {}, &values);
    return answer(error.isEmpty() ? task.error : error, {values, {}});
}

// As "taskInfoList" while all tasks fit into one message, else in pages: a list and the place of the next page.
CallResult UpgradeService::queryTaskInfos(const Bag &input)
{
    QList<UpgradeTask> tasks;
    const QString error = engine([&](UpgradeEngine &e) { return e.tasks(&tasks); });
    const QString place = input.values.value(wire::Cursor).toString();
    const qint64 after = place.toLongLong();
    Bag output;
    qint64 bytes = 0;
    qint64 last = 0;
    for (const UpgradeTask &task : qAsConst(tasks)) {
        if (task.id <= after)
            continue;
        const QVariantMap map = toTaskMap(task);
        bytes += estimatedBytes(map);
        if (bytes > PageBytes && !output.list.isEmpty()) {
            output.values.insert(wire::Cursor, QString::number(last));
            break;
        }
        output.list << map;
        last = task.id;
    }
    if (place.isEmpty() && output.values.isEmpty())
        output = {{{key::TaskInfoList, output.list}}, {}};
    return answer(error, output);
}

CallResult UpgradeService::stopUpgrade(const Bag &input)
{
    RequestReader request(input.values);
    const QString product = request.name(key::SoftwareName);
    if (!request.error().isEmpty())
        return refusedWith(code::InvalidArgs, request.error());
    bool known = false;
    const QString error = engine([&](UpgradeEngine &e) { return e.stop(product, &known); });
    return known || !error.isEmpty() ? answer(error)
                                     : refusedWith(code::Refused, QStringLiteral("no task of \"%1\"").arg(product));
}

CallResult UpgradeService::installSoftware(const Bag &input, const rpc::ICallContext &context)
{
    RequestReader request(input.values);
    const QString product = request.name(key::SoftwareName);
    if (!request.error().isEmpty())
        return refusedWith(code::InvalidArgs, request.error());
    const QString error = engine([&](UpgradeEngine &e) { return e.install(product); });
    const bool waits = input.values.value(key::WaitForFinished).toBool();
    return answer(error.isEmpty() && waits ? awaitInstallation(product, context) : error);
}

// Empty when it is installed, or when the caller no longer waits.
QString UpgradeService::awaitInstallation(const QString &product, const rpc::ICallContext &context)
{
    UpgradeTask task;
    while (!context.isCancelled()) {
        QString error = engine([&](UpgradeEngine &e) { return e.taskOf(product, &task); });
        if (!error.isEmpty())
            return error;
        if (task.state != state::Installing)
            return task.state == state::Installed ? QString() : task.error;
        waitForChange();
    }
    return {};
}

// Of the state of a task; not for long, since the caller may go as well.
void UpgradeService::waitForChange()
{
    constexpr unsigned long LookMs = 200;
    const QMutexLocker locker(&m_changedLock);
    m_changed.wait(&m_changedLock, LookMs);
}

CallResult UpgradeService::patchSilently(const Bag &input, const rpc::ICallContext &context)
{
    RequestReader request(input.values);
    const QString product = request.name(key::SoftwareName);
    if (!request.error().isEmpty())
        return refusedWith(code::InvalidArgs, request.error());
    InstalledSoftware software;
    UpgradeTask task;
    QString error = makePatchTask(product, &software, &task);
    if (!error.isEmpty())
        return refusedWith(code::Refused, error);
    SilentPatch patch({[this](const std::function<QString(UpgradeEngine &)> &work) { return engine(work); },
                       m_presenter, [this] { waitForChange(); }, [&context] { return context.isCancelled(); }},
                      software, task);
    error = patch.run(input.values.value(wire::KillRunning).toBool());
    QVariantMap values = patch.report();
    values.insert(key::NewVersion, task.items.constFirst().version);
    CallResult result = answer(error);
    result.output.values = values; // a refusal tells as well how far it has come
    return result;
}

// For the patch of the installed version, whether or not it is ignored or there is a new version as well.
QString UpgradeService::makePatchTask(const QString &product, InstalledSoftware *software, UpgradeTask *task) const
{
    Catalogue catalogue;
    const QString error = readCatalogue(m_paths.catalogue, m_paths.publicKey, &catalogue);
    if (!error.isEmpty())
        return QStringLiteral("the catalogue cannot be used: %1").arg(error);
    const QList<InstalledSoftware> installed = readInstalledSoftware(m_paths.apps);
    const QVariantMap record =
        recordOf(updateRecords(installed, catalogue, [](const Offer &) { return false; }), product);
    const QString section = record.contains(key::Patch) ? key::Patch : key::OldPatch;
    const QVariant patch = record.value(section);
    if (patch.toMap().isEmpty())
        return QStringLiteral("there is no patch for \"%1\"").arg(product);
    const QString blocked = whyNotWritable(installed, product);
    if (!blocked.isEmpty())
        return blocked;
    *software = *std::find_if(installed.cbegin(), installed.cend(),
                              [&](const InstalledSoftware &one) { return one.name == product; });
    return makeTask({{key::SoftwareName, product}, {section, patch}}, catalogue, installed, task);
}

CallResult UpgradeService::announce(const Bag &input)
{
    QVariantList records;
    const QString error = findUpdates(false, &records);
    QVariantMap values{{wire::Offered, records.size()}, {wire::Shown, false}, {wire::ShowError, QString()}};
    if (error.isEmpty() && !records.isEmpty() && input.values.value(wire::Show, true).toBool())
        present(QStringLiteral("showAutoCheckUpdateDialog"), records, &values);
    return answer(error, {values, records});
}

CallResult UpgradeService::showNotes(const Bag &input)
{
    RequestReader request(input.values);
    const QString product = request.name(key::SoftwareName);
    if (!request.error().isEmpty())
        return refusedWith(code::InvalidArgs, request.error());
    QVariantList records;
    const QString error = findUpdates(true, &records);
    const QVariantMap record = recordOf(records, product);
    if (error.isEmpty() && record.isEmpty())
        return refusedWith(code::Refused, QStringLiteral("nothing is new for \"%1\"").arg(product));
    QVariantMap values;
    if (error.isEmpty())
        present(QStringLiteral("showUpgradeExplainDialog"), {record}, &values);
    return answer(error, {values, {}});
}

CallResult UpgradeService::status(const Bag &input)
{
    Q_UNUSED(input)
    QList<UpgradeStore::Ignored> ignores;
    QList<UpgradeTask> tasks;
    QString error = store([&](UpgradeStore &s) { return s.ignores(&ignores); });
    if (error.isEmpty())
        error = engine([&](UpgradeEngine &e) { return e.tasks(&tasks); });
    QVariantList ignoreMaps;
    for (const UpgradeStore::Ignored &entry : qAsConst(ignores))
        ignoreMaps << toMap(entry);
    return answer(error, {{{wire::Ignores, ignoreMaps}, {wire::Tasks, toMaps(tasks)}}, {}});
}

CallResult UpgradeService::forgetIgnores(const Bag &input)
{
    int removed = 0;
    const QString product = input.values.value(key::SoftwareName).toString();
    const QString error = store([&](UpgradeStore &s) { return s.forgetIgnores(product, &removed); });
    return answer(error, {{{wire::Removed, removed}}, {}});
}

} // namespace tarn::services
