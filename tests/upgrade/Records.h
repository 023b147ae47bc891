#pragma once

#include "frame/ManagerAccess.h"
#include "frame/VisualizedManager.h"
#include "support/Args.h"
#include <QApplication>
#include <QPointer>
#include <QVariantMap>

// Update records as the upgrade service sends them, and the windows that show them.
namespace records_test {

inline QVariantMap section(const QString &name, const QString &version, const QString &date = "2026-05-01 10:00:00")
{
    return {{"软件名称", name}, {"升级版本", version}, {"CurrentVersion", "1.0"}, {"发布日期", date}};
}

inline QVariantMap released(const QString &name, const QString &date = "2026-05-01 10:00:00")
{
    return {{"软件名称", name}, {"SoftBytes", "64"}, {"软件", section(name, "2.0", date)}, {"自带", "x"}};
}

inline void send(QEvent::Type type, IVisualizedEventData *data)
{
    CVisualizedEvents event(type, data);
    QCoreApplication::sendEvent(CVisualizedManager::GetInstance(), &event);
}

inline void sendCheck(const QVariantList &records)
{
    send(CVisualizedEvents::eShowAutoCheckUpdateDialog,
         new CAutoCheckUpdateEveData(args::input<args::SoftIn>({}, records)));
}

inline void sendNotes(const QVariantMap &record)
{
    send(CVisualizedEvents::eShowUpgradeExplainDialog,
         new CUpgradeExplainEveData(args::input<args::SoftIn>({}, {record})));
}

// All windows of a class that exist, shown or not.
template <class Window>
QList<Window *> windows()
{
    QList<Window *> found;
    const QWidgetList all = QApplication::topLevelWidgets();
    for (QWidget *widget : all) {
        if (auto *window = qobject_cast<Window *>(widget))
            found.append(window);
    }
    return found;
}

template <class Window>
Window *onlyWindow()
{
    const QList<Window *> all = windows<Window>();
    return all.size() == 1 ? all.first() : nullptr;
}

} // namespace records_test
