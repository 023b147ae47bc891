#pragma once

/// Whether translucent windows are shown as such.
namespace compositor {

/// @return true when a compositing manager runs on the X screen, and wherever there is no X. GUI thread.
bool isRunning();

} // namespace compositor
