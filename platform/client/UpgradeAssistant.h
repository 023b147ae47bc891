#pragma once
#include "client/Assistant.h"
#include "tarn/keys/UpgradeKeys.h"
#include "tarn/upgrade/IUpgradeServiceAssistant.h"

namespace tarn::client {

/// Client of the upgrade service. Any thread.
class UpgradeAssistant : public Assistant<IUpgradeServiceAssistant>
{
public:
    UpgradeAssistant()
        : Assistant(link::wire::UpgradeTag, {upgrade::code::CallFailed, upgrade::code::Refused,
                                             upgrade::code::InvalidArgs, upgrade::code::NoConnection})
    {
    }
    SoftInfoInput CreateSoftInfoInputParam() override
    {
        return SoftInfoInput(new core::InputListArgs<IUpgaredSoftInfoService_InputParam>);
    }
    SoftInfoOutput CreateSoftInfoOutputParam() override
    {
        return SoftInfoOutput(new core::OutputArgs<IUpgaredSoftInfoService_OutputParam>);
    }
    Input CreateInputParam() override { return Input(new core::InputArgs<IUpgaredService_InputParam>); }
    Output CreateOutputParam() override { return Output(new core::OutputArgs<IUpgaredService_OutputParam>); }
    void CheckNewVersion(SoftInfoInput in, SoftInfoOutput out) override { forward(__func__, in, out, LookUpTimeout); }
    void IgnoreUpgrade(SoftInfoInput in, SoftInfoOutput out) override { forward(__func__, in, out, ActionTimeout); }
    void StartDownload(SoftInfoInput in, SoftInfoOutput out) override { forward(__func__, in, out, ActionTimeout); }
    void StopUpgrade(Input in, Output out) override { forward(__func__, in, out, LookUpTimeout); }
    /// Asked once a second; the pages' tasks go where a single answer has them.
    void QueryTaskInfos(Input in, Output out) override
    {
        forwardPaged(__func__, in, out, LookUpTimeout, upgrade::key::TaskInfoList);
    }
    /// A longer installation continues after the deadline and is then seen in the tasks.
    void InstallSoftware(Input in, Output out) override
    {
        forward(__func__, in, out, ActionTimeout, link::ServiceConnection::LongWork);
    }
};

} // namespace tarn::client
