#include "rpc/CallService.h"
#include "rpc/Log.h"
#include "tarn/rpc/RpcLog.h"
#include <chrono>

namespace tarn::rpc {
namespace {

grpc::Status refusal(grpc::StatusCode code, const QString &text)
{
    trace(QStringLiteral("call refused: %1").arg(text));
    return {code, text.left(1000).toStdString()};
}

/// The object's own answer; whatever it throws becomes a refusal.
CallResult invoke(IInvocable &object, const Request &request, const ICallContext &context)
{
    CallResult failed;
    try {
        return object.invoke(request.method, request.input, context);
    } catch (const std::exception &e) {
        failed.errorText = QStringLiteral("%1 failed: %2").arg(request.method, QString::fromUtf8(e.what()));
    } catch (...) {
        failed.errorText = QStringLiteral("%1 failed").arg(request.method);
    }
    warn(QStringLiteral("exception in a call: %1").arg(failed.errorText));
    return failed;
}

/// Requests and unread answers of this process. gRPC may drop an answer after the server has ended.
std::atomic<qint64> heldBytes = 0;

/// Counts the answer's bytes until gRPC drops them: the caller has read them, or has ended.
void holdUntilRead(grpc::ByteBuffer *answer)
{
    auto bytes = std::make_unique<grpc::Slice>();
    if (!answer->TrySingleSlice(bytes.get()).ok() && !answer->DumpToSingleSlice(bytes.get()).ok())
        return;
    heldBytes += static_cast<qint64>(bytes->size());
    const auto drop = [](void *each) {
        const std::unique_ptr<grpc::Slice> dropped(static_cast<grpc::Slice *>(each));
        heldBytes -= static_cast<qint64>(dropped->size());
    };
    const grpc::Slice held(const_cast<uint8_t *>(bytes->begin()), bytes->size(), drop, bytes.get());
    static_cast<void>(bytes.release());
    *answer = grpc::ByteBuffer(&held, 1);
}

} // namespace

/// One call from its arrival to its answer.
class CallService::Running final : public QRunnable, public ICallContext
{
public:
    /// @param in is taken, since gRPC would keep it until the call has ended
    Running(CallService &service, grpc::CallbackServerContext *context, grpc::ServerUnaryReactor *reactor,
            const grpc::ByteBuffer *in, grpc::ByteBuffer *out)
        : m_service(service)
        , m_context(context)
        , m_reactor(reactor)
        , m_out(out)
    {
        m_in.Swap(const_cast<grpc::ByteBuffer *>(in));
        heldBytes += m_held = static_cast<qint64>(m_in.Length());
    }
    ~Running() override { heldBytes -= m_held; }
    void run() override
    {
        --m_service.m_queued;
        m_reactor->Finish(answer());
    }
    grpc::Status answer()
    {
        if (isCancelled())
            return abandoned();
        Request request;
        CallResult result;
        QString error;
        if (!decode(m_in, &request, &error))
            return refusal(grpc::StatusCode::INVALID_ARGUMENT, QStringLiteral("the request is refused: %1").arg(error));
        m_in.Clear(); // a long call need not keep the bytes
        heldBytes -= std::exchange(m_held, 0);
        grpc::Status status = m_service.perform(request, *this, &result);
        if (!status.ok())
            return status;
        if (isLate()) // the caller learns the same from the earlier of the two clocks
            return abandoned();
        if (!encode(result, m_out, &error))
            return refusal(grpc::StatusCode::INTERNAL,
                           QStringLiteral("the answer of %1 cannot be sent: %2").arg(request.method, error));
        holdUntilRead(m_out);
        return grpc::Status::OK;
    }
    bool isCancelled() const override { return m_context->IsCancelled() || isLate(); }
    QSharedPointer<RpcProxy> proxy(const ObjectRef &object) const override
    {
        const auto &client = m_service.m_client;
        return client ? QSharedPointer<Proxy>::create(client, object, false) : QSharedPointer<Proxy>();
    }

private:
    bool isLate() const { return m_context->deadline() < std::chrono::system_clock::now(); }
    grpc::Status abandoned() const
    {
        return isLate() ? grpc::Status(grpc::StatusCode::DEADLINE_EXCEEDED, "the deadline has passed")
                        : grpc::Status::CANCELLED;
    }

    CallService &m_service;
    grpc::CallbackServerContext *const m_context;
    grpc::ServerUnaryReactor *const m_reactor;
    grpc::ByteBuffer m_in;
    grpc::ByteBuffer *const m_out;
    qint64 m_held; ///< bytes of m_in
};

CallService::CallService(const ServantTable &servants, std::shared_ptr<ClientSide> client, int threads, quint64 epoch)
    : m_servants(servants)
    , m_client(std::move(client))
    , m_epoch(epoch)
    , m_single(threads <= 1)
{
    m_pool.setMaxThreadCount(m_single ? 1 : threads - 1);
}

grpc::ServerUnaryReactor *CallService::Call(grpc::CallbackServerContext *context, const grpc::ByteBuffer *request,
                                            grpc::ByteBuffer *response)
{
    // Its end wakes no thread; gRPC runs the end of any other reactor on a further thread.
    grpc::ServerUnaryReactor *const reactor = context->DefaultReactor();
    auto call = std::make_unique<Running>(*this, context, reactor, request, response);
    if (heldBytes > limits::HeldBytes) {
        reactor->Finish(refusal(grpc::StatusCode::RESOURCE_EXHAUSTED, QStringLiteral("too many bytes wait")));
    } else if (!m_single && !m_entered.test_and_set()) {
        const grpc::Status status = call->answer();
        m_entered.clear();
        reactor->Finish(status);
    } else if (++m_queued <= limits::QueuedCalls) {
        m_pool.start(call.release());
    } else {
        --m_queued;
        reactor->Finish(refusal(grpc::StatusCode::RESOURCE_EXHAUSTED, QStringLiteral("too many calls wait")));
    }
    return reactor;
}

grpc::Status CallService::perform(const Request &request, const ICallContext &context, CallResult *result) const
{
    if (request.epoch != 0 && request.epoch != m_epoch)
        return refusal(grpc::StatusCode::FAILED_PRECONDITION, QStringLiteral("the object's process has ended"));
    const Servant servant = m_servants.find(request.object);
    if (!servant.object)
        return refusal(grpc::StatusCode::NOT_FOUND, QStringLiteral("no object \"%1\"").arg(request.object.left(200)));
    if (servant.interfaceName != request.interfaceName)
        return refusal(
            grpc::StatusCode::NOT_FOUND,
            QStringLiteral("object \"%1\" has no interface \"%2\"").arg(servant.tag, request.interfaceName.left(200)));
    const CallGate::Pass pass(servant.gate);
    if (!pass.entered())
        return refusal(grpc::StatusCode::NOT_FOUND, QStringLiteral("object \"%1\" is withdrawn").arg(servant.tag));
    if (RpcLog::print())
        trace(QStringLiteral("%1.%2").arg(servant.tag, request.method));
    *result = invoke(*servant.object, request, context);
    if (result->error.code == RpcError::NotFound)
        return refusal(grpc::StatusCode::UNIMPLEMENTED,
                       QStringLiteral("%1 has no method \"%2\"").arg(servant.interfaceName, request.method.left(200)));
    if (result->error.code != RpcError::None)
        return refusal(grpc::StatusCode::INTERNAL, QString::fromStdString(result->error.message));
    return grpc::Status::OK;
}

} // namespace tarn::rpc
