#include "services/UpgradeTask.h"
#include "services/Failure.h"
#include "services/UpdateCheck.h"
#include "tarn/keys/UpgradeKeys.h"
#include <algorithm>

namespace tarn::services {

using namespace upgrade;

namespace {

const CatalogueItem *findItem(const QList<CatalogueItem> &items, const QString &name, const QString &version)
{
    const auto found = std::find_if(items.cbegin(), items.cend(), [&](const CatalogueItem &item) {
        return item.version == version && (name.isEmpty() || item.name == name);
    });
    return found == items.cend() ? nullptr : &*found;
}

// The catalogue's entry for a wish; null when it offers no such thing.
const CatalogueItem *findOffer(const CatalogueProduct &product, const Offer &wish)
{
    if (wish.kind == key::Plugins)
        return findItem(product.plugins, wish.item, wish.version);
    if (wish.kind == key::Patch || wish.kind == key::OldPatch)
        return findItem(product.patches, {}, wish.version);
    return product.release && product.release->version == wish.version ? &*product.release : nullptr;
}

int itemType(const QString &kind)
{
    if (kind == key::Plugins)
        return item::Named;
    if (kind == key::Patch)
        return item::Patch;
    return kind == key::OldPatch ? item::OldPatch : item::Main;
}

QList<Offer> wishes(const QString &product, const QVariantMap &request)
{
    QList<Offer> list = offersOf(product, {}, request);
    const QString oldPatch = request.value(key::OldPatch).toMap().value(key::NewVersion).toString();
    if (!oldPatch.isEmpty())
        list << Offer{product, {}, key::OldPatch, {}, oldPatch};
    return list;
}

} // namespace

bool UpgradeTask::isActive() const
{
    return state == state::Downloading || state == state::Downloaded || state == state::Installing;
}

UpgradeTask makeTask(const QVariantMap &request, const Catalogue &catalogue, const QList<InstalledSoftware> &installed)
{
    UpgradeTask task;
    task.product = request.value(key::SoftwareName).toString();
    const auto product = std::find_if(catalogue.cbegin(), catalogue.cend(),
                                      [&](const CatalogueProduct &p) { return p.name == task.product; });
    const InstalledSoftware *software = findSoftware(installed, task.product);
    if (product == catalogue.cend() || !software)
        throw Failure(QStringLiteral("no installed product \"%1\" in the catalogue").arg(task.product.left(100)));
    const QList<Offer> list = wishes(task.product, request);
    for (const Offer &wish : list) {
        const CatalogueItem *found = findOffer(*product, wish);
        if (!found || found->url.isEmpty())
            throw Failure(QStringLiteral("no package of %1 %2")
                              .arg((wish.item.isEmpty() ? task.product : wish.item).left(100), wish.version.left(100)));
        task.items << UpgradeItem{
            itemType(wish.kind), found->name, found->version, found->url, found->sha256, found->size, 0};
    }
    if (task.items.isEmpty())
        throw Failure(QStringLiteral("the request names nothing to download"));
    task.state = state::Downloading;
    task.currentVersion = software->version;
    task.exePath = software->exePath;
    for (const QString &section : {key::Software, key::Patch, key::Plugins, key::OldPatch}) {
        if (request.contains(section))
            task.sections.insert(section, request.value(section));
    }
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
