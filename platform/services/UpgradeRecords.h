#pragma once
#include "services/Catalogue.h"
#include "services/InstalledSoftware.h"
#include "tarn/keys/UpgradeKeys.h"
#include <QSet>

namespace tarn::services {

/// The download and installation of the items that a user chose for one product.
struct UpgradeTask
{
    qint64 id = 0; ///< the store's, never given twice; 0 for a task that is not stored
    QString product;
    int state = 0; ///< UpgradeKeys.h, namespace state
    QString error;
    QString currentVersion;
    QString exePath;
    QVariantMap sections; ///< "软件", "补丁包", "插件", "旧版本补丁包" as they were requested; values of JSON
    QList<UpgradeItem> items;

    bool isActive() const ///< downloading, downloaded or installing
    {
        using namespace upgrade::state;
        return state == Downloading || state == Downloaded || state == Installing;
    }
};

/// One thing that can be offered for a product.
struct Offer
{
    QString product;
    QString bits;
    QString kind;    ///< "软件", "补丁包" or "插件"
    QString item;    ///< name of the plug-in; empty for the others
    QString version; ///< the offered one
    qint64 time = 0; ///< when it was ignored, ms since 1970

    QString identity() const; ///< differs from that of any other offer
};

/// The update records of all installed products that the catalogue knows, in the catalogue's order. A product whose
/// updates are all ignored, or that has none, gets no record. A patch of the installed version is a separate update
/// ("补丁包") while no new version is offered, else the alternative for a user who declines that one ("旧版本补丁包").
/// @param ignores identities of ignored offers
QVariantList updateRecords(const InstalledProducts &installed, const Catalogue &catalogue,
                           const QSet<QString> &ignores = {});

/// The offers that a request names for a product: the kinds, items and versions of its sections. Sections that are no
/// maps or lists and entries without a version are passed over.
QList<Offer> offersOf(const QString &product, const QString &bits, const QVariantMap &sections);

/// Makes the task that a request asks for; the packages are those of the catalogue, whatever the request says of them.
/// Throws Failure when it cannot be made, BadRequest when its sections are too large for a list of tasks.
UpgradeTask makeTask(const QVariantMap &request, const Catalogue &catalogue, const InstalledProducts &installed);

/// The task as callers read it ("taskInfoList"). The working item is the first that is not complete.
QVariantMap toTaskMap(const UpgradeTask &task);

} // namespace tarn::services
