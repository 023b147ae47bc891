#include "upgrade/controls/TaskMerge.h"
#include "tarn/keys/UpgradeKeys.h"
#include "upgrade/operate/RowKeys.h"
#include "widgets/ShownText.h"
#include <QSet>
#include <algorithm>

namespace upgrade::controls {

namespace {
namespace state = tarn::upgrade::state;

/// "A、B" and the failure they share; empty without names.
QString failurePart(const QStringList &names, const QString &failure)
{
    QStringList shown;
    for (const QString &name : names)
        shown.append(tarn::visualized::text::literal(tarn::visualized::text::brief(name)));
    return shown.isEmpty() ? QString() : shown.join(QStringLiteral("、")) + failure;
}
} // namespace

TaskMerge::TaskMerge(const QList<QVariant> &rows, const QMap<QString, QWidget *> &shown)
{
    QSet<QString> lives;
    QSet<QString> cancels;
    for (const QVariant &row : rows) {
        const UpgradeRowInfo values = row.toMap();
        const QString name = values.value(row::SoftName).toString();
        const int status = values.value(row::TaskStatus).toInt();
        if (status == state::Downloading || status == state::Downloaded || status == state::Installing) {
            live.append(row);
            lives.insert(name);
            if (cancels.remove(name)) { // restarted: it keeps its row
                const auto isSame = [&](const QVariant &one) { return one.toMap().value(row::SoftName) == name; };
                cancelled.erase(std::remove_if(cancelled.begin(), cancelled.end(), isSame), cancelled.end());
            }
            continue;
        }
        if (cancels.contains(name) || !(lives.contains(name) || shown.contains(name)))
            continue;
        if (status == state::Cancelled) {
            cancelled.append(row);
            cancels.insert(name);
        }
        if (status == state::DownloadFailed)
            downloadFailed.append(name);
        if (status == state::InstallFailed)
            installFailed.append(name);
        if (status == state::DownloadFailed || status == state::InstallFailed || status == state::Installed)
            ended.append(row);
    }
}

QString failureReport(const QStringList &downloadFailed, const QStringList &installFailed)
{
    const QString download = failurePart(downloadFailed, QStringLiteral("下载出错"));
    const QString install = failurePart(installFailed, QStringLiteral("用户取消安装或安装出错"));
    if (!download.isEmpty() && !install.isEmpty())
        return QStringLiteral("%1；%2。").arg(download, install);
    const QString only = download + install;
    return only.isEmpty() ? QString() : QStringLiteral("%1。").arg(only);
}

} // namespace upgrade::controls
