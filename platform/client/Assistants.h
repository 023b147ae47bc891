#pragma once
#include "client/Assistant.h"
#include "tarn/cloud/ICloudServiceAssistant.h"
#include "tarn/keys/CloudKeys.h"
#include "tarn/keys/MessageKeys.h"
#include "tarn/keys/UpgradeKeys.h"
#include "tarn/license/ILicenseServiceAssistant.h"
#include "tarn/message/IMessageServiceAssistant.h"
#include "tarn/upgrade/IUpgradeServiceAssistant.h"

namespace tarn::client {

/// The licence service offers nothing to the user interface but its argument objects, so there is nothing to connect
/// to. Any thread.
class LicenseAssistant : public ILicenseServiceAssistant
{
public:
    virtual ~LicenseAssistant() = default;
    bool Initialize(const QString &, int, QString &errorText) override
    {
        errorText = QStringLiteral("there is no licence service");
        return false;
    }
    void UnInitialize() override {}
    QSharedPointer<ILicenseService_InputArgs> CreateInputArgs() override
    {
        return QSharedPointer<core::InputArgs<ILicenseService_InputArgs>>::create();
    }
    QSharedPointer<ILicenseService_OutputArgs> CreateOutputArgs() override
    {
        return QSharedPointer<core::OutputArgs<ILicenseService_OutputArgs>>::create();
    }
};

/// Client of the cloud account service. Any thread.
class CloudAssistant : public Assistant<ICloudServiceAssistant>
{
public:
    CloudAssistant()
        : Assistant(link::wire::CloudTag,
                    {cloud::code::CallFailed, cloud::code::Refused, cloud::code::InvalidArgs, cloud::code::NoConnection,
                     QStringLiteral("发生通信错误（%1）")}) // the sign-in shows it to the user
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

/// Client of the message service. Any thread.
class MessageAssistant : public Assistant<IMessageServiceAssistant>
{
public:
    MessageAssistant()
        : Assistant(link::wire::MessageTag, {message::code::CallFailed, message::code::Refused,
                                             message::code::InvalidArgs, message::code::NoConnection})
    {
    }
    Input CreateInputArgs() override { return Input(new core::InputArgs<IMessageService_InputArgs>); }
    Output CreateOutputArgs() override { return Output(new core::OutputArgs<IMessageService_OutputArgs>); }
    void AddMessageReceipt(Input in, Output out) override { forward(__func__, in, out, ActionTimeout, Late::Decision); }
    void UpdateMessageStatus(Input in, Output out) override
    {
        forward(__func__, in, out, ActionTimeout, Late::Decision);
    }
    void GetAllMessageRecords(Input in, Output out) override { forwardPaged(__func__, in, out, ListTimeout); }
    void GetMessageRecord(Input in, Output out) override { forward(__func__, in, out, LookUpTimeout); }
    void IgnoreMessage(Input in, Output out) override { forward(__func__, in, out, ActionTimeout, Late::Decision); }
};

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
    void IgnoreUpgrade(SoftInfoInput in, SoftInfoOutput out) override
    {
        forward(__func__, in, out, ActionTimeout, Late::Decision);
    }
    void StartDownload(SoftInfoInput in, SoftInfoOutput out) override
    {
        forward(__func__, in, out, ActionTimeout, Late::Decision);
    }
    void StopUpgrade(Input in, Output out) override { forward(__func__, in, out, LookUpTimeout, Late::Decision); }
    /// Asked once a second; the joined tasks are under the key that a single answer uses.
    void QueryTaskInfos(Input in, Output out) override
    {
        forwardPaged(__func__, in, out, LookUpTimeout, upgrade::key::TaskInfoList);
    }
    /// A longer installation continues after the deadline and is then seen in the tasks.
    void InstallSoftware(Input in, Output out) override { forward(__func__, in, out, ActionTimeout, Late::LongWork); }
};

} // namespace tarn::client
