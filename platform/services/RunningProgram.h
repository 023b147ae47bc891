#pragma once
#include <QString>

/// This user's processes that run an executable file, also one that was replaced since, whatever their names; a script's
/// is its interpreter, so that scripts are never found. Any thread.
namespace tarn::services {

/// @param file absolute path without links; an empty one is never running
bool isProgramRunning(const QString &file);

/// Kills the processes and waits until they have ended. Throws Failure when one is left.
void endProgram(const QString &file, int timeoutMs);

} // namespace tarn::services
