#pragma once
#include "client/Assistant.h"
#include "tarn/message/IMessageServiceAssistant.h"

namespace tarn::client {

/// Client of the message service. Any thread.
class MessageAssistant final : public Assistant<IMessageServiceAssistant>
{
public:
    MessageAssistant();

    void AddMessageReceipt(Input input, Output output) override;
    void UpdateMessageStatus(Input input, Output output) override;
    void GetAllMessageRecords(Input input, Output output) override;
    void GetMessageRecord(Input input, Output output) override;
    Input CreateInputArgs() override;
    Output CreateOutputArgs() override;
    void IgnoreMessage(Input input, Output output) override;
};

} // namespace tarn::client
