#include "rpc/Lease.h"
#include "rpc/Channels.h"
#include "rpc/Log.h"
#include "tarn/rpc/HubPort.h"
#include "tarn/v1/hub.grpc.pb.h"
#include <QCoreApplication>
#include <QFileInfo>
#include <grpcpp/client_context.h>
#include <grpcpp/support/client_callback.h>

namespace tarn::rpc {

using namespace std::chrono_literals;

static constexpr auto RetryPause = 100ms;
static constexpr auto LostTime = 2s;      // from here on the hub is taken to have ended
static constexpr auto LongestLost = 60s;  // between two notices of one loss
static constexpr auto TakenPause = 500ms; // another process holds a tag
static constexpr auto AnswerTime = std::chrono::milliseconds(limits::HubTimeoutMs);

/// One Register stream. Keeps itself alive until gRPC has done with it.
class Lease::Stream final : public grpc::ClientReadReactor<v1::RegisterReply>
{
public:
    enum State { Opening, Held, Ended };

    Stream(std::shared_ptr<grpc::Channel> channel, std::shared_ptr<Signal> signal)
        : m_signal(std::move(signal))
        , m_stub(v1::Hub::NewStub(std::move(channel)))
    {
    }

    void start(std::shared_ptr<Stream> self)
    {
        m_self = std::move(self);
        m_stub->async()->Register(&m_context, &request, this);
        StartRead(&m_reply);
        StartCall();
    }
    void cancel() { m_context.TryCancel(); }
    void OnReadDone(bool ok) override
    {
        if (!ok)
            return; // OnDone follows
        report(Held, {});
        StartRead(&m_reply);
    }
    void OnDone(const grpc::Status &status) override
    {
        const std::shared_ptr<Stream> self = std::move(m_self); // destroyed last
        report(Ended, status);
    }

    State state() const { return m_state; } // under the signal's mutex, like status()
    const grpc::Status &status() const { return m_status; }

    v1::RegisterRequest request;

private:
    void report(State state, const grpc::Status &status)
    {
        const std::lock_guard<std::mutex> lock(m_signal->mutex);
        m_state = state;
        m_status = status;
        m_signal->changed.notify_all();
    }

    const std::shared_ptr<Signal> m_signal;
    std::unique_ptr<v1::Hub::Stub> m_stub;
    grpc::ClientContext m_context;
    v1::RegisterReply m_reply;
    std::shared_ptr<Stream> m_self;
    State m_state = Opening;
    grpc::Status m_status;
};

Lease::Lease(const Address &hub, const QString &endpoint, quint64 epoch, std::function<void()> hubLost)
    : m_endpoint(endpoint)
    , m_epoch(epoch)
    , m_hubLost(std::move(hubLost))
    , m_hub(hub)
    , m_thread([this] { run(); })
{
}

Lease::~Lease()
{
    {
        const std::lock_guard<std::mutex> lock(m_signal->mutex);
        m_stop = true;
        m_signal->changed.notify_all();
    }
    m_thread.join();
    if (m_stream)
        m_stream->cancel();
}

void Lease::setHub(const Address &hub)
{
    const std::lock_guard<std::mutex> lock(m_signal->mutex);
    m_hub = hub;
    m_heldVersion = 0; // registers there as well
    m_failures = 0;
    m_signal->changed.notify_all();
}

RpcError Lease::set(const std::vector<ObjectRef> &objects)
{
    std::unique_lock<std::mutex> lock(m_signal->mutex);
    m_wanted = objects;
    const quint64 version = ++m_wantedVersion;
    m_signal->changed.notify_all();
    const bool settled = m_signal->changed.wait_for(lock, AnswerTime, [&] { return m_settledVersion >= version; });
    return settled ? m_result : makeError(RpcError::NoHub, QStringLiteral("the hub does not answer"));
}

bool Lease::isHeld() const
{
    return m_stream && m_stream->state() == Stream::Held && m_heldVersion == m_wantedVersion;
}

void Lease::run()
{
    std::unique_lock<std::mutex> lock(m_signal->mutex);
    while (!m_stop) {
        if (m_wanted.empty() && m_stream && m_stream->state() == Stream::Held && !isHeld()) {
            // set() returns only after the hub has answered; a cancelled stream would reach it later.
            if (attempt(lock).code != RpcError::None)
                replaceStream(lock, nullptr);
            continue;
        }
        if (m_wanted.empty())
            replaceStream(lock, nullptr);
        if (m_wanted.empty() || isHeld()) {
            settle(m_wantedVersion, {});
            m_signal->changed.wait(lock);
            continue;
        }
        const quint64 version = m_wantedVersion;
        const RpcError result = attempt(lock);
        settle(version, result);
        noticeLoss(lock, result.code == RpcError::NoHub);
        if (result.code != RpcError::None)
            m_signal->changed.wait_for(lock, result.code == RpcError::NoHub ? RetryPause : TakenPause,
                                       [&] { return m_stop || m_wantedVersion != version; });
    }
}

/// Calls the hub's starter when no hub has answered for a while, and again in growing intervals.
void Lease::noticeLoss(std::unique_lock<std::mutex> &lock, bool lost)
{
    const auto now = std::chrono::steady_clock::now();
    if (!lost) {
        m_lostSince = {};
        return;
    }
    if (m_lostSince == std::chrono::steady_clock::time_point()) {
        m_lostSince = now;
        m_lostPause = LostTime;
    }
    if (now - m_lostSince < m_lostPause)
        return;
    m_lostSince = now;
    m_lostPause = std::min<std::chrono::milliseconds>(2 * m_lostPause, LongestLost);
    lock.unlock();
    m_hubLost();
    lock.lock();
}

/// Opens a stream for the wanted set beside the present one, which it then replaces.
RpcError Lease::attempt(std::unique_lock<std::mutex> &lock)
{
    QString reason;
    const quint64 version = m_wantedVersion;
    const auto objects = m_wanted;
    Address hub = m_hub;
    lock.unlock(); // making a channel takes time
    // A hub that was started again may have another port.
    const quint16 port = m_failures % 2 != 0 && hub.isLocal() ? hubPort() : 0;
    if (port != 0)
        hub.port = port;
    const std::shared_ptr<Stream> stream = openStream(hub, objects, &reason);
    lock.lock();
    if (!stream)
        return makeError(RpcError::NoHub, reason);
    m_signal->changed.wait_for(lock, AnswerTime, [&] { return m_stop || stream->state() != Stream::Opening; });
    if (stream->state() == Stream::Held) {
        m_heldVersion = version;
        if (m_hub.ip == hub.ip)
            m_hub.port = hub.port;
        replaceStream(lock, stream);
        return {};
    }
    RpcError error = toError(stream->status());
    lock.unlock();
    stream->cancel();
    lock.lock();
    if (error.code == RpcError::InvalidArgument)
        return error;
    return makeError(RpcError::NoHub,
                     error.code == RpcError::None
                         ? QStringLiteral("the hub does not answer")
                         : QStringLiteral("the hub cannot be reached: %1").arg(QString::fromStdString(error.message)));
}

void Lease::replaceStream(std::unique_lock<std::mutex> &lock, const std::shared_ptr<Stream> &stream)
{
    const std::shared_ptr<Stream> old = std::exchange(m_stream, stream);
    if (!old)
        return;
    lock.unlock(); // cancelling may report at once
    old->cancel();
    lock.lock();
}

std::shared_ptr<Lease::Stream> Lease::openStream(const Address &hub, const std::vector<ObjectRef> &objects,
                                                 QString *error)
{
    const auto channel = makeChannel(hub, true, error);
    if (!channel)
        return nullptr;
    auto stream = std::make_shared<Stream>(channel, m_signal);
    stream->request.set_endpoint(m_endpoint.toStdString());
    stream->request.set_epoch(m_epoch);
    stream->request.set_pid(QCoreApplication::applicationPid());
    stream->request.set_program(
        QFileInfo(QFile::symLinkTarget(QStringLiteral("/proc/self/exe"))).fileName().toStdString());
    for (const ObjectRef &object : objects) {
        v1::Registration *entry = stream->request.add_objects();
        entry->set_interface_name(object.interfaceName.toStdString());
        entry->set_tag(object.tag.toStdString());
    }
    stream->start(stream);
    return stream;
}

void Lease::settle(quint64 version, const RpcError &result)
{
    m_settledVersion = version;
    m_result = result;
    m_failures = result.code == RpcError::NoHub ? m_failures + 1 : 0;
    m_signal->changed.notify_all();
    if (result.code == m_warned)
        return;
    m_warned = result.code;
    const QString text = QString::fromStdString(result.message);
    if (result.code != RpcError::None)
        warn(QStringLiteral("objects are not registered: %1").arg(text));
    else
        inform(QStringLiteral("objects are registered again"));
}

} // namespace tarn::rpc
