#pragma once
#include "tarn/rpc/Bag.h"

namespace tarn::rpc {

/// A call and its answer in Qt types: what the wire messages CallRequest and CallResponse hold.
struct Request
{
    QString interfaceName;
    QString object;
    QString method;
    quint64 epoch = 0;
    Bag input;
};

struct Response
{
    bool accepted = false;
    int code = 0;
    QString error;
    Bag output;
};

} // namespace tarn::rpc
