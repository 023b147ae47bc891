#include "rpc/Proxy.h"
#include "rpc/Log.h"
#include "rpc/Messages.h"
#include "tarn/rpc/HubPort.h"
#include "tarn/v1/hub.grpc.pb.h"
#include <QScopeGuard>
#include <algorithm>
#include <grpcpp/client_context.h>
#include <grpcpp/generic/generic_stub.h>

namespace tarn::rpc {
namespace {

const std::string CallMethod = "/tarn.v1.Invoker/Call";

/// Answers which prove that the operation was not executed.
bool neverArrived(const grpc::Status &status)
{
    return status.error_code() == grpc::StatusCode::FAILED_PRECONDITION ||
           status.error_code() == grpc::StatusCode::NOT_FOUND;
}

} // namespace

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

Proxy::Proxy(std::shared_ptr<ClientSide> side, ObjectRef ref, bool resolvable)
    : m_side(std::move(side))
    , m_ref(std::move(ref))
    , m_resolvable(resolvable)
    , m_place(m_ref)
{
}

CallResult Proxy::call(const QString &method, const Bag &input, int timeoutMs)
{
    const int ms = timeoutMs > 0 ? timeoutMs : m_side->timeoutMs.load();
    const Deadline deadline = std::chrono::system_clock::now() + std::chrono::milliseconds(ms);
    CallResult result;
    result.error = connect(deadline);
    if (result.arrived()) {
        grpc::Status status = send(method, input, deadline, &result);
        if (neverArrived(status) && m_resolvable) {
            result.error = resolve(deadline);
            if (result.arrived())
                status = send(method, input, deadline, &result);
        }
        if (result.arrived())
            result.error = toError(status);
        if (status.error_code() == grpc::StatusCode::UNIMPLEMENTED)
            result.errorText = QString::fromStdString(status.error_message());
    }
    succeed(result.error);
    return result;
}

/// Makes sure that there is a connection, before anything is sent.
RpcError Proxy::connect(Deadline deadline)
{
    if (!m_side->pending.isOpen())
        return makeError(RpcError::NotInitialized, QStringLiteral("the RPC core is not initialised"));
    {
        const QMutexLocker lock(&m_mutex);
        if (m_connection && m_connection->isOpen())
            return {};
        m_connection.reset();
        RpcError error = openChannel(deadline);
        if (error.code == RpcError::None || !m_resolvable)
            return error;
    }
    return resolve(deadline);
}

/// Asks the hub where the object lives now and connects there.
RpcError Proxy::resolve(Deadline deadline)
{
    ObjectRef place;
    RpcError error = m_side->hub.resolve(m_ref.tag, deadline, &place);
    if (error.code != RpcError::None)
        return error;
    const QMutexLocker lock(&m_mutex);
    if (place.interfaceName != m_ref.interfaceName)
        return makeError(RpcError::NotFound, QStringLiteral("object \"%1\" has another interface now").arg(m_ref.tag));
    m_place = place;
    m_connection.reset();
    return openChannel(deadline);
}

RpcError Proxy::openChannel(Deadline deadline)
{
    QString reason;
    const auto connection = m_side->connections.get(m_place.endpoint, &reason);
    if (!connection)
        return makeError(RpcError::NoConnection, reason);
    if (!connection->open(deadline)) {
        const bool late = std::chrono::system_clock::now() >= deadline;
        return makeError(late ? RpcError::Timeout : RpcError::NoConnection,
                         QStringLiteral("no connection to \"%1\" at %2").arg(m_place.tag, m_place.endpoint));
    }
    m_connection = connection;
    return {};
}

grpc::Status Proxy::send(const QString &method, const Bag &input, Deadline deadline, CallResult *result)
{
    std::shared_ptr<Connection> connection; // outlives the stub below
    Request request{m_ref.interfaceName, m_ref.tag, method, 0, input};
    {
        const QMutexLocker lock(&m_mutex);
        connection = m_connection;
        request.epoch = m_place.epoch;
    }
    QString error;
    grpc::ByteBuffer out;
    grpc::ByteBuffer in;
    if (!connection)
        return {grpc::StatusCode::UNAVAILABLE, "the connection was closed by another thread"};
    if (!encode(request, &out, &error))
        return {grpc::StatusCode::INVALID_ARGUMENT, error.toStdString()};
    grpc::ClientContext context;
    context.set_deadline(deadline);
    if (!m_side->pending.add(&context))
        return grpc::Status::CANCELLED;
    const auto pending = qScopeGuard([&] { m_side->pending.remove(&context); });
    grpc::CompletionQueue queue;
    grpc::GenericStub stub(connection->share());
    const auto reader = stub.PrepareUnaryCall(&context, CallMethod, out, &queue);
    grpc::Status status;
    void *tag = nullptr;
    bool ok = false;
    reader->StartCall();
    reader->Finish(&in, &status, nullptr);
    queue.Next(&tag, &ok);
    if (status.error_code() == grpc::StatusCode::UNAVAILABLE) {
        const QMutexLocker lock(&m_mutex);
        if (m_connection == connection)
            m_connection.reset(); // the next call looks the object up again, however soon it comes
    }
    if (!status.ok())
        return status;
    CallResult answer;
    if (!decode(in, &answer, &error))
        return {grpc::StatusCode::INTERNAL, "the answer is refused: " + error.toStdString()};
    *result = std::move(answer);
    return grpc::Status::OK;
}

} // namespace tarn::rpc
