#pragma once
#include "services/cloud/QrTickets.h"
#include "tarn/rpc/IInvocable.h"

namespace tarn::services {

struct CloudSettings
{
    QHash<QString, QString> links; ///< addresses by link key; the service's own pages serve for the others
    qint64 qrLifetimeMs = QrTickets::DefaultLifetime;

    /// From the group "cloud" of "cfg.ini" beside the program: the link keys and "qr_lifetime" (seconds).
    static CloudSettings ofProgram(const QString &programDirectory);
};

/// The cloud account service as remote callers see it; it signs the user in again if the user asked for that. Methods:
/// those of ICloudServiceAssistant and of tarn/link/CloudWire.h. RPC worker threads. Error texts of the sign-in are for
/// the user, in the user's language. Throws std::runtime_error without a source of randomness.
/// @param directory where accounts, key and remembered data are kept
QSharedPointer<rpc::IInvocable> makeCloudService(const QString &directory, const CloudSettings &settings,
                                                 const Clock &clock);

} // namespace tarn::services
