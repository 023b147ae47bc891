// Messages from other processes.
#include "fuzz/Target.h"
#include "rpc/Messages.h"
#include <grpcpp/support/byte_buffer.h>

TARN_FUZZ_TARGET("wire")
{
    const grpc::Slice slice(input.constData(), static_cast<size_t>(input.size()), grpc::Slice::STATIC_SLICE);
    const grpc::ByteBuffer bytes(&slice, 1);
    QString error;
    tarn::rpc::Request request;
    tarn::rpc::decode(bytes, &request, &error);
    tarn::rpc::CallResult answer;
    tarn::rpc::decode(bytes, &answer, &error);
}
