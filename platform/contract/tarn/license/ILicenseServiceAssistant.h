#pragma once
#include "tarn/client/IServiceAssistant.h"
#include "tarn/license/ILicenseServiceArgs.h"
#include <QSharedPointer>

/// Client of the licence service. The user interface only connects to it: the network-licence sign-in is not part of
/// this product, so no operation is declared.
class ILicenseServiceAssistant : public IServiceAssistant
{
public:
    virtual QSharedPointer<ILicenseService_InputArgs> CreateInputArgs() = 0;   ///< never null
    virtual QSharedPointer<ILicenseService_OutputArgs> CreateOutputArgs() = 0; ///< never null

protected:
    ~ILicenseServiceAssistant() = default;
};
