#include "rpc/HubLink.h"
#include "rpc/Channels.h"
#include "rpc/Log.h"
#include "rpc/Messages.h"
#include "tarn/rpc/HubPort.h"
#include "tarn/v1/hub.grpc.pb.h"
#include <algorithm>
#include <grpcpp/client_context.h>

namespace tarn::rpc {

void HubLink::setAddress(const Address &address)
{
    const QMutexLocker lock(&m_mutex);
    m_address = address;
    m_channel.reset();
}

RpcError HubLink::resolve(const QString &tag, Deadline deadline, ObjectRef *to)
{
    deadline = std::min(deadline, std::chrono::system_clock::now() + std::chrono::milliseconds(limits::HubTimeoutMs));
    RpcError error = ask(tag, false, deadline, to);
    // A killed hub breaks the kept channel only when it is used; its successor may have another port.
    return error.code == RpcError::NoHub ? ask(tag, true, deadline, to) : error;
}

RpcError HubLink::ask(const QString &tag, bool fresh, Deadline deadline, ObjectRef *to)
{
    QString reason;
    std::shared_ptr<grpc::Channel> channel;
    {
        const QMutexLocker lock(&m_mutex);
        if (fresh && m_address.isLocal()) {
            if (const quint16 port = hubPort())
                m_address.port = port;
        }
        if (fresh || !m_channel)
            m_channel = makeChannel(m_address, false, &reason);
        channel = m_channel;
    }
    if (!channel)
        return makeError(RpcError::NoHub, reason);
    grpc::ClientContext context;
    context.set_deadline(deadline);
    v1::ResolveRequest request;
    v1::ObjectRef reply;
    request.set_tag(tag.toStdString());
    const grpc::Status status = v1::Hub::NewStub(channel)->Resolve(&context, request, &reply);
    if (status.error_code() == grpc::StatusCode::UNAVAILABLE)
        return makeError(
            RpcError::NoHub,
            QStringLiteral("the hub cannot be reached: %1").arg(QString::fromStdString(status.error_message())));
    if (status.ok())
        *to = fromWire(reply);
    return toError(status);
}

} // namespace tarn::rpc
