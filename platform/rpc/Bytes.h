#pragma once
#include "rpc/Decoder.h"
#include "rpc/Encoder.h"
#include "rpc/Limits.h"
#include <google/protobuf/arena.h>
#include <grpcpp/support/byte_buffer.h>

/// Wire messages as gRPC carries them.
namespace tarn::rpc {

/// @return false with the reason when the message cannot be sent whole
template <class WireMessage, class Message>
bool toBytes(const Message &from, grpc::ByteBuffer *to, QString *error)
{
    google::protobuf::Arena arena;
    auto *wire = google::protobuf::Arena::CreateMessage<WireMessage>(&arena);
    Encoder encoder;
    if (!encoder.encode(from, wire)) {
        *error = encoder.error();
        return false;
    }
    const size_t size = wire->ByteSizeLong();
    if (size > limits::MessageBytes) {
        *error =
            QStringLiteral("the message has %1 bytes, at most %2 are possible").arg(size).arg(limits::MessageBytes);
        return false;
    }
    grpc::Slice slice(size);
    wire->SerializeWithCachedSizesToArray(const_cast<uint8_t *>(slice.begin()));
    *to = grpc::ByteBuffer(&slice, 1);
    return true;
}

/// @return false with the reason when the bytes are no such message or break a limit
template <class Message>
bool fromBytes(const grpc::ByteBuffer &from, Message *to, QString *error)
{
    grpc::Slice slice;
    if (!from.TrySingleSlice(&slice).ok() && !from.DumpToSingleSlice(&slice).ok()) {
        *error = QStringLiteral("the message cannot be read");
        return false;
    }
    Decoder decoder(slice.begin(), static_cast<int>(slice.size()));
    if (decoder.decode(to))
        return true;
    *error = decoder.error();
    return false;
}

} // namespace tarn::rpc
