#pragma once

#include "frame/VisualizedEvents.h"
#include <QApplication>
#include <QPointer>
#include <QWidget>

// Notices as the operation hands them to the manager.
namespace notice {

inline QVariantMap values(const QVariantMap &changes = {})
{
    QVariantMap all{{"MsgId", "m1"},    {"MsgTitle", "标题"}, {"MsgContent", "正文"}, {"LinkText", ""},
                    {"LinkAdress", ""}, {"PicFilePath", ""},  {"unReadNum", "3"}};
    all.insert(changes);
    return all;
}

// The visible windows of a class.
template <class Window>
QList<Window *> visibleWindows()
{
    QList<Window *> found;
    const QWidgetList all = QApplication::topLevelWidgets();
    for (QWidget *widget : all) {
        auto *window = qobject_cast<Window *>(widget);
        if (window && window->isVisible())
            found.append(window);
    }
    return found;
}

} // namespace notice
