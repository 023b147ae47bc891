#pragma once
#include <QString>
#include <functional>

// Answers CToolkit::isProgramRunning() in tests that link with --wrap for it. Programs do not run by default.
namespace runningprograms {

inline std::function<bool(const QString &)> &check()
{
    static std::function<bool(const QString &)> function;
    return function;
}

} // namespace runningprograms

extern "C" bool __wrap__ZN17ServiceVisualized8CToolkit16isProgramRunningE7QString(QString program);
extern "C" bool __wrap__ZN17ServiceVisualized8CToolkit16isProgramRunningE7QString(QString program)
{
    return runningprograms::check() && runningprograms::check()(program);
}
