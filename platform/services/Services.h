#pragma once
#include "services/Database.h"
#include "services/Dispatch.h"

/// The three services as remote callers see them. They are called on RPC worker threads.
namespace tarn::services {

/// The message service: checks and stores the callers' messages, and has the visualized service show a pushed one.
/// Methods: those of IMessageServiceAssistant and of tarn/link/MessageWire.h.
///
/// A new delivery of a known id replaces its texts and is unread again; its receipts stay, and so does the user's wish
/// not to see it. Lists come newest first and in pages, each small enough for one message of the RPC layer. Nothing is
/// kept between two pages: a message that stays unchanged meanwhile is in exactly one of them.
/// @param directory where the database "messages.db" is kept
QSharedPointer<rpc::IInvocable> makeMessageService(const QString &directory, const Presenter &presenter);

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

/// The upgrade service. Methods: those of IUpgradeServiceAssistant and of tarn/link/UpgradeWire.h. Every call that needs
/// them reads the catalogue and the install descriptions from their files.
/// @param directory where the database is kept
QSharedPointer<rpc::IInvocable> makeUpgradeService(const QString &directory, const UpgradePaths &paths,
                                                   const Presenter &presenter);

/// Addresses by link key, from the group "cloud" of "cfg.ini" beside the program; a key without an address leads to the
/// service's own page.
QHash<QString, QString> configuredLinks(const QString &programDirectory);

/// The cloud account service; it signs the user in again if the user asked for that. Methods: those of
/// ICloudServiceAssistant and of tarn/link/CloudWire.h. Error texts of the sign-in are for the user, in the user's
/// language. Throws std::runtime_error without a source of randomness.
/// @param directory where accounts, key and remembered data are kept
QSharedPointer<rpc::IInvocable> makeCloudService(const QString &directory, const QHash<QString, QString> &links,
                                                 const Clock &clock);

} // namespace tarn::services
