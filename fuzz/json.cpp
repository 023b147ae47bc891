// The JSON input of "tarnctl call".
#include "cli/JsonBag.h"
#include "fuzz/Target.h"

TARN_FUZZ_TARGET("json")
{
    tarn::rpc::Bag bag;
    QString error;
    if (!tarn::cli::parseBag(input, &bag, &error)) {
        tarn::fuzz::require(!error.isEmpty(), "a refusal has a reason");
        return;
    }
    tarn::rpc::Bag again;
    const bool same = tarn::cli::parseBag(tarn::cli::compact(tarn::cli::toJson(bag.values)), &again, &error);
    tarn::fuzz::require(same, "the printed JSON can be read again");
}
