#include "UpgradeAssistant.h"
#include "tarn/link/MessageWire.h"
#include "tarn/upgrade/UpgradeKeys.h"

namespace tarn::client {

using namespace upgrade;

namespace {
constexpr int QueryTimeout = 2000;       // ms; asked once a second on the GUI thread
constexpr int InstallTimeout = 3600'000; // ms; the service may answer only when the installation is over
} // namespace

UpgradeAssistant::UpgradeAssistant()
    : Assistant(link::wire::UpgradeTag, {code::CallFailed, code::Refused, code::InvalidArgs, code::NoConnection})
{
}

IUpgradeServiceAssistant::SoftInfoInput UpgradeAssistant::CreateSoftInfoInputParam()
{
    return QSharedPointer<core::InputListArgs<IUpgaredSoftInfoService_InputParam>>::create();
}

IUpgradeServiceAssistant::SoftInfoOutput UpgradeAssistant::CreateSoftInfoOutputParam()
{
    return QSharedPointer<core::OutputListArgs<IUpgaredSoftInfoService_OutputParam>>::create();
}

IUpgradeServiceAssistant::Input UpgradeAssistant::CreateInputParam()
{
    return QSharedPointer<core::InputArgs<IUpgaredService_InputParam>>::create();
}

IUpgradeServiceAssistant::Output UpgradeAssistant::CreateOutputParam()
{
    return QSharedPointer<core::OutputListArgs<IUpgaredService_OutputParam>>::create();
}

void UpgradeAssistant::CheckNewVersion(SoftInfoInput input, SoftInfoOutput output)
{
    forward(QStringLiteral("CheckNewVersion"), input, output);
}

void UpgradeAssistant::IgnoreUpgrade(SoftInfoInput input, SoftInfoOutput output)
{
    forward(QStringLiteral("IgnoreUpgrade"), input, output);
}

void UpgradeAssistant::StartDownload(SoftInfoInput input, SoftInfoOutput output)
{
    forward(QStringLiteral("StartDownload"), input, output);
}

void UpgradeAssistant::QueryTaskInfos(Input input, Output output)
{
    forward(QStringLiteral("QueryTaskInfos"), input, output, QueryTimeout);
}

void UpgradeAssistant::StopUpgrade(Input input, Output output)
{
    forward(QStringLiteral("StopUpgrade"), input, output);
}

void UpgradeAssistant::InstallSoftware(Input input, Output output)
{
    const bool waits = input && input->GetValue(key::WaitForFinished).toBool();
    forward(QStringLiteral("InstallSoftware"), input, output,
            waits ? InstallTimeout : link::ServiceConnection::DefaultTimeout);
}

} // namespace tarn::client
