#include "upgrade/controls/TaskMerge.h"
#include "tarn/keys/UpgradeKeys.h"
#include "upgrade/operate/RowKeys.h"
#include "widgets/ShownText.h"
#include <QSet>

namespace upgrade::controls {

namespace {
namespace state = tarn::upgrade::state;
namespace text = tarn::visualized::text;

/// "A、B" and the failure they share; empty without names.
QString failurePart(const QStringList &names, const QString &failure)
{
    QStringList shown;
    for (const QString &name : names)
        shown.append(text::literal(text::brief(name)));
    return shown.isEmpty() ? QString() : shown.join(QStringLiteral("、")) + failure;
}
} // namespace

TaskMerge::TaskMerge(const QList<QVariant> &rows, const QMap<QString, QWidget *> &shown)
{
    QSet<QString> lives;
    for (const QVariant &row : rows) {
        const UpgradeRowInfo values = row.toMap();
        const QString name = values.value(row::SoftName).toString();
        const int status = values.value(row::TaskStatus).toInt();
        if (status == state::Downloading || status == state::Downloaded || status == state::Installing) {
            live.append(row);
            lives.insert(name);
            cancelled.remove(name); // restarted: it keeps its row
        } else if (cancelled.contains(name) || !(lives.contains(name) || shown.contains(name))) {
            continue;
        } else if (status == state::Cancelled) {
            cancelled.insert(name, row);
        } else if (status == state::DownloadFailed || status == state::InstallFailed || status == state::Installed) {
            ended.append(row);
        }
    }
}

QStringList namesIn(int status, const QList<QVariant> &rows)
{
    QStringList names;
    for (const QVariant &row : rows) {
        if (row.toMap().value(row::TaskStatus).toInt() == status)
            names.append(row.toMap().value(row::SoftName).toString());
    }
    return names;
}

QString failureReport(const QStringList &downloadFailed, const QStringList &installFailed)
{
    QStringList parts{failurePart(downloadFailed, QStringLiteral("下载出错")),
                      failurePart(installFailed, QStringLiteral("用户取消安装或安装出错"))};
    parts.removeAll(QString());
    return parts.isEmpty() ? QString() : parts.join(QStringLiteral("；")) + QStringLiteral("。");
}

} // namespace upgrade::controls
