#pragma once
#include "tarn/client/IServiceAssistant.h"
#include "tarn/message/IMessageServiceArgs.h"
#include <QSharedPointer>

/// Client of the message service. Every operation writes its outcome into output: GetRetCode() 2000 for success, 2001
/// and 2012 for a transport failure, anything else for a refusal with GetError(). The order of the virtual functions
/// is part of the binary interface.
class IMessageServiceAssistant : public IServiceAssistant
{
public:
    using Input = QSharedPointer<IMessageService_InputArgs>;
    using Output = QSharedPointer<IMessageService_OutputArgs>;

    /// Input: "MsgId" (string), "MessageReceipt" (int, 2 read, 3 clicked), "SoftName" (string, may be empty).
    virtual void AddMessageReceipt(Input input, Output output) = 0;
    /// Input: "MsgId_list" (string list), "Operate_type" ("MsgState" or "MessageStatu"), and the status (int, 2 read,
    /// 3 deleted) under the key that the operate type names.
    virtual void UpdateMessageStatus(Input input, Output output) = 0;
    /// No input keys. Output list: one record per message that is not deleted, in the service's order (newest first).
    virtual void GetAllMessageRecords(Input input, Output output) = 0;
    /// Input: "MsgId". Output list: the one record, empty when the message is unknown.
    virtual void GetMessageRecord(Input input, Output output) = 0;
    virtual Input CreateInputArgs() = 0;   ///< never null
    virtual Output CreateOutputArgs() = 0; ///< never null
    /// Input: "SoftName" (string, may be empty), "MsgId" (string). The message is not shown again.
    virtual void IgnoreMessage(Input input, Output output) = 0;

protected:
    ~IMessageServiceAssistant() = default;
};
