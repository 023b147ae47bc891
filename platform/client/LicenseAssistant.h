#pragma once
#include "tarn/core/BagArgs.h"
#include "tarn/license/ILicenseServiceAssistant.h"

namespace tarn::client {

/// The licence service offers nothing to the user interface but its argument objects, so there is nothing to connect
/// to. Any thread.
class LicenseAssistant : public ILicenseServiceAssistant
{
public:
    virtual ~LicenseAssistant() = default;
    bool Initialize(const QString &clientName, int flag, QString &errorText) override
    {
        Q_UNUSED(clientName)
        Q_UNUSED(flag)
        errorText = QStringLiteral("there is no licence service");
        return false;
    }
    void UnInitialize() override {}
    QSharedPointer<ILicenseService_InputArgs> CreateInputArgs() override
    {
        return QSharedPointer<core::InputArgs<ILicenseService_InputArgs>>::create();
    }
    QSharedPointer<ILicenseService_OutputArgs> CreateOutputArgs() override
    {
        return QSharedPointer<core::OutputArgs<ILicenseService_OutputArgs>>::create();
    }
};

} // namespace tarn::client
