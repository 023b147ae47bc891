#pragma once

#include <QApplication>
#include <QElapsedTimer>

#include <algorithm>

/// Remembers the longest event that it delivered.
class TimedApplication final : public QApplication
{
public:
    using QApplication::QApplication;

    bool notify(QObject *receiver, QEvent *event) override
    {
        const bool outermost = m_depth++ == 0;
        QElapsedTimer timer;
        timer.start();
        const bool done = QApplication::notify(receiver, event);
        --m_depth;
        if (outermost)
            longestNs = std::max(longestNs, timer.nsecsElapsed());
        return done;
    }

    qint64 longestNs = 0;

private:
    int m_depth = 0;
};
