#pragma once
#include "services/Catalogue.h"
#include "services/InstalledSoftware.h"
#include "services/UpgradeTask.h"
#include <functional>

namespace tarn::services {

/// One thing that can be offered for a product.
struct Offer
{
    QString product;
    QString bits;
    QString kind;    ///< "软件", "补丁包" or "插件"
    QString item;    ///< name of the plug-in; empty for the others
    QString version; ///< the offered one
};

using IsIgnored = std::function<bool(const Offer &)>;

/// The update records of all installed products that the catalogue knows, in the catalogue's order. A product whose
/// updates are all ignored, or that has none, gets no record. A patch of the installed version is a separate update
/// ("补丁包") while no new version is offered, else the alternative for a user who declines that one ("旧版本补丁包").
QVariantList updateRecords(const QList<InstalledSoftware> &installed, const Catalogue &catalogue,
                           const IsIgnored &isIgnored);

/// The offers that a request names for a product: the kinds, items and versions of its sections. Sections that are no maps or
/// lists and entries without a version are passed over.
QList<Offer> offersOf(const QString &product, const QString &bits, const QVariantMap &sections);

/// Makes the task that a request asks for; the packages are those of the catalogue, whatever the request says of them.
/// Throws Failure when it cannot be made.
UpgradeTask makeTask(const QVariantMap &request, const Catalogue &catalogue, const QList<InstalledSoftware> &installed);

/// The task as callers read it ("taskInfoList"). The working item is the first that is not complete.
QVariantMap toTaskMap(const UpgradeTask &task);

} // namespace tarn::services
