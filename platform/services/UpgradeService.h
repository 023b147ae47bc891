#pragma once
#include "services/Dispatch.h"

namespace tarn::services {

/// The places of the installed and the offered software, and the limits of the downloads.
struct UpgradePaths
{
    QString catalogue;    ///< JSON file
    QString apps;         ///< directory with the install descriptions
    qint64 bandwidth = 0; ///< bytes per second; 0 for no limit
    QString publicKey{};  ///< of the catalogue's signature, base64; empty: unsigned catalogues are accepted

    /// From "cfg.ini" beside the program: "upgrade/catalogue", "system/apps_path", "upgrade/bandwidth" and
    /// "upgrade/public_key"; without them the installed layout, "System/share/tarn/catalogue/catalogue.json" and
    /// "apps", falling back to "/opt/apps", no limit and no signature.
    static UpgradePaths ofProgram(const QString &programDirectory);
};

/// The upgrade service as remote callers see it. Methods: those of IUpgradeServiceAssistant and of
/// tarn/link/UpgradeWire.h. The catalogue and the install descriptions are read afresh for every question. RPC worker
/// threads.
/// @param directory where the database is kept
QSharedPointer<rpc::IInvocable> makeUpgradeService(const QString &directory, const UpgradePaths &paths,
                                                   const Presenter &presenter);

} // namespace tarn::services
