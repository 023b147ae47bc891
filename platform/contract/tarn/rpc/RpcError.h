#pragma once
#include "tarn/Export.h"
#include <string>

namespace tarn::rpc {

/// Why the last RPC call of this thread failed.
struct RpcError
{
    enum Code {
        None = 0,
        NotInitialized = 1, ///< the RPC core has no settings or was shut down
        NoHub = 2,          ///< the hub cannot be reached
        NotFound = 3,       ///< no object, interface or method of that name
        NoConnection = 4,   ///< the object is registered but its process cannot be reached
        Timeout = 5,        ///< the deadline passed
        Failed = 6,         ///< the call broke on the way or was refused by a limit
        InvalidArgument = 7 ///< the caller's own argument cannot be sent or bound
    };
    int code = None;
    std::string message; ///< UTF-8, for logs; empty when code is None
};

/// Last error of the calling thread; set by every failing call of Rpc, RpcAdapter and RpcProxy, cleared by a
/// successful one.
TARN_RPC_EXPORT RpcError getRpcLastError();

} // namespace tarn::rpc
