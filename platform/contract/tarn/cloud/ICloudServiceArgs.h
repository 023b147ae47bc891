#pragma once
#include "tarn/args/IServiceArgs.h"

/// Arguments of the cloud account service. Keys and return codes: CloudKeys.h.
class ICloudService_InputArgs : public tarn::IServiceInputArgs
{
};

class ICloudService_OutputArgs : public tarn::IServiceOutputArgs
{
};
