#pragma once
#include <QString>

/// Ending programs by force. GUI thread.
namespace forcedquit {

/// Ends what runs the program: with "taskkill" where there is one, elsewhere by killing every process of the caller's
/// own user whose executable file has exactly this name (a script's is its interpreter), except the calling one. A name
/// that is empty, a path or a pattern ends nothing. All of it is logged.
///
/// Runs an event loop until they have ended, so that windows stay alive: the caller may be gone when it returns.
/// @param timeoutMs after which it returns in any case
void endProgram(const QString &exeName, int timeoutMs);

} // namespace forcedquit
