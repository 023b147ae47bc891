#include "fuzz/Target.h"
#include <QElapsedTimer>
#include <QFile>
#include <cstdio>
#include <cstdlib>

namespace tarn::fuzz {

namespace {
qint64 longest = 0; // ms
}

void onGuiThread(const std::function<void()> &part)
{
    QElapsedTimer timer;
    timer.start();
    part();
    longest = std::max(longest, timer.elapsed());
}

qint64 longestGuiMs()
{
    return longest;
}

void require(bool condition, const char *promise)
{
    if (condition)
        return;
    std::fprintf(stderr, "broken promise: %s\n", promise);
    std::abort();
}

QString Scratch::file(const char *name, const QByteArray &content) const
{
    QFile file(path(name));
    require(file.open(QIODevice::WriteOnly) && file.write(content) == content.size(),
            "the scratch directory is writable");
    return file.fileName();
}

} // namespace tarn::fuzz
