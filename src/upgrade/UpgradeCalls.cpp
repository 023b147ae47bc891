#include "upgrade/UpgradeCalls.h"
#include "base/Log.h"
#include "frame/VtServiceClient.h"
#include "tarn/keys/UpgradeKeys.h"

using namespace tarn::upgrade;
using Output = IUpgradeServiceAssistant::SoftInfoOutput;

namespace {

void logOutcome(const QString &call, const QString &success, const Output &output)
{
    const int code = output->GetRetCode();
    if (code == code::Ok)
        VT_LOG(info) << success;
    else
        VT_LOG(critical) << vtlog::callFailed(call, code::isTransport(code), code, output->GetError());
}

} // namespace

namespace upgradecalls {

IUpgradeServiceAssistant *assistant()
{
    return CVtServiceClient::GetInstance()->GetUpgradeServiceAssistant();
}

IUpgradeServiceAssistant::SoftInfoInput request(IUpgradeServiceAssistant &assistant, const QVariantMap &record,
                                                const QStringList &keys)
{
    IUpgradeServiceAssistant::SoftInfoInput input = assistant.CreateSoftInfoInputParam();
    for (const QString &name : keys) {
        if (record.contains(name))
            input->SetValue(name, record.value(name));
    }
    return input;
}

void startDownload(IUpgradeServiceAssistant &assistant, const IUpgradeServiceAssistant::SoftInfoInput &request)
{
    const Output output = assistant.CreateSoftInfoOutputParam();
    assistant.StartDownload(request, output);
    logOutcome(QStringLiteral("【统一服务升级下载线程】调用开始下载接口"),
               QStringLiteral("调用开始下载软件安装接口成功。"), output);
}

void ignore(IUpgradeServiceAssistant &assistant, const IUpgradeServiceAssistant::SoftInfoInput &request)
{
    const Output output = assistant.CreateSoftInfoOutputParam();
    assistant.IgnoreUpgrade(request, output);
    logOutcome(QStringLiteral("【检测升级窗口】调用忽略升级接口"), QStringLiteral("调用忽略升级接口成功。"), output);
}

} // namespace upgradecalls
