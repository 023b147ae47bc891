#pragma once
#include <QDir>
#include <QTest>
#include <csignal>
#include <sys/types.h>

/// Stops a process (SIGSTOP) and waits until each of its threads has stopped: the signal alone leaves them time to
/// answer one more call. SIGCONT wakes it.
inline bool freeze(pid_t pid)
{
    if (kill(pid, SIGSTOP) != 0)
        return false;
    const QDir tasks(QStringLiteral("/proc/%1/task").arg(pid));
    const auto standsStill = [&tasks] {
        const QStringList threads = tasks.entryList(QDir::Dirs | QDir::NoDotAndDotDot);
        for (const QString &thread : threads) {
            QFile stat(tasks.filePath(thread + QStringLiteral("/stat")));
            if (!stat.open(QIODevice::ReadOnly))
                continue;                           // it has just ended
            const QByteArray line = stat.readAll(); // the state follows the name in brackets
            if (line.mid(line.lastIndexOf(')') + 2, 1) != "T")
                return false;
        }
        return !threads.isEmpty();
    };
    return QTest::qWaitFor(standsStill, 5000);
}
