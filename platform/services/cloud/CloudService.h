#pragma once
#include "services/Database.h"
#include "tarn/rpc/IInvocable.h"

namespace tarn::services {

/// Addresses by link key, from the group "cloud" of "cfg.ini" beside the program; the service's own page serves for the
/// others.
QHash<QString, QString> configuredLinks(const QString &programDirectory);

/// The cloud account service as remote callers see it; it signs the user in again if the user asked for that. Methods:
/// those of ICloudServiceAssistant and of tarn/link/CloudWire.h. RPC worker threads. Error texts of the sign-in are for
/// the user, in the user's language. Throws std::runtime_error without a source of randomness.
/// @param directory where accounts, key and remembered data are kept
QSharedPointer<rpc::IInvocable> makeCloudService(const QString &directory, const QHash<QString, QString> &links,
                                                 const Clock &clock);

} // namespace tarn::services
