#pragma once
#include "tarn/client/IServiceAssistant.h"
#include "tarn/cloud/ICloudServiceArgs.h"
#include <QSharedPointer>

/// Client of the cloud account service. Every operation writes its outcome into output: GetRetCode() 4000 for success,
/// 4001 and 4012 for a transport failure, anything else for a refusal with GetError() (CloudKeys.h, namespace code).
class ICloudServiceAssistant : public IServiceAssistant
{
public:
    using Input = QSharedPointer<ICloudService_InputArgs>;
    using Output = QSharedPointer<ICloudService_OutputArgs>;

    virtual Input CreateInputArgs() = 0;   ///< never null
    virtual Output CreateOutputArgs() = 0; ///< never null

    /// No input keys. Output: "login_state" (int; 2, 3 and 5: signed in or signing in).
    virtual void GetLoginState(Input input, Output output) = 0;
    /// No input keys. Output: "LOGINMODEL" (int), "AUTOLOGIN", "REMPASSWORD", "REMPHONE" (bool), "ACCOUNT", "PASSWORD",
    /// "PHONE" (strings).
    virtual void GetMemoryLoginInfo(Input input, Output output) = 0;
    /// Input: "phone". Sends a one-time code.
    virtual void SendVerificationCode(Input input, Output output) = 0;
    /// Input: "phone", "code" (strings), "自动登录", "记忆数据", "YunLockErrorTip" (bool).
    virtual void LoginByPhone(Input input, Output output) = 0;
    /// Input: "user", "pwd" (strings), "自动登录", "记忆数据", "YunLockErrorTip" (bool).
    virtual void LoginByAccount(Input input, Output output) = 0;
    /// Input: "扫码登录类型" ("weixindenglu" or "qqdenglu"), "随机码" (string). Output: "QRCODE_url".
    virtual void GetQRCodeUrl(Input input, Output output) = 0;
    /// Input: "随机码" (string), "自动登录", "YunLockErrorTip" (bool). Output: "token" (string) with code 4000.
    virtual void QueryQRCodeResult(Input input, Output output) = 0;
    /// Input: "LinkKey" (string, one of the "FC_..." keys). Output: "LinkUrl" (string).
    virtual void GetLinkAddress(Input input, Output output) = 0;
    /// No input keys. Signs the user out.
    virtual void Logout(Input input, Output output) = 0;

protected:
    ~ICloudServiceAssistant() = default;
};
