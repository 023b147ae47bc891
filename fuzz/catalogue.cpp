// The catalogue of updates and the install descriptions of products.
#include "services/Catalogue.h"
#include "fuzz/Target.h"
#include "services/Failure.h"
#include "services/InstalledSoftware.h"
#include <QDir>

using namespace tarn::services;

TARN_FUZZ_TARGET("catalogue")
{
    const tarn::fuzz::Scratch scratch;
    Catalogue catalogue;
    errorOf([&] { catalogue = readCatalogue(scratch.file("catalogue.json", input), {}); });
    for (const CatalogueProduct &product : catalogue)
        tarn::fuzz::require(product.release.package.size >= 0, "a size is not negative");
    QDir(scratch.path("")).mkpath(QStringLiteral("apps/product"));
    scratch.file("apps/product/installation.ini", input);
    readInstalledSoftware(scratch.path("apps"));
}
