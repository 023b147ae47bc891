#include "client/MessageAssistant.h"
#include "tarn/keys/MessageKeys.h"
#include "tarn/link/MessageWire.h"
#include "tarn/link/PagedCall.h"

namespace tarn::client {

using namespace message;

MessageAssistant::MessageAssistant()
    : Assistant(link::wire::MessageTag, {code::CallFailed, code::Refused, code::InvalidArgs, code::NoConnection})
{
}

void MessageAssistant::AddMessageReceipt(Input input, Output output)
{
    forward(QStringLiteral("AddMessageReceipt"), input, output, ActionTimeout);
}

void MessageAssistant::UpdateMessageStatus(Input input, Output output)
{
    forward(QStringLiteral("UpdateMessageStatus"), input, output, ActionTimeout);
}

// More records than fit into one message of the RPC layer come in pages.
void MessageAssistant::GetAllMessageRecords(Input input, Output output)
{
    forwardBy(input, output, [this](const rpc::Bag &bag) {
        return link::callPaged(m_connection, m_tag, QStringLiteral("GetAllMessageRecords"), bag, ListTimeout);
    });
}

void MessageAssistant::GetMessageRecord(Input input, Output output)
{
    forward(QStringLiteral("GetMessageRecord"), input, output, LookUpTimeout);
}

IMessageServiceAssistant::Input MessageAssistant::CreateInputArgs()
{
    return QSharedPointer<core::InputArgs<IMessageService_InputArgs>>::create();
}

IMessageServiceAssistant::Output MessageAssistant::CreateOutputArgs()
{
    return QSharedPointer<core::OutputArgs<IMessageService_OutputArgs>>::create();
}

void MessageAssistant::IgnoreMessage(Input input, Output output)
{
    forward(QStringLiteral("IgnoreMessage"), input, output, ActionTimeout);
}

} // namespace tarn::client
