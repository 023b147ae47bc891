// The manager's handlers of the upgrade and patch requests.
#include "base/Log.h"
#include "frame/VisualizedManager.h"
#include "tarn/keys/UpgradeKeys.h"
#include "tarn/upgrade/IUpgradeServiceArgs.h"
#include "upgrade/CheckUpdateDial.h"
#include "upgrade/InstallSilentPatchDlg.h"
#include "upgrade/UpdateCurExplainDialog.h"
#include "upgrade/UpdateExplainDial.h"
#include "upgrade/UpgradeDialog.h"
#include "widgets/BringToFront.h"
#include <algorithm>
#include <optional>

using namespace tarn::visualized;

namespace {
namespace key = tarn::upgrade::key;

constexpr int MaxWindows = 32; // of one kind; each has a product's name, which comes from outside

/// Whether one more window may be opened beside these.
template <class Windows>
bool hasRoom(const Windows &open)
{
    if (open.size() < MaxWindows)
        return true;
    VT_LOG(warning) << QStringLiteral("打开的窗口过多，不再展现。数量：%1").arg(open.size());
    return false;
}

bool hasName(const QVariant &record)
{
    return !record.toMap().value(key::SoftwareName).toString().isEmpty();
}

bool hasNews(const QVariantMap &record)
{
    return !record.value(key::Software).toMap().isEmpty() || !record.value(key::Patch).toMap().isEmpty() ||
           !record.value(key::Plugins).toList().isEmpty();
}

bool hasOldPatch(const QVariantMap &record)
{
    return !record.value(key::OldPatch).toMap().isEmpty();
}
} // namespace

void CVisualizedManager::FilterVtSoftMgr(QList<QVariant> &list)
{
    const auto isAssistant = [](const QVariant &entry) {
        return entry.toMap().value(key::SoftwareName).toString().contains(tarn::upgrade::OwnAssistant);
    };
    list.erase(std::remove_if(list.begin(), list.end(), isAssistant), list.end());
}

void CVisualizedManager::showAutoCheckUpdateDialog(const CAutoCheckUpdateEveData &data)
{
    QList<QVariant> list = data.inputArgs->GetValueList();
    VT_LOG(info) << QStringLiteral("需要展示的软件信息数量:") + QString::number(list.size());
    FilterVtSoftMgr(list);
    if (!std::any_of(list.cbegin(), list.cend(), hasName))
        return; // the prompt shows no record without a name
    const QMutexLocker locker(&m_autoUpdateLock);
    std::optional<QPoint> place;
    if (m_autoUpdateDlg) {
        place = m_autoUpdateDlg->userPlace();
        m_autoUpdateDlg->close();
    }
    m_autoUpdateDlg = new CCheckUpdateDial(data.inputArgs, nullptr);
    if (place)
        m_autoUpdateDlg->setUserPlace(*place);
    front::bringToFront(m_autoUpdateDlg);
    connect(m_autoUpdateDlg, &CCheckUpdateDial::ShowExplain, this, &CVisualizedManager::onShowExplain);
}

template <class Dialog>
void CVisualizedManager::showNotes(const char *function, const CUpgradeExplainEveData &data, const QString &beginning,
                                   bool (*hasContent)(const QVariantMap &), const QString &empty)
{
    const QList<QVariant> list = data.inputArgs->GetValueList();
    if (list.size() != 1)
        return; // such a request names exactly one product
    const QVariantMap record = list.constFirst().toMap();
    const QString softName = record.value(key::SoftwareName).toString();
    VT_LOG_AS(info, function) << beginning + softName;
    if (const QPointer<CUpdateExplainDial> open = m_explainDlgs.take(softName)) {
        open->SetTipFlag(false);
        open->close();
    }
    if (!hasContent(record)) {
        VT_LOG_AS(critical, function) << empty;
        return;
    }
    if (!hasRoom(m_explainDlgs))
        return;
    auto *dialog = new Dialog(data.inputArgs, nullptr);
    dialog->InitDialog();
    m_explainDlgs.insert(softName, dialog);
    front::bringToFront(dialog);
}

void CVisualizedManager::showUpgradeExplainDialog(const CUpgradeExplainEveData &data)
{
    showNotes<CUpdateExplainDial>(__func__, data, QStringLiteral("开始展示的软件更新信息提示框"), hasNews,
                                  QStringLiteral("软件更新提示框异常退出：数据为空"));
}

void CVisualizedManager::showUpgradeCurExplainDialog(const CUpgradeExplainEveData &data)
{
    showNotes<CUpdateCurExplainDialog>(__func__, data, QStringLiteral("开始展现软件旧版本补丁更新说明窗口"),
                                       hasOldPatch, QStringLiteral("软件旧版本补丁更新提示框异常退出：数据为空"));
}

void CVisualizedManager::showUpgradeDialog()
{
    {
        const QMutexLocker locker(&m_upgradeLock);
        if (!m_upgradeDlg)
            m_upgradeDlg = new CUpgradeDialog(nullptr);
    }
    // Outside of the lock: its first poll can show a question, whose event loop can bring the next request.
    m_upgradeDlg->showUpgradeDialog();
}

void CVisualizedManager::showSilentPatchInstallDialog(const CSilentPatchInstallEveData &data)
{
    const QString softName = data.inputArgs->GetValue(key::SoftwareName).toString();
    if (softName.isEmpty())
        return;
    if (const QPointer<CInstallSilentPatchDlg> open = m_silentDlgs.take(softName))
        open->close();
    if (!hasRoom(m_silentDlgs)) {
        setSilentPatchInstallState(softName, tarn::upgrade::silent::Failed); // the caller asks for it
        return;
    }
    auto *dialog = new CInstallSilentPatchDlg(data.inputArgs, this, nullptr);
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    dialog->InitDialog();
    m_silentDlgs.insert(softName, dialog);
}
