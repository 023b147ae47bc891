#pragma once
#include "services/cloud/CloudInput.h"
#include "tarn/rpc/IInvocable.h"
#include <functional>

namespace tarn::services {

using CloudClock = std::function<qint64()>; ///< milliseconds since 1970; any thread

/// The cloud account service as remote callers see it; it signs the user in again if the user asked for that. Methods:
/// those of ICloudServiceAssistant and of tarn/link/CloudWire.h. RPC worker threads. Error texts of the sign-in are for
/// the user, in the user's language. Throws std::runtime_error without a source of randomness.
/// @param directory where accounts, key and remembered data are kept
QSharedPointer<rpc::IInvocable> makeCloudService(const QString &directory, const CloudSettings &settings,
                                                 const CloudClock &clock);

} // namespace tarn::services
