#pragma once
#include "base/ServiceCall.h"
#include "frame/VtServiceClient.h"
#include "tarn/cloud/ICloudServiceAssistant.h"

class QThreadPool;

/// What the sign-in needs of the cloud account service beyond single calls.
namespace tarn::visualized::cloudcalls {

/// Copies how a call ended out of its output arguments.
ServiceOutcome outcomeOf(ICloudService_OutputArgs &output);

/// Whether the cloud lock refused the sign-in.
bool lockRefused(const ServiceOutcome &outcome);

/// Asks for one of the service's web addresses and logs a failure. Blocks until the service has answered. Any thread.
/// @param key "FC_..." (CloudKeys.h)
/// @param[out] address as the service sent it, not checked; empty when the call failed
ServiceOutcome linkAddress(const QString &key, QString *address);

/// The threads of the account sign-ins, apart from the global pool, whose tasks could delay a sign-in. GUI thread.
QThreadPool &pool();

} // namespace tarn::visualized::cloudcalls
