#pragma once
#include "client/Assistant.h"
#include "tarn/cloud/ICloudServiceAssistant.h"
#include "tarn/keys/CloudKeys.h"

namespace tarn::client {

/// Client of the cloud account service. Any thread.
class CloudAssistant : public Assistant<ICloudServiceAssistant>
{
public:
    CloudAssistant()
        : Assistant(link::wire::CloudTag, {cloud::code::CallFailed, cloud::code::Refused, cloud::code::InvalidArgs,
                                           cloud::code::NoConnection})
    {
    }
    Input CreateInputArgs() override { return Input(new core::InputArgs<ICloudService_InputArgs>); }
    Output CreateOutputArgs() override { return Output(new core::OutputArgs<ICloudService_OutputArgs>); }
    void GetLoginState(Input in, Output out) override { forward(__func__, in, out, LookUpTimeout); }
    void GetMemoryLoginInfo(Input in, Output out) override { forward(__func__, in, out, LookUpTimeout); }
    void SendVerificationCode(Input in, Output out) override { forward(__func__, in, out, ActionTimeout); }
    void LoginByPhone(Input in, Output out) override { forward(__func__, in, out, ActionTimeout); }
    void LoginByAccount(Input in, Output out) override { forward(__func__, in, out, SignInTimeout); }
    void GetQRCodeUrl(Input in, Output out) override { forward(__func__, in, out, LookUpTimeout); }
    void QueryQRCodeResult(Input in, Output out) override { forward(__func__, in, out, ActionTimeout); }
    void GetLinkAddress(Input in, Output out) override { forward(__func__, in, out, LookUpTimeout); }
    void Logout(Input in, Output out) override { forward(__func__, in, out, SignInTimeout); }
};

} // namespace tarn::client
