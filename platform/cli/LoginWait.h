#pragma once
#include "tarn/rpc/Bag.h"
#include <functional>

namespace tarn::link {
class ServiceConnection;
}

namespace tarn::cli {

/// Requests a sign-in with a notify object of this program, waits until the object is called, and prints its call. Gives
/// up when no dialog is seen within 15 seconds, when it has been closed without a sign-in, when the visualized service
/// ends, or after so many seconds.
/// @param request sends the request with the object's reference and returns the exit code
/// @return the exit code
int waitForLogin(const std::function<int(link::ServiceConnection &, const rpc::ObjectRef &)> &request, int seconds);

} // namespace tarn::cli
