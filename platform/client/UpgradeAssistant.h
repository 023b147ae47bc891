#pragma once
#include "client/Assistant.h"
#include "tarn/upgrade/IUpgradeServiceAssistant.h"

namespace tarn::client {

/// Client of the upgrade service. Any thread.
class UpgradeAssistant final : public Assistant<IUpgradeServiceAssistant>
{
public:
    UpgradeAssistant();

    SoftInfoInput CreateSoftInfoInputParam() override;
    SoftInfoOutput CreateSoftInfoOutputParam() override;
    Input CreateInputParam() override;
    Output CreateOutputParam() override;
    void CheckNewVersion(SoftInfoInput input, SoftInfoOutput output) override;
    void IgnoreUpgrade(SoftInfoInput input, SoftInfoOutput output) override;
    void StartDownload(SoftInfoInput input, SoftInfoOutput output) override;
    void QueryTaskInfos(Input input, Output output) override;
    void StopUpgrade(Input input, Output output) override;
    void InstallSoftware(Input input, Output output) override;
};

} // namespace tarn::client
