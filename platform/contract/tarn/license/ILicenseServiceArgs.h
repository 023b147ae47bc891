#pragma once
#include "tarn/args/IServiceArgs.h"

/// Arguments of the licence service.
class ILicenseService_InputArgs : public tarn::IServiceInputArgs
{
};

class ILicenseService_OutputArgs : public tarn::IServiceOutputArgs
{
};
