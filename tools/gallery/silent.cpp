#include "frame/VisualizedManager.h"
#include "gallery/Gallery.h"
#include "upgrade/Requests.h"
#include "widgets/CustomMessageBox.h"
#include <QMovie>

namespace {
// With the animation at rest, and not closed by its worker.
QWidget *progress(const QString &name)
{
    auto *work = new request::LongWork;
    auto *dialog = new CInstallSilentPatchDlg(request::patch(name), CVisualizedManager::GetInstance(), nullptr);
    work->setParent(dialog);
    auto *movie = dialog->findChild<QMovie *>();
    movie->setPaused(true);
    movie->jumpToFrame(2);
    return dialog;
}
} // namespace

GALLERY_SCENE(silent, Progress, "A patch is being installed silently.")
{
    return progress(QStringLiteral("云杉绘图"));
}

GALLERY_SCENE(silent, ProgressLongName, "The same for a product with a long name.")
{
    return progress(QStringLiteral("面向多学科协同设计的结构与流体联合分析平台（教学版）"));
}

GALLERY_SCENE(silent, RunningQuestion, "The product still runs.")
{
    QWidget *dialog = progress(QStringLiteral("云杉绘图"));
    auto *box = new QuestionMessageBox(QStringLiteral("提示"),
                                       QStringLiteral("检测到软件进程“云杉绘图”仍在运行，您可点击“重试”等待程序退出，"
                                                      "或选择“立即升级”强制退出软件并立即升级。"),
                                       dialog);
    QObject::connect(box, &QObject::destroyed, dialog, &QObject::deleteLater);
    box->SetButtonText(QStringLiteral("立即升级"), QStringLiteral("重试"));
    return box;
}
