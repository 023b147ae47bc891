#include "client/CloudAssistant.h"
#include "tarn/keys/CloudKeys.h"
#include "tarn/link/MessageWire.h"

namespace tarn::client {

using namespace cloud;

CloudAssistant::CloudAssistant()
    : Assistant(link::wire::CloudTag, {code::CallFailed, code::Refused, code::InvalidArgs, code::NoConnection})
{
}

ICloudServiceAssistant::Input CloudAssistant::CreateInputArgs()
{
    return QSharedPointer<core::InputArgs<ICloudService_InputArgs>>::create();
}

ICloudServiceAssistant::Output CloudAssistant::CreateOutputArgs()
{
    return QSharedPointer<core::OutputArgs<ICloudService_OutputArgs>>::create();
}

void CloudAssistant::GetLoginState(Input input, Output output)
{
    forward(QStringLiteral("GetLoginState"), input, output, LookUpTimeout);
}

void CloudAssistant::GetMemoryLoginInfo(Input input, Output output)
{
    forward(QStringLiteral("GetMemoryLoginInfo"), input, output, LookUpTimeout);
}

void CloudAssistant::SendVerificationCode(Input input, Output output)
{
    forward(QStringLiteral("SendVerificationCode"), input, output, ActionTimeout);
}

void CloudAssistant::LoginByPhone(Input input, Output output)
{
    forward(QStringLiteral("LoginByPhone"), input, output, ActionTimeout);
}

void CloudAssistant::LoginByAccount(Input input, Output output)
{
    forward(QStringLiteral("LoginByAccount"), input, output, SignInTimeout);
}

void CloudAssistant::GetQRCodeUrl(Input input, Output output)
{
    forward(QStringLiteral("GetQRCodeUrl"), input, output, LookUpTimeout);
}

void CloudAssistant::QueryQRCodeResult(Input input, Output output)
{
    forward(QStringLiteral("QueryQRCodeResult"), input, output, ActionTimeout);
}

void CloudAssistant::GetLinkAddress(Input input, Output output)
{
    forward(QStringLiteral("GetLinkAddress"), input, output, LookUpTimeout);
}

void CloudAssistant::Logout(Input input, Output output)
{
    forward(QStringLiteral("Logout"), input, output, SignInTimeout);
}

} // namespace tarn::client
