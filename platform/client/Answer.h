#pragma once
#include "tarn/rpc/RpcProxy.h"
#include <QString>

namespace tarn::client {

/// The return codes that a service family uses for what the client library itself finds.
struct FamilyCodes
{
    int callFailed;
    int refused;
    int invalidArgs;
    int noConnection;
};

/// The contents of an output argument object.
struct Answer
{
    int code = 0;
    QString error;
    rpc::Bag output;
};

/// Judges a call: transport errors become the family's codes, the service's own code passes.
Answer toAnswer(const rpc::CallResult &result, const FamilyCodes &codes);

} // namespace tarn::client
