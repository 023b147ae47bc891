#pragma once
#include "frame/VisualizedEvents.h"
#include "frame/VisualizedManager.h"
#include "support/Args.h"
#include "support/LogCatcher.h"
#include "upgrade/InstallSilentPatchDlg.h"
#include <QApplication>
#include <QCoreApplication>

// Requests for silent patch installations, and the dialogs that they open.
namespace silent {

inline QSharedPointer<args::PatchIn> request(const QVariant &name, const QVariantMap &further = {})
{
    QVariantMap values{{"软件名称", name}, {"升级文件在本地的路径", QCoreApplication::applicationFilePath()}};
    for (auto it = further.cbegin(); it != further.cend(); ++it)
        values.insert(it.key(), it.value());
    return args::input<args::PatchIn>(values);
}

inline void send(const QSharedPointer<args::PatchIn> &input)
{
    CVisualizedEvents event(CVisualizedEvents::eShowSilentPatchInstallDialog, new CSilentPatchInstallEveData(input));
    QCoreApplication::sendEvent(CVisualizedManager::GetInstance(), &event);
}

inline QList<CInstallSilentPatchDlg *> visibleDialogs()
{
    QList<CInstallSilentPatchDlg *> list;
    for (QWidget *window : QApplication::topLevelWidgets()) {
        auto *dialog = qobject_cast<CInstallSilentPatchDlg *>(window);
        if (dialog && dialog->isVisible())
            list << dialog;
    }
    return list;
}

// The number of workers that have run; each logs one debug line.
inline int workers(const LogCatcher &log)
{
    return log.texts(QtDebugMsg).filter("静默补丁安装：软件名称：").size();
}

// Blocks the signals from workers to dialogs, as if the workers took long.
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

} // namespace silent
