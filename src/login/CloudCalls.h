#pragma once
#include "base/ServiceCall.h"
#include "frame/VtServiceClient.h"
#include "tarn/cloud/ICloudServiceAssistant.h"

class QThreadPool;

namespace tarn::visualized {

/// What a page of the sign-in dialog sends to the service.
struct SignInRequest
{
    QString user;           ///< account or phone number
    QString secret;         ///< password or one-time code
    bool automatic = false; ///< sign in without the dialog from now on
    bool remember = false;  ///< the password or the phone number
    bool lockTip = false;   ///< the service shows its tip about the cloud lock
};

} // namespace tarn::visualized

/// What the sign-in needs of the cloud account service beyond single calls.
namespace tarn::visualized::cloudcalls {

/// Copies how a call ended out of its output arguments.
ServiceOutcome outcomeOf(ICloudService_OutputArgs &output);

/// Asks for one of the service's web addresses and logs a failure. Blocks until the service has answered. Any thread.
/// @param key "FC_..." (CloudKeys.h)
/// @param[out] address as the service sent it, not checked; empty when the call failed
ServiceOutcome linkAddress(const QString &key, QString *address);

/// The threads of the account sign-ins, apart from the global pool, whose tasks could delay a sign-in. GUI thread.
QThreadPool &pool();
/// The threads that notify callers. A caller that hangs delays no sign-in. GUI thread.
QThreadPool &callerPool();

} // namespace tarn::visualized::cloudcalls
