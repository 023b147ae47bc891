#pragma once

#include "XWatch.h"
#include "frame/VisualizedManager.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QSize>
#include <QTimer>
#include <QtNumeric>

// Waiting, and times of mapping, in a program that both shows the manager's windows and watches the X server. GUI thread.

inline double since(int64_t beginNs, int64_t endNs) // milliseconds
{
    return double(endNs - beginNs) / 1e6;
}

/// Sleeps between the events, as a host does: a busy loop would slow other threads. False when a minute was not enough.
template <class Condition>
bool waitUntil(Condition met)
{
    constexpr int TimeoutMs = 60000;
    QElapsedTimer timer;
    timer.start();
    QTimer look; // for what other threads see
    look.start(1);
    while (!met()) {
        if (timer.elapsed() > TimeoutMs)
            return false;
        QCoreApplication::processEvents(QEventLoop::AllEvents | QEventLoop::WaitForMoreEvents);
    }
    return true;
}

/// Milliseconds to the mapping of a window of the given size, NaN when none came.
inline double mappingAfter(XWatch &watch, int64_t beginNs, const QSize &size)
{
    int64_t mapped = 0;
    waitUntil([&] {
        for (const XWindowRecord &window : watch.windows()) {
            if (window.mapped >= beginNs && window.width == size.width() && window.height == size.height())
                mapped = window.mapped;
        }
        return mapped != 0;
    });
    return mapped == 0 ? qQNaN() : since(beginNs, mapped);
}

/// The one top-level window of a class, null while there is none.
template <class Window>
Window *theWindow()
{
    const QWidgetList all = QApplication::topLevelWidgets();
    for (QWidget *widget : all) {
        if (auto *window = qobject_cast<Window *>(widget))
            return window;
    }
    return nullptr;
}

/// Ends the manager with its windows and forgets the mappings.
inline void closeAll(XWatch &watch)
{
    CVisualizedManager::FreeInstance();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    waitUntil([&] { return QApplication::topLevelWidgets().isEmpty(); });
    watch.reset();
}
