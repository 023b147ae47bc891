#pragma once
#include <QDir>
#include <ctime>

// Threads and processor time of the test's own process, which do not depend on the machine's load.
namespace own {

inline int threads()
{
    return QDir(QStringLiteral("/proc/self/task")).entryList(QDir::Dirs | QDir::NoDotAndDotDot).size();
}

// Processor time of the calling thread since its start, in milliseconds.
inline qint64 processorMs()
{
    timespec used = {};
    ::clock_gettime(CLOCK_THREAD_CPUTIME_ID, &used);
    return qint64(used.tv_sec) * 1000 + used.tv_nsec / 1000000;
}

} // namespace own
