#pragma once
#include "tarn/cloud/ICloudServiceArgs.h"
#include <QSharedPointer>

class ICloudServiceAssistant;

/// Signs in by account and password on a thread of the pool and returns when the service has answered; the result is in
/// output. Meanwhile an event loop runs: windows paint, and whatever called this can be gone when it returns. When the
/// application quits, the call is cut off, and with it the assistant. The password is taken out of input after the call
/// and overwritten, unless the caller keeps a copy that shares its buffer. GUI thread.
void ExecYunLogin(ICloudServiceAssistant *assistant, QSharedPointer<ICloudService_InputArgs> input,
                  QSharedPointer<ICloudService_OutputArgs> output);

/// The service stops: the sign-in that waits returns at once when its loop gets the word, without a result. Its call goes
/// on and holds a lease. GUI thread.
void AbandonYunLogin();
