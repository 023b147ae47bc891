// The manager's handlers of the sign-in requests.
#include "base/Log.h"
#include "frame/VisualizedManager.h"
#include "frame/VtServiceClient.h"
#include "login/LoginDialogCreator.h"
#include "tarn/cloud/ICloudLoginNotify.h"
#include "tarn/cloud/ICloudServiceAssistant.h"
#include "tarn/keys/CloudKeys.h"
#include "tarn/rpc/RpcError.h"

namespace {
namespace key = tarn::cloud::key;
namespace code = tarn::cloud::code;

bool signedInOrSigningIn(int loginState)
{
    namespace loginstate = tarn::cloud::loginstate;
    return loginState == loginstate::SignedIn || loginState == loginstate::Checking ||
           loginState == loginstate::Restored;
}
} // namespace

void CVisualizedManager::ShowCloudLoginDlg(const CCloudLoginEventData &data)
{
    VT_LOG(debug) << QStringLiteral("[%1]显示云账号登录对话框。").arg(QLatin1String(__func__));
    const QString softId = data.inputArgs->GetValue(key::SoftwareId).toString();
    const QString exeName = data.inputArgs->GetValue(key::ExeName).toString();
    VT_LOG(debug) << QStringLiteral("登录云账号前获取登录云锁标记：") + QVariant(data.showErrorTip).toString();
    const std::optional<int> state = queryLoginState();
    if (!state)
        return;
    if (signedInOrSigningIn(*state)) {
        VT_LOG(debug) << QStringLiteral("当前云账号状态：") + QString::number(*state) +
                             QStringLiteral("。跳过显示云登录对话框。");
        return;
    }
    LoginDialogCreator *creator = LoginDialogCreator::getInst();
    creator->setSoftware(exeName, softId);
    creator->SetYunLockError(data.showErrorTip);
    VT_LOG(debug) << QStringLiteral("开始显示云登录对话框show");
    creator->show(data.loginNotify, reinterpret_cast<void *>(quintptr(data.parentWindowHandle)));
}

std::optional<int> CVisualizedManager::queryLoginState()
{
    using namespace tarn::visualized;
    ServiceOutcome outcome = call(service::cloud(), &ICloudServiceAssistant::GetLoginState, {}, {key::LoginState});
    if (outcome.accepted())
        return outcome.values.value(key::LoginState).toInt();
    if (!outcome.called()) {
        VT_LOG(critical) << QStringLiteral("【展现云账号登录对话框】获取云账号登录状态失败，云账号服务不可用");
        return std::nullopt;
    }
    if (outcome.transportFailed()) {
        outcome.code = code::NoConnection; // always, deliberately
        if (outcome.error.isEmpty())
            outcome.error = QString::fromStdString(tarn::rpc::getRpcLastError().message);
    }
    VT_LOG(critical) << outcome.failure(
        QStringLiteral("【展现云账号登录对话框】获取云账号登录状态，记录错误码为：%1，错误信息为：%2"),
        QStringLiteral("【展现云账号登录对话框】获取云账号登录状态，返回错误码为：%1，错误信息为：%2"));
    return std::nullopt;
}

void CVisualizedManager::NotifyCloudParentFinish(const CNotifyCloudEventData &data)
{
    VT_LOG(debug) << QStringLiteral("[%1]通知云账号登录关闭。").arg(QLatin1String(__func__));
    const QString softId = data.inputArgs->GetValue(key::SoftwareId).toString();
    if (softId.isEmpty()) {
        VT_LOG(debug) << QStringLiteral("通知云账号对话框关闭结束，软件标识为空。");
        return;
    }
    LoginDialogCreator *creator = LoginDialogCreator::getInst();
    if (softId != creator->softId())
        return; // the dialog, if any, was asked for by another software
    VT_LOG(debug) << QStringLiteral("通知云账号对话框关闭结束，软件标识:") + softId;
    creator->closeDlg();
    creator->setSoftware({}, {});
}
