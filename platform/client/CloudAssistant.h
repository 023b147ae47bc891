#pragma once
#include "client/Assistant.h"
#include "tarn/cloud/ICloudServiceAssistant.h"

namespace tarn::client {

/// Client of the cloud account service. Any thread. A look-up takes 3 s at most, another operation 5 s, signing in by
/// account and signing out 30 s.
class CloudAssistant final : public Assistant<ICloudServiceAssistant>
{
public:
    CloudAssistant();

    Input CreateInputArgs() override;
    Output CreateOutputArgs() override;
    void GetLoginState(Input input, Output output) override;
    void GetMemoryLoginInfo(Input input, Output output) override;
    void SendVerificationCode(Input input, Output output) override;
    void LoginByPhone(Input input, Output output) override;
    void LoginByAccount(Input input, Output output) override;
    void GetQRCodeUrl(Input input, Output output) override;
    void QueryQRCodeResult(Input input, Output output) override;
    void GetLinkAddress(Input input, Output output) override;
    void Logout(Input input, Output output) override;
};

} // namespace tarn::client
