#include "login/ExecYunLogin.h"
#include "login/AccountCall.h"
#include <utility>

using tarn::visualized::AccountCall;

void ExecYunLogin(ICloudServiceAssistant *assistant, QSharedPointer<ICloudService_InputArgs> input,
                  QSharedPointer<ICloudService_OutputArgs> output)
{
    if (!assistant || !input || !output || AccountCall::current())
        return;
    auto *call = new AccountCall(assistant, std::move(input), std::move(output)); // deletes itself
    call->wait();
}
