#pragma once
#include "services/Database.h"
#include "tarn/rpc/IInvocable.h"

namespace tarn::services {

/// The cloud account service as remote callers see it; it signs the user in again if the user asked for that. Methods:
/// those of ICloudServiceAssistant and of tarn/link/CloudWire.h. RPC worker threads. Error texts of the sign-in are for
/// the user, in the user's language. Throws Failure without a source of randomness or a key.
/// @param directory where accounts, key and remembered data are kept
QSharedPointer<rpc::IInvocable> makeCloudService(const QString &directory, const Clock &clock);

} // namespace tarn::services
