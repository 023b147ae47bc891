// Messages from other processes.
#include "fuzz/Target.h"
#include "rpc/Decoder.h"

TARN_FUZZ_TARGET("wire")
{
    tarn::rpc::Request request;
    tarn::rpc::Decoder(input.constData(), input.size()).decode(&request);
    tarn::rpc::Response response;
    tarn::rpc::Decoder(input.constData(), input.size()).decode(&response);
}
