#pragma once
#include "client/Assistant.h"
#include "tarn/keys/MessageKeys.h"
#include "tarn/message/IMessageServiceAssistant.h"

namespace tarn::client {

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
    void AddMessageReceipt(Input in, Output out) override { forward(__func__, in, out, ActionTimeout); }
    void UpdateMessageStatus(Input in, Output out) override { forward(__func__, in, out, ActionTimeout); }
    void GetAllMessageRecords(Input in, Output out) override { forwardPaged(__func__, in, out, ListTimeout); }
    void GetMessageRecord(Input in, Output out) override { forward(__func__, in, out, LookUpTimeout); }
    void IgnoreMessage(Input in, Output out) override { forward(__func__, in, out, ActionTimeout); }
};

} // namespace tarn::client
