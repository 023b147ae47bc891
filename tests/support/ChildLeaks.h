#pragma once
#include <QtGlobal>

/// Turns the leak check off for the programs that a test starts; the test's own stays on. The check stops all threads of
/// the ending process by ptrace and crashes now and then while gRPC's threads end, which would look like a bad exit.
inline void checkNoLeaksInChildren()
{
    qputenv("ASAN_OPTIONS", "detect_leaks=0");
}
