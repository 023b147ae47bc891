#pragma once
#include <QList>
#include <QString>
#include <QVariantMap>

namespace tarn::services {

/// A package, on offer or of a task.
struct UpgradeItem
{
    int type = 0; ///< of a task's: UpgradeKeys.h, namespace item
    QString name; ///< of the plug-in or the product
    QString version;
    QString url; ///< absolute; empty without a package
    QString sha256;
    qint64 size = 0;     ///< bytes, 1 or more where there is a package
    qint64 received = 0; ///< bytes on the disk
    QString file{};      ///< takes the downloaded package
};

/// The products on offer: a JSON file
///     {"products": [{"name", "icon", "release": ITEM, "patches": [ITEM...], "plugins": [ITEM...]}]}
/// with ITEM = {"name", "version", "date", "notes", "forced", "for", "package": {"url", "size", "sha256"}}. Paths are
/// relative to the file. Required are a product's name, an item's version and all three keys of a package; null counts
/// as missing; a missing name of an item is the product's. "size" is a number, "forced" true or false, all others are
/// strings: one value of another type refuses the whole file. Unknown keys are passed on in the records.
struct CatalogueItem
{
    UpgradeItem package;
    QString forVersion;  ///< patches: version of the product that it is made for
    QVariantMap section; ///< of an update record, but for the installed version; with the unknown keys
};

struct CatalogueProduct
{
    QString name;
    CatalogueItem release; ///< without a version: none
    QList<CatalogueItem> patches;
    QList<CatalogueItem> plugins;
    QVariantMap record; ///< what every update record of the product contains; with the unknown keys
};

using Catalogue = QList<CatalogueProduct>;

/// @param publicKey Ed25519, base64: "<file>.sig" must hold the file's detached signature (64 bytes) by this key.
///        Empty: the file is trusted as it is.
/// Throws Failure with the mistake, which names the place (/products/3/release/version: ...).
Catalogue readCatalogue(const QString &file, const QString &publicKey);

/// Whether a version is higher than another; by number where both are dotted numbers.
bool isNewer(const QString &offered, const QString &installed);

} // namespace tarn::services
