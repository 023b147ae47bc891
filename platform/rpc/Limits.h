#pragma once

/// Limits of the wire, the same for sender and receiver.
namespace tarn::rpc::limits {

constexpr int MessageBytes = 4 * 1024 * 1024; ///< one message, either way
constexpr int Depth = 16;                     ///< nesting of lists and maps below a bag
constexpr int Nodes = 65536;                  ///< values in one message
constexpr int Coordinate = 1 << 29;           ///< numbers of a rectangle, so that sums of them fit into an int
constexpr int QuotaBytes = 32 * 1024 * 1024;  ///< what all incoming messages of a process may hold together
constexpr int HeldBytes = 16 * 1024 * 1024;   ///< requests and unread answers of a process, beyond it calls are refused
constexpr int StreamsPerConnection = 256;     ///< calls that one connection may have open
constexpr int QueuedCalls = 1024;             ///< calls that wait for a worker thread
constexpr int HubTimeoutMs = 2000;            ///< deadline of every question to the hub
constexpr int MaxThreads = 64;                ///< upper bound of the "ThreadNum" setting
constexpr int DefaultThreads = 4;
constexpr int DefaultTimeoutMs = 30000;

} // namespace tarn::rpc::limits
