// mapwatch: tells when windows of other processes come up. Orders, one a line:
//   reset                      forgets what happened so far; "ok"
//   wait WIDTH HEIGHT TIMEOUT_MS SETTLE_MS
//                              waits for a window of at least this size; answers, in CLOCK_MONOTONIC nanoseconds,
//                              "mapped FIRST STANDING PAINTED": the first mapping, the mapping of the window that was
//                              left when no more came for SETTLE_MS, and when half of it was drawn (0: never); or "none"

#include "XWatch.h"

#include <algorithm>
#include <iostream>
#include <sstream>

namespace {

void wait(XWatch *watch, int width, int height, int timeoutMs, int settleMs)
{
    int64_t latest = 0;
    const auto fits = [&](const XWindowRecord &window) {
        return window.mapped > latest && window.width >= width && window.height >= height;
    };
    XWindowRecord first;
    if (!watch->waitFor(fits, &first, timeoutMs)) {
        std::cout << "none" << std::endl;
        return;
    }
    XWindowRecord standing = first;
    for (latest = first.mapped; watch->waitFor(fits, &standing, settleMs); latest = standing.mapped) {
    }
    int64_t painted = 0;
    for (const XWindowRecord &window : watch->windows()) {
        if (window.painted > first.mapped && window.width >= width && window.height >= height)
            painted = std::max(painted, window.painted);
    }
    std::cout << "mapped " << first.mapped << ' ' << standing.mapped << ' ' << painted << std::endl;
}

} // namespace

int main()
{
    XWatch watch;
    if (!watch.start()) {
        std::cerr << "mapwatch: no display\n";
        return 1;
    }
    for (std::string line; std::getline(std::cin, line);) {
        std::istringstream words(line);
        std::string order;
        int width = 0, height = 0, timeoutMs = 0, settleMs = 0;
        words >> order;
        if (order == "reset") {
            watch.reset();
            std::cout << "ok" << std::endl;
        } else if (order == "wait" && words >> width >> height >> timeoutMs >> settleMs) {
            wait(&watch, width, height, timeoutMs, settleMs);
        } else {
            std::cout << "error" << std::endl;
        }
    }
    return 0;
}
