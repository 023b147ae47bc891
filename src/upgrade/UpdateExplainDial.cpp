#include "upgrade/UpdateExplainDial.h"
#include "base/Log.h"
#include "frame/ManagerAccess.h"
#include "frame/WindowHost.h"
#include "tarn/keys/UpgradeKeys.h"
#include "upgrade/ExplainItem.h"
#include "upgrade/UpdateRecords.h"
#include "upgrade/UpgradeCalls.h"
#include "widgets/CustomBtn.h"
#include "widgets/CustomMessageBox.h"
#include "widgets/CustomTitleBar.h"
#include "widgets/Look.h"
#include "widgets/Placement.h"
#include "widgets/ShownText.h"
#include <QBoxLayout>
#include <QLabel>
#include <QPointer>
#include <QTabBar>
#include <QTabWidget>
#include <memory>
#include <utility>

using namespace tarn::upgrade;
using namespace tarn::visualized;

namespace {
// Metrics (design pixels at 96 DPI)
constexpr QSize WindowSize(800, 500);
constexpr QSize ButtonSize(95, 30);
constexpr int TabPadding = 16; // at each side of a title

constexpr int LongTitle = 200; // characters, more than any tab bar shows
constexpr int MaxPluginTabs = 64;

// Look: one sheet for the whole window
QString dialogSheet(const QWidget *w)
{
    const QString padding = look::px(TabPadding, w);
    return QStringLiteral("#notesBody{background-color:white;border:1px solid #adadad;}"
                          "#titleText{color:#0e52a4;border:none;background-color:transparent;}"
                          "#adviceLine{color:#515151;}"
                          "QTabWidget::tab-bar{left:%1;}")
               .arg(padding) +
           look::titleBand(look::BandBlue) + look::tabs(34, QStringLiteral("padding:0px %1;").arg(padding), w) +
           CExplainItem::sheet(w) + look::greyButton() + look::blueButton();
}

QString shownTitle(const QString &name)
{
    return vtlog::oneLine(text::beginning(name, LongTitle));
}

// The sections of a record that can have a tab, in the order of the tabs.
QList<QVariantMap> shownSections(const QVariantMap &record)
{
    QList<QVariantMap> sections{record.value(key::Software).toMap(), record.value(key::Patch).toMap()};
    const QVariantList plugins = record.value(key::Plugins).toList();
    for (const QVariant &plugin : plugins.mid(0, MaxPluginTabs))
        sections << plugin.toMap();
    return sections;
}
} // namespace

CUpdateExplainDial::CUpdateExplainDial(QSharedPointer<IUpgaredSoftInfoService_InputParam> param, QWidget *parent)
    : ToolDialog(parent, Qt::Tool, Qt::AllButtons)
    , m_param(std::move(param))
{
    const QList<QVariant> list = m_param ? m_param->GetValueList() : QList<QVariant>();
    if (list.size() == 1)
        m_record = list.first().toMap();
}

void CUpdateExplainDial::InitDialog()
{
    prepare(QStringLiteral("在线升级"));
    setAccessibleName(
        QStringLiteral("在线升级：%1 更新说明").arg(text::brief(productName()))); // others have this title
    setFixedSize(look::scaled(WindowSize, this));
    setStyleSheet(dialogSheet(this));

    QVBoxLayout *column = addBody(QStringLiteral("notesBody"));
    column->addWidget(tabArea(), 1);
    column->addWidget(bottomBand());
    CustomTitleBar *bar = addTitleBar(column, look::TitleHeight);
    bar->SetTitleLogo(GetSoftIconPath(productName()));
    connect(bar, &CustomTitleBar::CustomTitleBarClose, this, &CUpdateExplainDial::close);
    placement::centreOnPrimary(this);
    if (isUnasked())
        expectUnasked();
}

bool CUpdateExplainDial::isUnasked() const
{
    return !m_record.value(key::Visualized).toBool();
}

QWidget *CUpdateExplainDial::tabArea()
{
    auto *tabs = look::named(new QTabWidget(this), "notesTabs", look::TextPx);
    tabs->setElideMode(Qt::ElideRight);
    tabs->tabBar()->setDrawBase(false);
    m_tipFlag = m_tipFlag && !m_record.value(key::Visualized).toBool();
    InitExplainItems(tabs, record("InitDialog"));
    tabs->tabBar()->setFixedWidth(CalTabbarWidth());
    return tabs;
}

QWidget *CUpdateExplainDial::bottomBand()
{
    auto *band = new QWidget(this);
    band->setFixedHeight(look::scaled(65, this));
    auto *advice = new QLabel(QStringLiteral("存在新版本，建议您立即更新。"), band);
    look::named(advice, "adviceLine", look::TextPx);
    setAccessibleDescription(advice->text());
    auto *decline = new CCustomBtn(QStringLiteral("暂不更新"), CCustomBtn::Grey, "declineButton", ButtonSize, band);
    auto *update = new CCustomBtn(QStringLiteral("立即更新"), CCustomBtn::Blue, "updateButton", ButtonSize, band);
    connect(decline, &QPushButton::clicked, this, &CUpdateExplainDial::OnDoNotUpdate);
    connectUpdateBtn(update);
    auto *row = look::space(new QHBoxLayout(band), {16, 0, 16, 0}, 12, this);
    row->addWidget(advice);
    row->addStretch();
    row->addWidget(decline);
    row->addWidget(update);
    return band;
}

void CUpdateExplainDial::InitExplainItems(QTabWidget *tabs, const QMap<QString, QVariant> &record)
{
    const int plugins = record.value(key::Plugins).toList().size();
    if (plugins > MaxPluginTabs)
        VT_LOG(warning) << QStringLiteral("更新说明中的插件过多，共%1个，只显示前%2个").arg(plugins).arg(MaxPluginTabs);
    addExplainItems(tabs, shownSections(record));
}

void CUpdateExplainDial::addExplainItems(QTabWidget *tabs, QList<QVariantMap> sections)
{
    sections.removeAll({});
    for (const QVariantMap &section : qAsConst(sections)) {
        const QString name = section.value(key::SoftwareName).toString();
        auto *item =
            new CExplainItem({name, section.value(key::InstalledVersion).toString(),
                              section.value(key::NotesFile).toString(), section.value(key::NewVersion).toString()},
                             tabs);
        item->setAccessibleDescription(text::brief(name));
        QString title = shownTitle(name);
        title.replace(QLatin1Char('&'), QStringLiteral("&&")); // a single one would underline the next letter
        tabs->setTabToolTip(tabs->addTab(item, title), text::toolTip(text::brief(name)));
    }
}

int CUpdateExplainDial::CalTabbarWidth() const
{
    return tabbarWidth(shownSections(record(__func__)));
}

// As wide as the titles, up to the window; only then the tab bar elides them.
int CUpdateExplainDial::tabbarWidth(QList<QVariantMap> sections) const
{
    sections.removeAll({});
    const QFontMetrics metrics(look::yaHei(look::TextPx, QFont::Normal, this));
    int width = 0;
    for (const QVariantMap &section : qAsConst(sections))
        width += metrics.horizontalAdvance(shownTitle(section.value(key::SoftwareName).toString())) +
                 look::scaled(4 + 2 * TabPadding, this);
    return qMin(width, look::scaled(WindowSize.width() - 2 * TabPadding, this));
}

void CUpdateExplainDial::connectUpdateBtn(QPushButton *button)
{
    connect(button, &QPushButton::clicked, this, &CUpdateExplainDial::OnUpdateAhead);
}

bool CUpdateExplainDial::hasRecord(const char *function) const
{
    if (m_param && m_param->GetValueList().size() == 1)
        return true;
    VT_LOG_AS(critical, function) << (m_param ? QStringLiteral("获取软件的升级信息失败")
                                              : QStringLiteral("软件升级信息为空"));
    return false;
}

QString CUpdateExplainDial::productName() const
{
    return m_record.value(key::SoftwareName).toString();
}

QString CUpdateExplainDial::GetSoftIconPath(const QString &) const // the request has one product only
{
    return record(__func__).value(key::IconPath).toString();
}

void CUpdateExplainDial::SetTipFlag(bool flag)
{
    m_tipFlag = flag;
    if (flag || !m_asking)
        return;
    m_replaced = true;
    const auto questions = findChildren<QDialog *>(QString(), Qt::FindDirectChildrenOnly);
    for (QDialog *question : questions)
        question->reject();
}

bool CUpdateExplainDial::NeedUpdateCurPatch() const
{
    if (!m_tipFlag)
        return false;
    const QVariantMap patch = record(__func__).value(key::OldPatch).toMap();
    return !patch.value(key::SoftwareName).toString().isEmpty() && !patch.value(key::Forced).toBool();
}

void CUpdateExplainDial::OnUpdateAhead()
{
    m_tipFlag = false; // a user who updates is not asked about the patch
    close();
    if (!hasRecord(__func__))
        return;
    upgradecalls::startDownload(__func__,
                                records::parts(m_record, {key::SoftwareName, key::Software, key::Patch, key::Plugins},
                                               {{key::CurrentVersion, records::installedVersion(m_record)}}));
}

void CUpdateExplainDial::closeEvent(QCloseEvent *event)
{
    if (NeedUpdateCurPatch()) {
        const QPointer<CUpdateExplainDial> self(this);
        const auto param = m_param;
        m_asking = true;
        const int answer = CQuestionMessageBox(
            QStringLiteral("提示"),
            QStringLiteral("您取消了版本更新，检测到您当前使用的软件版本存在可升级的补丁，是否进行补丁升级？"), this,
            QStringLiteral("是"), QStringLiteral("否"), eBoxOrigin::AskedFor, text::brief(productName()));
        if (!self)
            return;
        m_asking = false;
        if (answer == QDialog::Accepted && !m_replaced)
            CManagerAccess::post(CVisualizedEvents::eShowUpgradeCurExplainDialog,
                                 std::make_unique<CUpgradeExplainEveData>(param));
    }
    if (!m_replaced)
        tellManagerClosed();
    ToolDialog::closeEvent(event);
}

void CUpdateExplainDial::tellManagerClosed() const
{
    const CManagerAccess access;
    if (WindowHost *host = access.host())
        host->RemoveUpdExpDlg(productName());
}
