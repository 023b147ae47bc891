#include "services/UpdateCheck.h"
#include "tarn/keys/UpgradeKeys.h"
#include "tarn/link/UpgradeWire.h"

namespace tarn::services {

using namespace upgrade;
namespace package = link::wire::package;

namespace {

QVariantMap section(const CatalogueItem &item, const QString &installedVersion)
{
    QVariantMap section = item.further;
    section.insert(key::SoftwareName, item.name);
    section.insert(key::NewVersion, item.version);
    section.insert(key::CurrentVersion, installedVersion);
    section.insert(key::InstalledVersion, installedVersion);
    section.insert(key::ReleaseDate, item.date);
    section.insert(key::NotesFile, item.notesFile);
    section.insert(key::Forced, item.forced);
    if (!item.url.isEmpty()) {
        section.insert(package::Url, item.url);
        section.insert(package::Size, item.size);
        section.insert(package::Sha256, item.sha256);
    }
    return section;
}

// The patch for a version, unless it is installed already; patches change the installed version's last number, so its
// own version is shown to the user.
QVariantMap patchSection(const InstalledSoftware &installed, const CatalogueProduct &offered, const QString &version)
{
    const CatalogueItem *patch = offered.patchFor(version);
    if (!patch || (!installed.patchVersion.isEmpty() && !isNewer(patch->version, installed.patchVersion)))
        return {};
    return section(*patch, installed.patchVersion.isEmpty() ? installed.version : installed.patchVersion);
}

// The update record of a product; empty when there is nothing to offer.
QVariantMap updateRecord(const InstalledSoftware &installed, const CatalogueProduct &offered,
                         const IsIgnored &isIgnored)
{
    QVariantMap news;
    const auto ignored = [&](const QString &kind, const QString &item, const QString &version) {
        return isIgnored({installed.name, installed.bits, kind, item, version});
    };
    QVariantList plugins;
    for (const CatalogueItem &plugin : offered.plugins) {
        const auto have = installed.plugins.constFind(plugin.name);
        if (have != installed.plugins.constEnd() && isNewer(plugin.version, *have) &&
            !ignored(key::Plugins, plugin.name, plugin.version))
            plugins << section(plugin, *have);
    }
    if (!plugins.isEmpty())
        news.insert(key::Plugins, plugins);
    const bool hasRelease = offered.release && isNewer(offered.release->version, installed.version);
    const QVariantMap patch = patchSection(installed, offered, installed.version);
    if (hasRelease && !ignored(key::Software, {}, offered.release->version)) {
        news.insert(key::Software, section(*offered.release, installed.version));
        if (!patch.isEmpty())
            news.insert(key::OldPatch, patch);
    }
    if (!hasRelease && !patch.isEmpty() && !ignored(key::Patch, {}, patch.value(key::NewVersion).toString()))
        news.insert(key::Patch, patch);
    if (news.isEmpty())
        return {};
    QVariantMap record = offered.further;
    for (auto it = news.cbegin(); it != news.cend(); ++it)
        record.insert(it.key(), *it);
    record.insert(key::SoftwareName, installed.name);
    record.insert(key::ExePath, installed.exePath);
    record.insert(key::SoftBytes, installed.bits);
    record.insert(key::IconPath, offered.iconFile);
    record.insert(key::CurrentVersion, installed.version);
    return record;
}

} // namespace

QVariantList updateRecords(const QList<InstalledSoftware> &installed, const Catalogue &catalogue,
                           const IsIgnored &isIgnored)
{
    QVariantList records;
    for (const CatalogueProduct &product : catalogue) {
        const InstalledSoftware *software = findSoftware(installed, product.name);
        const QVariantMap record = software ? updateRecord(*software, product, isIgnored) : QVariantMap();
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

} // namespace tarn::services
