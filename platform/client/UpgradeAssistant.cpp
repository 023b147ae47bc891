#include "client/UpgradeAssistant.h"
#include "tarn/keys/UpgradeKeys.h"
#include "tarn/link/MessageWire.h"
#include "tarn/link/PagedCall.h"

namespace tarn::client {

using namespace upgrade;

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
    return QSharedPointer<core::OutputArgs<IUpgaredSoftInfoService_OutputParam>>::create();
}

IUpgradeServiceAssistant::Input UpgradeAssistant::CreateInputParam()
{
    return QSharedPointer<core::InputArgs<IUpgaredService_InputParam>>::create();
}

IUpgradeServiceAssistant::Output UpgradeAssistant::CreateOutputParam()
{
    return QSharedPointer<core::OutputArgs<IUpgaredService_OutputParam>>::create();
}

void UpgradeAssistant::CheckNewVersion(SoftInfoInput input, SoftInfoOutput output)
{
    forward(QStringLiteral("CheckNewVersion"), input, output, LookUpTimeout);
}

void UpgradeAssistant::IgnoreUpgrade(SoftInfoInput input, SoftInfoOutput output)
{
    forward(QStringLiteral("IgnoreUpgrade"), input, output, ActionTimeout);
}

void UpgradeAssistant::StartDownload(SoftInfoInput input, SoftInfoOutput output)
{
    forward(QStringLiteral("StartDownload"), input, output, ActionTimeout);
}

// More tasks than fit into one message of the RPC layer come in pages; asked once a second.
void UpgradeAssistant::QueryTaskInfos(Input input, Output output)
{
    forwardBy(input, output, [this](const rpc::Bag &bag) {
        auto result = link::callPaged(m_connection, m_tag, QStringLiteral("QueryTaskInfos"), bag, LookUpTimeout);
        if (!result.output.list.isEmpty()) // the pages' tasks
            result.output.values.insert(key::TaskInfoList, std::exchange(result.output.list, {}));
        return result;
    });
}

void UpgradeAssistant::StopUpgrade(Input input, Output output)
{
    forward(QStringLiteral("StopUpgrade"), input, output, LookUpTimeout);
}

// A longer installation goes on after the deadline and is then seen in the tasks.
void UpgradeAssistant::InstallSoftware(Input input, Output output)
{
    forwardBy(input, output, [this](const rpc::Bag &bag) {
        return m_connection.call(m_tag, QStringLiteral("InstallSoftware"), bag, ActionTimeout,
                                 link::ServiceConnection::LongWork);
    });
}

} // namespace tarn::client
