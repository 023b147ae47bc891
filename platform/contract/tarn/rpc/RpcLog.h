#pragma once
#include "tarn/Export.h"

namespace tarn::rpc {

/// Switch for the RPC core's own diagnostic lines (debug level, category "tarn.rpc"). Never prints argument values.
class TARN_RPC_EXPORT RpcLog
{
public:
    static void set_print(bool enabled);
    static bool print();
};

} // namespace tarn::rpc
