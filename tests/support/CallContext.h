#pragma once
#include "tarn/rpc/IInvocable.h"
#include <functional>

/// The context of a call that a test makes without an RPC core.
struct CallContext final : tarn::rpc::ICallContext
{
    std::function<bool()> hasEnded = [] { return false; }; ///< the caller no longer waits
    bool isCancelled() const override { return hasEnded(); }
};
