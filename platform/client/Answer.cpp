#include "client/Answer.h"

namespace tarn::client {

using rpc::RpcError;

namespace {

int transportCode(const rpc::CallResult &result, const FamilyCodes &codes)
{
    switch (result.error.code) {
    case RpcError::Timeout:
    case RpcError::Failed:
        return codes.callFailed;
    case RpcError::InvalidArgument:
        return codes.invalidArgs;
    case RpcError::NotFound:
        // The object exists: it is the service that has no such method.
        return result.errorText.isEmpty() ? codes.noConnection : codes.refused;
    default:
        return codes.noConnection;
    }
}

} // namespace

Answer toAnswer(const rpc::CallResult &result, const FamilyCodes &codes)
{
    if (!result.arrived())
        return {transportCode(result, codes), QString::fromStdString(result.error.message), {}};
    const bool codeMissing = !result.accepted && result.retCode == 0;
    return {codeMissing ? codes.refused : result.retCode, result.errorText, result.output};
}

} // namespace tarn::client
