#pragma once
#include "tarn/rpc/RpcProxy.h"

namespace grpc {
class ByteBuffer;
}
namespace tarn::v1 {
class ObjectRef;
}

namespace tarn::rpc {

/// A call in Qt types: what the wire message CallRequest holds. Its answer, CallResponse, is a CallResult without error.
struct Request
{
    QString interfaceName;
    QString object;
    QString method;
    quint64 epoch = 0;
    Bag input;
};

/// Refuses what would not arrive whole: types that the wire does not know, texts that are no valid UTF-16, too deep
/// nesting, too many values or bytes.
/// @return false with the reason
template <class Message> // Request or CallResult
bool encode(const Message &from, grpc::ByteBuffer *to, QString *error);

/// @return false with the reason when the bytes are no such message or break a limit
template <class Message> // Request or CallResult
bool decode(const grpc::ByteBuffer &from, Message *to, QString *error);

/// References as the hub sends them.
void toWire(const ObjectRef &from, v1::ObjectRef *to);
ObjectRef fromWire(const v1::ObjectRef &from);

} // namespace tarn::rpc
