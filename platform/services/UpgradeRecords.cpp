#include "services/UpgradeRecords.h"
#include "services/Failure.h"
#include <QJsonDocument>
#include <QJsonObject>
#include <algorithm>

namespace tarn::services {

using namespace upgrade;

namespace {

// Every list of the tasks holds their sections: one task must not make it larger than a message may be.
constexpr int MaxSections = 120000; // bytes as JSON: at most 60,000 values
constexpr int MaxDepth = 10;

int depthOf(const QVariant &value)
{
    int depth = 0;
    const QVariantList children = value.type() == QVariant::Map ? value.toMap().values() : value.toList();
    for (const QVariant &each : children)
        depth = std::max(depth, 1 + depthOf(each));
    return depth;
}

QVariantMap section(const CatalogueItem &item, const QString &installedVersion)
{
    QVariantMap section = item.section;
    section.insert(key::CurrentVersion, installedVersion);
    section.insert(key::InstalledVersion, installedVersion);
    return section;
}

// The newest patch for the installed version, unless it is installed already. Patches change the installed version's
// last number, so its own version is shown to the user.
QVariantMap patchSection(const InstalledSoftware &installed, const CatalogueProduct &offered)
{
    const QString &current = installed.patchVersion;
    const CatalogueItem *best = nullptr;
    for (const CatalogueItem &patch : offered.patches) {
        const QString &version = patch.package.version;
        if (patch.forVersion == installed.version && (current.isEmpty() || isNewer(version, current)) &&
            (!best || isNewer(version, best->package.version)))
            best = &patch;
    }
    return best ? section(*best, current.isEmpty() ? installed.version : current) : QVariantMap();
}

// The update record of a product; empty when there is nothing to offer.
QVariantMap updateRecord(const InstalledSoftware &installed, const CatalogueProduct &offered,
                         const QSet<QString> &ignores)
{
    QVariantMap news;
    const auto ignored = [&](const QString &kind, const QString &item, const QString &version) {
        return ignores.contains(Offer{installed.name, installed.bits, kind, item, version}.identity());
    };
    QVariantList plugins;
    for (const CatalogueItem &plugin : offered.plugins) {
        const UpgradeItem &item = plugin.package;
        const auto have = installed.plugins.constFind(item.name);
        if (have != installed.plugins.constEnd() && isNewer(item.version, *have) &&
            !ignored(key::Plugins, item.name, item.version))
            plugins << section(plugin, *have);
    }
    if (!plugins.isEmpty())
        news.insert(key::Plugins, plugins);
    const QString &release = offered.release.package.version;
    const bool hasRelease = isNewer(release, installed.version);
    const QVariantMap patch = patchSection(installed, offered);
    if (hasRelease && !ignored(key::Software, {}, release)) {
        news.insert(key::Software, section(offered.release, installed.version));
        if (!patch.isEmpty())
            news.insert(key::OldPatch, patch);
    }
    if (!hasRelease && !patch.isEmpty() && !ignored(key::Patch, {}, patch.value(key::NewVersion).toString()))
        news.insert(key::Patch, patch);
    if (news.isEmpty())
        return {};
    QVariantMap record = offered.record;
    record.insert(news);
    record.insert(key::ExePath, installed.exePath);
    record.insert(key::SoftBytes, installed.bits);
    record.insert(key::CurrentVersion, installed.version);
    return record;
}

int itemType(const QString &kind)
{
    static const QHash<QString, int> types{
        {key::Plugins, item::Named}, {key::Patch, item::Patch}, {key::OldPatch, item::OldPatch}};
    return types.value(kind, item::Main);
}

// The catalogue's package for a wish. Throws Failure when there is none.
UpgradeItem findPackage(const CatalogueProduct &product, const Offer &wish)
{
    QList<CatalogueItem> items = wish.kind == key::Plugins ? product.plugins : product.patches;
    if (wish.kind == key::Software)
        items = {product.release};
    for (const CatalogueItem &each : qAsConst(items)) {
        UpgradeItem item = each.package;
        item.type = itemType(wish.kind);
        if (item.version == wish.version && (wish.item.isEmpty() || item.name == wish.item) && !item.url.isEmpty())
            return item;
    }
    throw Failure(QStringLiteral("no package of %1 %2")
                      .arg((wish.item.isEmpty() ? product.name : wish.item).left(100), wish.version.left(100)));
}

} // namespace

QString Offer::identity() const
{
    return QStringList{product, bits, kind, item, version}.join(QChar(0x1F));
}

QVariantList updateRecords(const InstalledProducts &installed, const Catalogue &catalogue, const QSet<QString> &ignores)
{
    QVariantList records;
    for (const CatalogueProduct &product : catalogue) {
        const auto software = installed.constFind(product.name);
        const QVariantMap record =
            software == installed.cend() ? QVariantMap() : updateRecord(*software, product, ignores);
        if (!record.isEmpty())
            records << record;
    }
    return records;
}

QList<Offer> offersOf(const QString &product, const QString &bits, const QVariantMap &sections)
{
    QList<Offer> offers;
    const auto add = [&](const QString &kind, const QString &item, const QVariantMap &values) {
        const QString version = values.value(key::NewVersion).toString();
        if (!version.isEmpty())
            offers << Offer{product, bits, kind, item, version};
    };
    add(key::Software, {}, sections.value(key::Software).toMap());
    add(key::Patch, {}, sections.value(key::Patch).toMap());
    const QVariantList plugins = sections.value(key::Plugins).toList();
    for (const QVariant &plugin : plugins)
        add(key::Plugins, plugin.toMap().value(key::SoftwareName).toString(), plugin.toMap());
    return offers;
}

UpgradeTask makeTask(const QVariantMap &request, const Catalogue &catalogue, const InstalledProducts &installed)
{
    UpgradeTask task;
    task.product = request.value(key::SoftwareName).toString();
    const auto product = std::find_if(catalogue.cbegin(), catalogue.cend(),
                                      [&](const CatalogueProduct &p) { return p.name == task.product; });
    const InstalledSoftware software = installed.value(task.product);
    failIf(product == catalogue.cend() || software.name.isEmpty(),
           QStringLiteral("no installed product \"%1\" in the catalogue").arg(task.product.left(100)));
    QList<Offer> list = offersOf(task.product, {}, request);
    const QString oldPatch = request.value(key::OldPatch).toMap().value(key::NewVersion).toString();
    if (!oldPatch.isEmpty())
        list << Offer{task.product, {}, key::OldPatch, {}, oldPatch};
    for (const Offer &wish : qAsConst(list))
        task.items << findPackage(*product, wish);
    failIf(task.items.isEmpty(), QStringLiteral("the request names nothing to download"));
    task.state = state::Downloading;
    task.currentVersion = software.version;
    task.exePath = software.exePath;
    for (const QString &section : {key::Software, key::Patch, key::Plugins, key::OldPatch}) {
        if (request.contains(section))
            task.sections.insert(section, request.value(section));
    }
    const QJsonObject stored = QJsonObject::fromVariantMap(task.sections); // which has no bytes and rectangles
    task.sections = stored.toVariantMap();
    require(QJsonDocument(stored).toJson(QJsonDocument::Compact).size() <= MaxSections &&
                depthOf(task.sections) <= MaxDepth,
            QStringLiteral("the sections of the request have more than %1 bytes or %2 levels")
                .arg(QString::number(MaxSections), QString::number(MaxDepth)));
    return task;
}

QVariantMap toTaskMap(const UpgradeTask &task)
{
    QVariantMap map = task.sections;
    map.insert(key::SoftName, task.product);
    map.insert(key::ErrMsg, task.error);
    map.insert(key::CurrentVersion, task.currentVersion);
    map.insert(key::ExeFilePath, task.exePath);
    map.insert(key::Status, task.state);
    if (task.items.isEmpty())
        return map;
    const auto pending = std::find_if(task.items.cbegin(), task.items.cend(),
                                      [](const UpgradeItem &item) { return item.received < item.size; });
    const UpgradeItem &working = pending == task.items.cend() ? task.items.constLast() : *pending;
    map.insert(key::WorkingItem, QVariantMap{{key::ItemType, working.type},
                                             {key::UpdateName, working.name},
                                             {key::UpdateVersion, working.version},
                                             {key::CurrentSize, working.received},
                                             {key::TotalSize, working.size}});
    return map;
}

} // namespace tarn::services
