#pragma once
#include "tarn/rpc/Bag.h"
#include "tarn/rpc/RpcError.h"

namespace tarn::rpc {

/// The outcome of one remote call. error.code None: the call arrived, the rest is the service's answer.
struct CallResult
{
    RpcError error;        ///< transport: what went wrong on the way
    bool accepted = false; ///< the operation's own bool result
    int retCode = 0;       ///< the family's return code, 0 if the operation set none
    QString errorText;     ///< the operation's own error text; also where the object exists and has no such method
    Bag output;

    bool arrived() const { return error.code == RpcError::None; }
};

/// A remote object. Thread-safe; calls block the calling thread for at most their deadline.
class RpcProxy
{
public:
    virtual ~RpcProxy() = default;
    /// @param timeoutMs deadline of this call in milliseconds; 0 takes the "Timeout" setting
    virtual CallResult call(const QString &method, const Bag &input, int timeoutMs = 0) = 0;
};

} // namespace tarn::rpc
