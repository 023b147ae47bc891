#pragma once
#include "frame/VisualizedManager.h"
#include "support/Args.h"
#include "support/LogCatcher.h"
#include "upgrade/InstallSilentPatchDlg.h"
#include <QApplication>
#include <QVariantMap>

// What the upgrade service sends to the windows of this folder, and the windows.
namespace request {

inline QVariantMap changed(QVariantMap map, const QVariantMap &changes)
{
    map.insert(changes); // replaces
    return map;
}

inline QVariantMap section(const QString &name, const QString &version, const QString &date = "2026-05-01 10:00:00")
{
    return {{"软件名称", name}, {"升级版本", version}, {"CurrentVersion", "1.0"}, {"发布日期", date}};
}

// The record of a product with a release.
inline QVariantMap released(const QString &name, const QString &date = "2026-05-01 10:00:00")
{
    return {{"软件名称", name}, {"SoftBytes", "64"}, {"软件", section(name, "2.0", date)}, {"自带", "x"}};
}

// A task, as a poll reports it.
inline QVariantMap task(const QString &name, int status, qint64 current = 10, qint64 total = 100)
{
    const QVariantMap working{{"Type", 1}, {"UpdateVersion", "2.0"}, {"CurrentSize", current}, {"TotalSize", total}};
    return {{"SoftName", name},
            {"CurrentVersion", "1.0"},
            {"ExeFilePath", "/opt/" + name},
            {"Status", status},
            {"软件", QVariantMap{{"升级版本", "2.0"}}},
            {"WorkingItem", working}};
}

// A silent installation of a patch that is there.
inline QSharedPointer<args::PatchIn> patch(const QVariant &name, const QVariantMap &further = {})
{
    const QVariantMap values{{"软件名称", name}, {"升级文件在本地的路径", QCoreApplication::applicationFilePath()}};
    return args::input<args::PatchIn>(changed(values, further));
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

inline void sendNotes(const QVariantMap &record, QEvent::Type type = CVisualizedEvents::eShowUpgradeExplainDialog)
{
    send(type, new CUpgradeExplainEveData(args::input<args::SoftIn>({}, {record})));
}

inline void sendPatch(const QSharedPointer<args::PatchIn> &input)
{
    send(CVisualizedEvents::eShowSilentPatchInstallDialog, new CSilentPatchInstallEveData(input));
}

// All windows of a class that exist, shown or not.
template <class Window>
QList<Window *> windows()
{
    QList<Window *> found;
    for (QWidget *widget : QApplication::topLevelWidgets()) {
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

inline void processDeletions()
{
    QCoreApplication::sendPostedEvents();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
}

// Blocks the signals from workers to silent dialogs, as if the workers took long.
class LongWork final : public QObject
{
public:
    LongWork() { qApp->installEventFilter(this); }

protected:
    bool eventFilter(QObject *watched, QEvent *event) override
    {
        return event->type() == QEvent::MetaCall && qobject_cast<CInstallSilentPatchDlg *>(watched);
    }
};

} // namespace request
