#pragma once
#include "tarn/args/IServiceArgs.h"

/// Arguments of the message service. Keys and return codes: MessageKeys.h.
class IMessageService_InputArgs : public tarn::IServiceInputArgs
{
};

class IMessageService_OutputArgs : public tarn::IServiceOutputArgs
{
};
