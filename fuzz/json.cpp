// The JSON input of "tarnctl call".
#include "cli/JsonBag.h"
#include "fuzz/Target.h"

using namespace tarn::cli;

TARN_FUZZ_TARGET("json")
{
    tarn::rpc::Bag bag;
    try {
        bag = parseBag(input);
    } catch (const Failure &failure) {
        tarn::fuzz::require(!failure.text.isEmpty(), "a refusal has a reason");
        return;
    }
    parseBag(compact(toJson(bag.values))); // the printed JSON can be read again
}
