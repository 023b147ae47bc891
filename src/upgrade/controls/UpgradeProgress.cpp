#include "upgrade/controls/UpgradeProgress.h"
#include "base/Log.h"
#include "frame/VtServiceClient.h"
#include "tarn/keys/UpgradeKeys.h"
#include "tarn/upgrade/IUpgradeServiceAssistant.h"
#include "upgrade/UpgradeCalls.h"
#include "upgrade/operate/UpgradeDataRefresh.h"
#include "widgets/BringToFront.h"
#include "widgets/CustomMessageBox.h"
#include "widgets/ElideLabel.h"
#include "widgets/Look.h"
#include "widgets/ShownText.h"
#include "widgets/Toolkit.h"
#include <QBoxLayout>
#include <QPointer>
#include <QProgressBar>
#include <QPushButton>
#include <algorithm>

using namespace tarn::visualized;

namespace upgrade::controls {

namespace {
namespace key = tarn::upgrade::key;
namespace state = tarn::upgrade::state;

// Metrics (design pixels at 96 DPI)
constexpr int BarHeight = 12;
constexpr int CancelSide = 20;
constexpr int Gap = 8;
// Look. The rules name their targets, since the cell is the parent of a question.
QString cellSheet(const QWidget *w)
{
    return QStringLiteral("#downloadTip,#downloadPercent{background-color:transparent;border:none;color:#7F7F7F;}"
                          "#cancelDownload{background-color:transparent;border:none;padding:0px;margin:0px;}"
                          "#cancelDownload:hover{background-color:#E4EEF7;}"
                          "#cancelDownload:focus{border:1px solid #379AF5;}"
                          "#downloadBar{background-color:rgb(235, 235, 235);border:none;border-radius:%1;}"
                          "#downloadBar::chunk{background-color:#1E95F6;border-radius:%1;}")
        .arg(look::px(BarHeight / 2, w));
}
} // namespace

CUpgradeProgress::CUpgradeProgress(const QVariant &info, QWidget *parent)
    : LazyCell(parent)
{
    setUpgradeInfo(info);
}

QString CUpgradeProgress::spokenText() const
{
    if (m_status == state::Downloaded)
        return QStringLiteral("100%");
    return text::brief(m_downloadCtrl.value(row::DownloadTip).toString()) + QStringLiteral("，") +
           m_downloadCtrl.value(row::DownloadPercent).toString();
}

QString CUpgradeProgress::softName() const
{
    return m_downloadCtrl.value(row::CtrlSoftName).toString();
}

bool CUpgradeProgress::canBeCancelled() const
{
    return m_status == state::Downloading;
}

void CUpgradeProgress::focusCancelButton()
{
    ensureBuilt();
    m_cancel->setFocus(Qt::TabFocusReason);
}

void CUpgradeProgress::setUpgradeInfo(const QVariant &info)
{
    const QVariantMap values = info.toMap();
    const QVariantMap downloadCtrl = values.value(row::DownloadCtrl).toMap();
    const int status = values.value(row::TaskStatus).toInt();
    if (status == state::Downloaded)
        m_programPath = values.value(row::SoftInfoCtrl).toMap().value(row::IconPath).toString();
    if (!m_bar && status == m_status && downloadCtrl == m_downloadCtrl)
        return; // to keep the new map and free the old one takes longer than to compare them
    m_downloadCtrl = downloadCtrl;
    m_status = status;
    showInfo();
}

void CUpgradeProgress::updateUpgradeInfo(const QVariant &info)
{
    setUpgradeInfo(info);
    if (m_status == state::Downloaded)
        dealWithDownloadFinished(m_downloadCtrl);
}

void CUpgradeProgress::build()
{
    initWidgetUI();
    showInfo();
}

void CUpgradeProgress::showInfo()
{
    if (m_status == state::Downloading)
        dealWithDownloading(m_downloadCtrl);
    else if (m_status == state::Downloaded || m_status == state::Installing)
        showState(m_status, m_downloadCtrl);
}

void CUpgradeProgress::dealWithDownloading(const QMap<QString, QVariant> &downloadCtrl)
{
    m_installParam = downloadCtrl.value(row::InstallParam).toMap();
    showState(state::Downloading, downloadCtrl);
}

void CUpgradeProgress::dealWithDownloadFinished(const QMap<QString, QVariant> &downloadCtrl)
{
    showState(state::Downloaded, downloadCtrl);
    const QVariantMap reported = downloadCtrl.value(row::InstallParam).toMap();
    QVariantMap request = reported.isEmpty() ? m_installParam : reported;
    request.insert(key::SoftwareName, downloadCtrl.value(row::CtrlSoftName));
    request.insert(key::WaitForFinished, true);
    request.insert(key::Restart, true);
    const QString noAssistant = QStringLiteral("【安装岚川软件】：获取在线升级服务客户端接口对象失败");
    if (!service::upgrade()) {
        VT_LOG(critical) << noAssistant;
        return;
    }
    if (m_asking || !waitForProgramEnd())
        return;
    repaint(); // the call below keeps the window from painting until it is over
    const auto outcome = call(service::upgrade(), &IUpgradeServiceAssistant::InstallSoftware, request);
    if (!outcome.called())
        VT_LOG(critical) << noAssistant;
    VT_LOG_OUTCOME(outcome.transportAsRefusal(), QStringLiteral("【安装岚川软件】调用安装软件接口"),
                   QStringLiteral("调用软件安装接口成功。"));
}

void CUpgradeProgress::dealWithInstalling(const QMap<QString, QVariant> &downloadCtrl)
{
    showState(state::Installing, downloadCtrl);
}

void CUpgradeProgress::cancelDownloadTask()
{
    if (upgradecalls::stop(__func__, softName(), QStringLiteral("调用忽略升级接口成功。")) && m_bar)
        showBar(100, 0);
}

void CUpgradeProgress::initWidgetUI()
{
    setStyleSheet(cellSheet(this));
    auto *lines = look::space(new QVBoxLayout(this), {16, 0, Gap, 0}, 3, this); // the left margin is that of the header
    auto *top = new QWidget(this);
    auto *bottom = new QWidget(this);
    initTopWidget(top);
    initBottomWidget(bottom);
    lines->addStretch();
    lines->addWidget(top);
    lines->addWidget(bottom);
    lines->addStretch();
}

void CUpgradeProgress::initTopWidget(QWidget *top)
{
    m_tip = look::named(new ElideLabel(top), "downloadTip");
    m_tip->setFont(look::yaHeiZh(12, QFont::Normal, this));
    m_percent = look::named(new QLabel(top), "downloadPercent");
    m_percent->setTextFormat(Qt::PlainText);
    m_percent->setFont(m_tip->font());

    // The percentage ends where the bar ends.
    auto *line = look::space(new QHBoxLayout(top), {0, 0, CancelSide + Gap, 0}, Gap, this);
    line->addWidget(m_tip, 1);
    line->addWidget(m_percent);
}

void CUpgradeProgress::initBottomWidget(QWidget *bottom)
{
    m_bar = look::named(new QProgressBar(bottom), "downloadBar");
    m_bar->setAccessibleName(text::brief(softName()));
    m_bar->setRange(0, 100);
    m_bar->setTextVisible(false);
    m_bar->setFixedHeight(look::scaled(BarHeight, this));
    m_cancel = cancelButton(bottom);

    auto *line = look::space(new QHBoxLayout(bottom), {}, Gap, this);
    line->addWidget(m_bar, 1);
    line->addWidget(m_cancel);
}

QPushButton *CUpgradeProgress::cancelButton(QWidget *parent)
{
    auto *button = look::named(new QPushButton(parent), "cancelDownload");
    button->setAccessibleName(QStringLiteral("取消升级"));
    button->setAccessibleDescription(text::brief(softName())); // every row has this button
    button->setToolTip(QStringLiteral("取消升级"));
    button->setFlat(true);
    button->setAutoDefault(false);
    button->setFocusPolicy(Qt::TabFocus);
    button->setFixedSize(look::scaled(QSize(CancelSide, CancelSide), this));
    button->setIconSize(look::scaled(QSize(16, 16), this));
    QSizePolicy place = button->sizePolicy();
    place.setRetainSizeWhenHidden(true); // the bar keeps its length
    button->setSizePolicy(place);
    button->hide();
    connect(button, &QPushButton::clicked, this, &CUpgradeProgress::onCancelDownloadClicked);
    return button;
}

// Shows a running task; nothing until the cell is built.
void CUpgradeProgress::showState(int status, const QVariantMap &downloadCtrl)
{
    if (!m_bar)
        return;
    QString percent = QStringLiteral("100%");
    if (status != state::Downloaded) { // else the tip of the download stays
        percent = downloadCtrl.value(row::DownloadPercent).toString();
        const QString tip = downloadCtrl.value(row::DownloadTip).toString();
        if (m_tip->fullText() != tip)
            m_tip->setFullText(tip);
    }
    m_percent->setText(percent);
    const bool isDownloading = status == state::Downloading;
    // The bar counts in int: beyond 2 GiB it differs from the percentage.
    showBar(isDownloading ? static_cast<int>(downloadCtrl.value(row::TotalBytes).toLongLong()) : 100,
            isDownloading ? static_cast<int>(downloadCtrl.value(row::CurrentBytes).toLongLong()) : 100);
    showCancel(isDownloading);
}

void CUpgradeProgress::showBar(int maximum, int value)
{
    m_bar->setRange(0, maximum);
    m_bar->setValue(std::clamp(value, 0, m_bar->maximum())); // the bar ignores a value beyond its range
}

void CUpgradeProgress::showCancel(bool shown)
{
    if (m_cancel->isHidden() != shown)
        return;
    if (m_cancel->hasFocus())
        front::neutralFocus(window()); // Qt would pass it to the next row's button
    m_cancel->setIcon(shown ? QIcon(look::icon::Cancel) : QIcon());
    m_cancel->setVisible(shown);
}

// False when the user cancelled the installation, or the row was deleted during the question.
bool CUpgradeProgress::waitForProgramEnd()
{
    const QPointer<CUpgradeProgress> self(this);
    const QString path = m_programPath;
    const QString question = QStringLiteral("安装前请先关闭“%1”%2")
                                 .arg(text::literal(text::brief(softName())), QStringLiteral("，再点击重试！"));
    while (ServiceVisualized::CToolkit::isProgramRunning(path)) {
        m_asking = true; // further refreshes must not open the question again
        const int answer =
            CQuestionMessageBox(QStringLiteral("提示"), question, this, QStringLiteral("重试"), QStringLiteral("取消"));
        if (!self)
            return false;
        m_asking = false;
        if (answer != 1) {
            cancelDownloadTask();
            return false;
        }
    }
    return true;
}

} // namespace upgrade::controls
