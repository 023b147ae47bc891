#pragma once
#include "rpc/Settings.h"
#include "tarn/rpc/Bag.h"
#include "tarn/rpc/RpcError.h"
#include <chrono>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

namespace tarn::rpc {

/// Keeps this process's objects registered: one stream to the hub, opened again - on a fresh channel, every 100 ms, at
/// the port that is published then - whenever it breaks. Thread-safe.
class Lease
{
public:
    /// @param hubLost called on the lease's thread when no hub has answered for two seconds
    Lease(const Address &hub, const QString &endpoint, quint64 epoch, std::function<void()> hubLost);
    ~Lease(); ///< withdraws everything

    void setHub(const Address &hub);
    /// Replaces the set of objects, of which interface and tag count, and waits for the hub's answer, at most two seconds.
    /// @return NoHub: no hub answers; InvalidArgument: another process holds a tag. The lease keeps trying in both cases
    RpcError set(const std::vector<ObjectRef> &objects);

private:
    class Stream;
    void run();
    bool isHeld() const;
    RpcError attempt(std::unique_lock<std::mutex> &lock);
    void noticeLoss(std::unique_lock<std::mutex> &lock, bool lost);
    void settle(quint64 version, const RpcError &result);
    void replaceStream(std::unique_lock<std::mutex> &lock, const std::shared_ptr<Stream> &stream);
    std::shared_ptr<Stream> openStream(const Address &hub, const std::vector<ObjectRef> &objects, QString *error);

    /// Shared with the streams, which may outlive the lease for a moment.
    struct Signal
    {
        std::mutex mutex;
        std::condition_variable changed;
    };

    const QString m_endpoint;
    const quint64 m_epoch;
    const std::function<void()> m_hubLost;
    const std::shared_ptr<Signal> m_signal = std::make_shared<Signal>(); // its mutex guards all that follows
    Address m_hub;
    std::vector<ObjectRef> m_wanted;
    quint64 m_wantedVersion = 0;
    quint64 m_heldVersion = 0;     ///< version that m_stream registered
    quint64 m_settledVersion = 0;  ///< last version with an answer
    RpcError m_result;             ///< that answer
    int m_failures = 0;            ///< attempts in a row that found no hub; written by the lease's thread only
    int m_warned = RpcError::None; ///< last trouble in the log
    std::chrono::steady_clock::time_point m_lostSince; ///< no hub since then, or since the last notice; lease's thread
    std::chrono::milliseconds m_lostPause{};           ///< until the next notice; lease's thread
    bool m_stop = false;
    std::shared_ptr<Stream> m_stream;
    std::thread m_thread;
};

} // namespace tarn::rpc
