#include "client/UpgradeAssistant.h"
#include "tarn/keys/UpgradeKeys.h"
#include "tarn/link/MessageWire.h"

namespace tarn::client {

using namespace upgrade;

namespace {
// Both are asked on the GUI thread, the second for every task of a window that is closed.
constexpr int QueryTimeout = 2000; // ms; once a second
constexpr int StopTimeout = 3000;  // ms
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
    forward(QStringLiteral("StopUpgrade"), input, output, StopTimeout);
}

// A longer installation goes on after the deadline and is then seen in the tasks: nobody's window is to stand still
// for as long as that.
void UpgradeAssistant::InstallSoftware(Input input, Output output)
{
    forward(QStringLiteral("InstallSoftware"), input, output);
}

} // namespace tarn::client
