#include "upgrade/UpdateExplainDial.h"
#include "base/Log.h"
#include "frame/ManagerAccess.h"
#include "frame/VisualizedManager.h"
#include "tarn/keys/UpgradeKeys.h"
#include "upgrade/ExplainItem.h"
#include "upgrade/UpdateRecords.h"
#include "upgrade/UpgradeCalls.h"
#include "widgets/CustomBtn.h"
#include "widgets/CustomTitleBar.h"
#include "widgets/ElideLabel.h"
#include "widgets/Look.h"
#include "widgets/QuestionMessageBox.h"
#include "widgets/Toolkit.h"
#include "widgets/TypingGuard.h"
#include <QBoxLayout>
#include <QCloseEvent>
#include <QLabel>
#include <QPointer>
#include <QTabBar>
#include <QTabWidget>
#include <memory>
#include <utility>

using namespace tarn::upgrade;

namespace {
// Metrics (design pixels at 96 DPI)
constexpr QSize WindowSize(800, 500);
constexpr int TitleHeight = 35;
constexpr int BottomHeight = 65;
constexpr QSize ButtonSize(95, 30);
constexpr int TabPadding = 16; // at each side of a title
constexpr int TabWidth = 220;  // of the longest title
constexpr int TabHeight = 34;

// Look: one sheet for the whole window
QString tabSheet(const QWidget *w)
{
    return QStringLiteral("QTabWidget::pane{border:none;border-top:1px solid #E4E8EE;background-color:white;}"
                          "QTabWidget::tab-bar{left:%1;}"
                          "QTabBar{background-color:white;}"
                          "QTabBar::tab{background-color:white;border:none;border-bottom:2px solid transparent;"
                          "color:#636D7E;height:%2;padding:0px %1;margin:0px;max-width:%3;}"
                          "QTabBar::tab:hover{color:#1E7FD8;}"
                          "QTabBar::tab:selected{color:#1E7FD8;border-bottom-color:#379AF5;}"
                          "QTabBar::tab:focus{background-color:#EBF4FE;}")
        .arg(look::px(TabPadding, w), look::px(TabHeight, w), look::px(TabWidth, w));
}

QString dialogSheet(const QWidget *w)
{
    return QStringLiteral("#notesBody{background-color:white;border:1px solid #adadad;}"
                          "#adviceLine{color:#515151;}") +
           look::titleBand(QStringLiteral("#f1f8fe")) + tabSheet(w) + CExplainItem::sheet(w) + look::greyButton() +
           look::blueButton();
}

QString titleSheet()
{
    return QStringLiteral("color:#0e52a4;border:none;background-color:transparent;");
}

CCustomBtn *bottomButton(const QString &text, CCustomBtn::Tone tone, const char *objectName, QWidget *parent)
{
    auto *button = new CCustomBtn(text, tone, parent);
    button->setObjectName(QLatin1String(objectName));
    button->setFixedSize(look::scaled(ButtonSize.width(), parent), look::scaled(ButtonSize.height(), parent));
    return button;
}

// The sections of a record that have a tab, in the order of the tabs.
QList<QVariantMap> shownSections(const QVariantMap &record)
{
    QList<QVariantMap> sections{record.value(key::Software).toMap(), record.value(key::Patch).toMap()};
    const QVariantList plugins = record.value(key::Plugins).toList();
    for (const QVariant &plugin : plugins)
        sections << plugin.toMap();
    sections.removeAll({});
    return sections;
}
} // namespace

CUpdateExplainDial::CUpdateExplainDial(QSharedPointer<IUpgaredSoftInfoService_InputParam> param, QWidget *parent)
    : QDialog(parent)
    , m_param(std::move(param))
{
}

void CUpdateExplainDial::InitDialog()
{
    if (m_tabs)
        return;
    setWindowFlags(Qt::Tool | Qt::FramelessWindowHint);
    look::prepareWindow(this, QStringLiteral("在线升级"));
    setFixedSize(look::scaled(WindowSize.width(), this), look::scaled(WindowSize.height(), this));
    setStyleSheet(dialogSheet(this));

    auto *body = new QFrame(this);
    body->setObjectName(QStringLiteral("notesBody"));
    auto *column = new QVBoxLayout(body);
    column->setContentsMargins(1, 1, 1, 1);
    column->setSpacing(0);
    column->addWidget(titleBand());
    column->addWidget(tabArea(), 1);
    column->addWidget(bottomBand());
    auto *whole = new QVBoxLayout(this);
    whole->setContentsMargins(0, 0, 0, 0);
    whole->addWidget(body);
    ServiceVisualized::CToolkit::SetDlgToScreenCenter(this);
    new TypingGuard(this);
}

QWidget *CUpdateExplainDial::titleBand()
{
    auto *band = new CustomTitleBar(this);
    band->setFixedHeight(look::scaled(TitleHeight, this));
    band->SetTitleLogo(GetSoftIconPath(productName()));
    band->SetTitleText(QStringLiteral("在线升级"));
    band->SetTitleStyleSheet(titleSheet());
    band->addStretch(1);
    band->AddCloseButton();
    connect(band, &CustomTitleBar::CustomTitleBarClose, this, &CUpdateExplainDial::close);
    connect(band, &CustomTitleBar::CustomTitleBarPressed, this, [this](int x, int y) { m_drag.press({x, y}); });
    connect(band, &CustomTitleBar::CustomTitleBarmoved, this, [this](int x, int y) { m_drag.move({x, y}); });
    return band;
}

QWidget *CUpdateExplainDial::tabArea()
{
    m_tabs = new QTabWidget(this);
    m_tabs->setObjectName(QStringLiteral("notesTabs"));
    m_tabs->setFont(look::yaHei(13, QFont::Normal, this));
    m_tabs->setElideMode(Qt::ElideRight);
    m_tabs->tabBar()->setDrawBase(false);
    if (const std::optional<QVariantMap> values = record()) {
        m_tipFlag = m_tipFlag && !values->value(key::Visualized).toBool();
        InitExplainItems(m_tabs, *values);
    }
    m_tabs->tabBar()->setFixedWidth(CalTabbarWidth());
    return m_tabs;
}

QWidget *CUpdateExplainDial::bottomBand()
{
    auto *band = new QWidget(this);
    band->setFixedHeight(look::scaled(BottomHeight, this));
    auto *advice = new QLabel(QStringLiteral("存在新版本，建议您立即更新。"), band);
    advice->setObjectName(QStringLiteral("adviceLine"));
    advice->setFont(look::yaHei(13, QFont::Normal, this));
    CCustomBtn *decline = bottomButton(QStringLiteral("暂不更新"), CCustomBtn::Grey, "declineButton", band);
    CCustomBtn *update = bottomButton(QStringLiteral("立即更新"), CCustomBtn::Blue, "updateButton", band);
    connect(decline, &QPushButton::clicked, this, &CUpdateExplainDial::OnDoNotUpdate);
    connectUpdateBtn(update);
    auto *row = new QHBoxLayout(band);
    row->setContentsMargins(look::scaled(16, this), 0, look::scaled(16, this), 0);
    row->setSpacing(look::scaled(12, this));
    row->addWidget(advice);
    row->addStretch();
    row->addWidget(decline);
    row->addWidget(update);
    return band;
}

void CUpdateExplainDial::InitExplainItems(QTabWidget *tabs, const QMap<QString, QVariant> &record)
{
    const QList<QVariantMap> sections = shownSections(record);
    for (const QVariantMap &section : sections)
        addExplainItem(tabs, section);
}

void CUpdateExplainDial::addExplainItem(QTabWidget *tabs, const QVariantMap &section)
{
    if (section.isEmpty())
        return;
    struUpgradeInfo info;
    info.name = section.value(key::SoftwareName).toString();
    info.installedVersion = section.value(key::InstalledVersion).toString();
    info.notesFile = section.value(key::NotesFile).toString();
    info.newVersion = section.value(key::NewVersion).toString();
    QString title = info.name.left(200).simplified();
    title.replace(QLatin1Char('&'), QStringLiteral("&&")); // a single one would underline the next letter
    const int index = tabs->addTab(new CExplainItem(info, tabs), title);
    tabs->setTabToolTip(index, ElideLabel::toolTipFor(info.name.left(1000)));
}

int CUpdateExplainDial::CalTabbarWidth() const
{
    const std::optional<QVariantMap> values = record();
    if (!values)
        return 0;
    QStringList titles;
    const QList<QVariantMap> sections = shownSections(*values);
    for (const QVariantMap &section : sections)
        titles << section.value(key::SoftwareName).toString();
    return tabbarWidth(titles);
}

int CUpdateExplainDial::tabbarWidth(const QStringList &titles) const
{
    const QFontMetrics metrics(look::yaHei(13, QFont::Normal, this));
    int width = 0;
    for (const QString &title : titles) {
        const int text = metrics.horizontalAdvance(title.left(200).simplified()) + look::scaled(4, this);
        width += qMin(text, look::scaled(TabWidth, this)) + 2 * look::scaled(TabPadding, this);
    }
    return qMin(width, look::scaled(WindowSize.width() - 2 * TabPadding, this));
}

void CUpdateExplainDial::connectUpdateBtn(QPushButton *button)
{
    connect(button, &QPushButton::clicked, this, &CUpdateExplainDial::OnUpdateAhead);
}

std::optional<QVariantMap> CUpdateExplainDial::record() const
{
    if (!m_param) {
        VT_LOG(critical) << QStringLiteral("软件升级信息为空");
        return std::nullopt;
    }
    const QList<QVariant> list = m_param->GetValueList();
    if (list.size() != 1) {
        VT_LOG(critical) << QStringLiteral("获取软件的升级信息失败");
        return std::nullopt;
    }
    return list.first().toMap();
}

QString CUpdateExplainDial::productName() const
{
    const QList<QVariant> list = m_param ? m_param->GetValueList() : QList<QVariant>();
    return list.size() == 1 ? list.first().toMap().value(key::SoftwareName).toString() : QString();
}

QString CUpdateExplainDial::GetSoftIconPath(const QString &name) const
{
    Q_UNUSED(name) // the request has one product only
    const std::optional<QVariantMap> values = record();
    return values ? values->value(key::IconPath).toString() : QString();
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
    const std::optional<QVariantMap> values = record();
    if (!values)
        return false;
    const QVariantMap patch = values->value(key::OldPatch).toMap();
    return !patch.isEmpty() && !patch.value(key::Forced).toBool() &&
           !patch.value(key::SoftwareName).toString().isEmpty();
}

void CUpdateExplainDial::OnUpdateAhead()
{
    SetTipFlag(false); // who updates is not asked about the patch
    close();
    if (const std::optional<QVariantMap> values = record())
        download(*values, {key::SoftwareName, key::Software, key::Patch, key::Plugins});
}

void CUpdateExplainDial::OnDoNotUpdate()
{
    close();
}

void CUpdateExplainDial::download(const QVariantMap &values, const QStringList &keys) const
{
    IUpgradeServiceAssistant *assistant = upgradecalls::assistant();
    if (!assistant) {
        VT_LOG(critical) << QStringLiteral("获取在线升级服务失败");
        return;
    }
    const auto request = upgradecalls::request(*assistant, values, keys);
    request->SetValue(key::CurrentVersion, records::installedVersion(values));
    upgradecalls::startDownload(*assistant, request);
}

void CUpdateExplainDial::reject()
{
    close(); // QDialog would only hide, without the question and without telling the manager
}

void CUpdateExplainDial::closeEvent(QCloseEvent *event)
{
    if (NeedUpdateCurPatch()) {
        const QPointer<CUpdateExplainDial> self(this);
        const auto param = m_param;
        const bool agreed = askForPatch();
        if (!self)
            return;
        if (agreed && !m_replaced)
            CManagerAccess::post(CVisualizedEvents::eShowUpgradeCurExplainDialog,
                                 std::make_unique<CUpgradeExplainEveData>(param));
    }
    if (!m_replaced)
        tellManagerClosed();
    event->accept();
}

// This dialog can be gone when it returns.
bool CUpdateExplainDial::askForPatch()
{
    const QPointer<CUpdateExplainDial> self(this);
    m_asking = true;
    const int answer = CQuestionMessageBox(
        QStringLiteral("提示"),
        QStringLiteral("您取消了版本更新，检测到您当前使用的软件版本存在可升级的补丁，是否进行补丁升级？"), this,
        QStringLiteral("是"), QStringLiteral("否"), eBoxOrigin::AskedFor);
    if (self)
        m_asking = false;
    return answer == QDialog::Accepted;
}

void CUpdateExplainDial::tellManagerClosed() const
{
    const CManagerAccess access;
    if (CVisualizedManager *manager = access.manager())
        manager->RemoveUpdExpDlg(productName());
}

void CUpdateExplainDial::mousePressEvent(QMouseEvent *event)
{
    if (!m_drag.handle(event, Qt::AllButtons))
        QDialog::mousePressEvent(event);
}

void CUpdateExplainDial::mouseMoveEvent(QMouseEvent *event)
{
    if (!m_drag.handle(event, Qt::AllButtons))
        QDialog::mouseMoveEvent(event);
}

void CUpdateExplainDial::mouseReleaseEvent(QMouseEvent *event)
{
    if (!m_drag.handle(event, Qt::AllButtons))
        QDialog::mouseReleaseEvent(event);
}
