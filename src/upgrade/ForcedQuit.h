#pragma once
#include <QString>

namespace tarn::visualized::forcedquit {

/// Ends a program by the name of its executable file: with "taskkill" where that command exists, else by killing every
/// other process of this user that runs a file of this name (a script is not found: its process runs the interpreter).
/// The result is logged. GUI thread; an event loop runs while "taskkill" runs, so the caller can be deleted meanwhile.
/// @param exeName a file name; directories in front of it are ignored
/// @param timeoutMs limit of the wait for "taskkill", which continues afterwards
void endProgram(const QString &exeName, int timeoutMs);

} // namespace tarn::visualized::forcedquit
