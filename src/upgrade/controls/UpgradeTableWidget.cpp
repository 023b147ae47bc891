#include "upgrade/controls/UpgradeTableWidget.h"
#include "base/Log.h"
#include "frame/VtServiceClient.h"
#include "tarn/keys/UpgradeKeys.h"
#include "tarn/upgrade/IUpgradeServiceAssistant.h"
#include "upgrade/controls/UpgradeProgress.h"
#include "upgrade/operate/RowKeys.h"
#include "widgets/BringToFront.h"
#include "widgets/QuestionMessageBox.h"
#include <algorithm>

namespace upgrade::controls {

namespace {
namespace state = tarn::upgrade::state;

/// "A、B" and what happened to them; empty without names.
QString failurePart(const QStringList &names, const QString &what)
{
    return names.isEmpty() ? QString() : names.join(QStringLiteral("、")) + what;
}

QString failureText(const QString &download, const QString &install)
{
    if (!download.isEmpty() && !install.isEmpty())
        return QStringLiteral("%1；%2。").arg(download, install);
    const QString &only = download.isEmpty() ? install : download;
    return only.isEmpty() ? QString() : QStringLiteral("%1。").arg(only);
}

QString nameOf(const QVariant &row)
{
    return row.toMap().value(row::SoftName).toString();
}
} // namespace

struct CUpgradeTableWidget::Merge
{
    quint64 picture = 0;
    QList<QVariant> finished; ///< downloads that are complete
    QList<QVariant> ended;    ///< rows that go after the report
    QStringList downloadFailed;
    QStringList installFailed;
};

void CUpgradeTableWidget::onRefreshUpgradeDtats(QVariant datas)
{
    const QList<QVariant> rows = datas.toList();
    if (rows.isEmpty())
        return;
    const QPointer<CUpgradeTableWidget> self(this);
    Merge merge;
    merge.picture = ++m_picture;
    for (const QVariant &row : rows)
        sortIn(row, &merge);
    flush();
    startInstallations(merge);
    if (self)
        reportAndRemove(&merge);
}

void CUpgradeTableWidget::sortIn(const QVariant &row, Merge *merge)
{
    const QVariantMap values = row.toMap();
    const QString name = values.value(row::SoftName).toString();
    const int status = values.value(row::TaskStatus).toInt();
    if (status == state::Downloading || status == state::Downloaded || status == state::Installing) {
        takeLiveRow(name, row, merge);
        if (status == state::Downloaded)
            merge->finished.append(row);
        return;
    }
    if (!m_progressByName.contains(name))
        return;
    if (status == state::Cancelled)
        unplace(name);
    if (status == state::DownloadFailed)
        merge->downloadFailed.append(name);
    if (status == state::InstallFailed)
        merge->installFailed.append(name);
    if (status == state::DownloadFailed || status == state::InstallFailed || status == state::Installed)
        merge->ended.append(row);
}

void CUpgradeTableWidget::takeLiveRow(const QString &name, const QVariant &row, Merge *merge)
{
    CUpgradeProgress *progress = progressOf(name);
    if (progress)
        progress->setUpgradeInfo(row);
    else
        place(name, row);
    progress = progress ? progress : progressOf(name);
    if (progress)
        progress->setPicture(merge->picture);
}

// After the rows are in place, since the call blocks and may ask a question first.
void CUpgradeTableWidget::startInstallations(const Merge &merge)
{
    const QPointer<CUpgradeTableWidget> self(this);
    for (const QVariant &row : merge.finished) {
        if (m_picture != merge.picture)
            return;
        updateRow(row);
        if (!self)
            return;
    }
}

void CUpgradeTableWidget::reportAndRemove(Merge *merge)
{
    if (errorReportShowing)
        return;
    const QPointer<CUpgradeTableWidget> self(this);
    dropOvertaken(merge);
    showErrorDialog(merge->downloadFailed, merge->installFailed);
    if (!self)
        return;
    dropOvertaken(merge);
    deleteRows(merge->ended);
}

// A product that a newer picture shows as running again keeps its row.
void CUpgradeTableWidget::dropOvertaken(Merge *merge) const
{
    if (m_picture == merge->picture)
        return;
    const auto overtaken = [this, merge](const QString &name) {
        const CUpgradeProgress *progress = progressOf(name);
        return !progress || progress->picture() > merge->picture;
    };
    const auto rowOvertaken = [&overtaken](const QVariant &row) { return overtaken(nameOf(row)); };
    const auto drop = [](auto *list, const auto &test) {
        list->erase(std::remove_if(list->begin(), list->end(), test), list->end());
    };
    drop(&merge->downloadFailed, overtaken);
    drop(&merge->installFailed, overtaken);
    drop(&merge->ended, rowOvertaken);
}

void CUpgradeTableWidget::showErrorDialog(const QStringList &downloadFailed, const QStringList &installFailed)
{
    errorReportShowing = true;
    const QPointer<CUpgradeTableWidget> self(this);
    const QString text = failureText(failurePart(downloadFailed, QStringLiteral("下载出错")),
                                     failurePart(installFailed, QStringLiteral("用户取消安装或安装出错")));
    if (!text.isEmpty()) {
        if (m_parentDlg)
            front::raiseOnce(m_parentDlg);
        CstmMessageBox(QStringLiteral("提示"), text, eTipNormal, this);
    }
    if (self)
        errorReportShowing = false;
}

void CUpgradeTableWidget::addRows(const QList<QVariant> &rows)
{
    Merge merge;
    merge.picture = ++m_picture;
    for (const QVariant &row : rows) {
        takeLiveRow(nameOf(row), row, &merge);
        if (row.toMap().value(row::TaskStatus).toInt() == state::Downloaded)
            merge.finished.append(row);
    }
    flush();
    startInstallations(merge);
}

void CUpgradeTableWidget::addRow(const QVariant &row)
{
    addRows({row});
}

void CUpgradeTableWidget::updateRow(const QVariant &row)
{
    if (CUpgradeProgress *progress = progressOf(nameOf(row)))
        progress->updateUpgradeInfo(row);
}

void CUpgradeTableWidget::deleteRows(const QList<QVariant> &rows)
{
    for (const QVariant &row : rows)
        unplace(nameOf(row));
    flush();
}

void CUpgradeTableWidget::deleteRow(const QVariant &row)
{
    deleteRows({row});
}

void CUpgradeTableWidget::onCancelDownload(QVariant info)
{
    // The row that asked can be gone after the question; what is needed of it is in the map.
    const QString name = info.toMap().value(row::CtrlSoftName).toString();
    if (m_parentDlg) {
        m_parentDlg->showNormal();
        m_parentDlg->activateWindow();
    }
    const int answer = CQuestionMessageBox(QStringLiteral("提示"), QStringLiteral("确定要取消升级吗？"), this,
                                           QStringLiteral("是"), QStringLiteral("否"), eBoxOrigin::AskedFor);
    if (answer != 1)
        return;
    if (name.isEmpty()) {
        VT_LOG(critical) << QStringLiteral("【取消下载】：获取软件名称失败。");
        return;
    }
    IUpgradeServiceAssistant *assistant = CVtServiceClient::GetInstance()->GetUpgradeServiceAssistant();
    if (!assistant) {
        VT_LOG(critical) << QStringLiteral("【取消下载】：获取在线升级服务客户端接口对象失败。");
        return;
    }
    const auto input = assistant->CreateInputParam();
    const auto output = assistant->CreateOutputParam();
    input->SetValue(tarn::upgrade::key::SoftwareName, name);
    assistant->StopUpgrade(input, output);
    if (output->GetRetCode() != tarn::upgrade::code::Ok)
        VT_LOG(critical) << vtlog::callFailed(QStringLiteral("【取消下载】调用停止升级接口"), false,
                                              output->GetRetCode(), output->GetError());
}

void CUpgradeTableWidget::stopAllTask()
{
    ++m_picture;
    const QMap<QString, QWidget *> running = m_progressByName;
    for (QWidget *widget : running) {
        if (auto *progress = qobject_cast<CUpgradeProgress *>(widget))
            progress->cancelDownloadTask();
    }
    setRowCount(0);
    const QMutexLocker locker(&m_rowsLock);
    m_progressByName.clear();
    m_rowByName.clear();
}

CUpgradeProgress *CUpgradeTableWidget::progressOf(const QString &name) const
{
    return qobject_cast<CUpgradeProgress *>(m_progressByName.value(name));
}

} // namespace upgrade::controls
