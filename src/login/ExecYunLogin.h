#pragma once
#include "tarn/cloud/ICloudServiceArgs.h"
#include <QSharedPointer>

class ICloudServiceAssistant;

/// Signs in by account and password on a pool thread and returns when the service has answered; the result is in output.
/// An event loop runs meanwhile: windows paint, and the objects of the caller can be destroyed. Returns without a result
/// when the wait is left or the application quits; AccountCall::current() is then still there or was destroyed. The
/// password is taken out of input after the call and overwritten. GUI thread; one call at a time.
void ExecYunLogin(ICloudServiceAssistant *assistant, QSharedPointer<ICloudService_InputArgs> input,
                  QSharedPointer<ICloudService_OutputArgs> output);
