#include "upgrade/CheckUpdateDial.h"
#include "base/Log.h"
#include "frame/ManagerAccess.h"
#include "frame/VisualizedManager.h"
#include "tarn/keys/UpgradeKeys.h"
#include "upgrade/CUpdateItem.h"
#include "upgrade/UpdateRecords.h"
#include "upgrade/UpgradeCalls.h"
#include "widgets/CustomBtn.h"
#include "widgets/CustomMessageBox.h"
#include "widgets/CustomTitleBar.h"
#include "widgets/Look.h"
#include "widgets/TypingGuard.h"
#include <QBoxLayout>
#include <QCloseEvent>
#include <QGuiApplication>
#include <QLabel>
#include <QPointer>
#include <QScreen>
#include <QScrollArea>
#include <QTimer>
#include <algorithm>
#include <memory>
#include <utility>

using namespace tarn::upgrade;

namespace {
// Metrics (design pixels at 96 DPI)
constexpr QSize WindowSize(410, 320);
constexpr int TitleHeight = 35;
constexpr QSize RowArea(406, 180);
constexpr int BottomHeight = 60;
constexpr QSize ButtonSize(90, 30);
constexpr int CornerMargin = 10;
// Rows
constexpr int RowsAtOnce = 3;   // they fill the list, and are made before the window shows; the others follow at once
constexpr int RowsInGroup = 50; // a group has a layout of its own, since adding to a visible one costs its whole length

// Look: one sheet for the whole window
QString dialogSheet(const QWidget *w)
{
    return QStringLiteral("#promptBody{background-color:white;border:1px solid #adadad;}"
                          "#titleText{color:#0e52a4;border:none;background-color:transparent;}"
                          "#adviceLine{color:#515151;}"
                          "#rowArea,#rowList{background-color:white;border:none;}") +
           look::titleBand(QStringLiteral("#f1f8fe")) + CUpdateItem::sheet() + look::greyButton() + look::blueButton() +
           look::thinScrollBars(QStringLiteral("CCheckUpdateDial"), 6, QStringLiteral("white"),
                                QStringLiteral("#D5D9DF"), w);
}

QString hoveredNameSheet()
{
    return QStringLiteral("color:#1E7FD8;");
}

// Without a name nothing could be asked for a product: it is what the service knows it by.
bool hasNoRow(const QVariant &record)
{
    const QString name = record.toMap().value(key::SoftwareName).toString();
    if (name.isEmpty())
        VT_LOG(warning) << QStringLiteral("忽略没有软件名称的升级信息");
    return name.isEmpty() || name == records::assistantName();
}

// As high as its one line. The rich text itself would be laid out several times to tell the same.
class AdviceLine final : public QLabel
{
public:
    using QLabel::QLabel;
    QSize sizeHint() const override { return {0, fontMetrics().height()}; }
    QSize minimumSizeHint() const override { return sizeHint(); }
};

CCustomBtn *bottomButton(const QString &text, CCustomBtn::Tone tone, const char *objectName, QWidget *parent)
{
    auto *button = new CCustomBtn(text, tone, parent);
    button->setObjectName(QLatin1String(objectName));
    button->setFixedSize(look::scaled(ButtonSize.width(), parent), look::scaled(ButtonSize.height(), parent));
    return button;
}
} // namespace

CCheckUpdateDial::CCheckUpdateDial(QSharedPointer<IUpgaredSoftInfoService_InputParam> param, QWidget *parent)
    : QDialog(parent)
    , m_param(std::move(param))
{
    InitDialog();
}

std::optional<QPoint> CCheckUpdateDial::userPlace() const
{
    return pos() == m_place ? std::nullopt : std::make_optional(pos());
}

void CCheckUpdateDial::setUserPlace(const QPoint &place)
{
    if (QGuiApplication::screenAt(QRect(place, size()).center()))
        move(place);
}

void CCheckUpdateDial::InitDialog()
{
    setWindowFlags(Qt::Tool | Qt::FramelessWindowHint);
    setAttribute(Qt::WA_ShowWithoutActivating);
    look::prepareWindow(this, QStringLiteral("在线升级"));
    setFixedSize(look::scaled(WindowSize.width(), this), look::scaled(WindowSize.height(), this));
    setStyleSheet(dialogSheet(this));

    auto *body = new QFrame(this);
    body->setObjectName(QStringLiteral("promptBody"));
    auto *column = new QVBoxLayout(body);
    column->setContentsMargins(1, 1, 1, 1);
    column->setSpacing(0);
    column->addWidget(titleBand(body));
    column->addWidget(adviceLine(body));
    column->addWidget(rowArea(body), 0, Qt::AlignHCenter);
    column->addWidget(bottomBand(body));
    auto *whole = new QVBoxLayout(this);
    whole->setContentsMargins(0, 0, 0, 0);
    whole->addWidget(body);
    placeInCorner();
    new TypingGuard(this);
}

QWidget *CCheckUpdateDial::titleBand(QWidget *body)
{
    auto *band = new CustomTitleBar(body);
    band->setFixedHeight(look::scaled(TitleHeight, this));
    band->SetTitleLogo(QStringLiteral(":/images/images/upgrade_logo.svg"));
    band->SetTitleText(QStringLiteral("在线升级"));
    band->addStretch(1);
    band->AddCloseButton();
    connect(band, &CustomTitleBar::CustomTitleBarClose, this, &CCheckUpdateDial::close);
    connect(band, &CustomTitleBar::CustomTitleBarPressed, this, [this](int x, int y) { m_drag.press({x, y}); });
    connect(band, &CustomTitleBar::CustomTitleBarmoved, this, [this](int x, int y) { m_drag.move({x, y}); });
    return band;
}

QWidget *CCheckUpdateDial::adviceLine(QWidget *body)
{
    auto *line =
        new AdviceLine(QStringLiteral("您安装的岚川软件<font color='red'>存在新版本</font>，建议您立即升级。"), body);
    line->setObjectName(QStringLiteral("adviceLine"));
    line->setTextFormat(Qt::RichText);
    line->setTextInteractionFlags(Qt::NoTextInteraction); // rich text would keep the mouse from the window
    line->setFont(look::yaHei(13, QFont::Normal, this));
    line->setContentsMargins(look::scaled(14, this), 0, 0, 0);
    return line;
}

QWidget *CCheckUpdateDial::rowArea(QWidget *body)
{
    auto *area = new QScrollArea(body);
    area->setObjectName(QStringLiteral("rowArea"));
    area->setFixedSize(look::scaled(RowArea.width(), this), look::scaled(RowArea.height(), this));
    area->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    area->setWidgetResizable(true);
    area->setFocusPolicy(Qt::NoFocus);
    auto *content = new QWidget(area->viewport());
    content->setObjectName(QStringLiteral("rowList"));
    content->setAccessibleName(QStringLiteral("可升级软件"));
    m_list = new QVBoxLayout(content);
    m_list->setContentsMargins(0, 0, 0, 0);
    m_list->setSpacing(0);
    m_list->addStretch();
    sortRecords();
    addRows(RowsAtOnce);
    area->setWidget(content);
    return area;
}

void CCheckUpdateDial::sortRecords()
{
    if (m_param)
        m_pending = m_param->GetValueList();
    VT_LOG(info) << QStringLiteral("正在展示的需要更新软件信息数量:") + QString::number(m_pending.size());
    SortByUpdateTime(m_pending);
    m_pending.erase(std::remove_if(m_pending.begin(), m_pending.end(), hasNoRow), m_pending.end());
}

void CCheckUpdateDial::addRows(int count)
{
    const QList<QVariant> records = m_pending.mid(0, count);
    m_pending = m_pending.mid(records.size());
    for (int i = 0; i < records.size(); i += RowsInGroup) {
        auto *group = new QWidget(m_list->parentWidget());
        auto *column = new QVBoxLayout(group);
        column->setContentsMargins(0, 0, 0, 0);
        column->setSpacing(0);
        for (const QVariant &record : records.mid(i, RowsInGroup))
            addRow(record.toMap(), column);
        m_list->insertWidget(m_list->count() - 1, group);
        if (m_list->parentWidget()->isVisible())
            group->show(); // else by an event of its own, before which the list would be laid out without it
    }
    if (!m_pending.isEmpty())
        QTimer::singleShot(0, this, &CCheckUpdateDial::addPendingRows);
}

void CCheckUpdateDial::addPendingRows()
{
    m_list->setSizeConstraint(QLayout::SetMinimumSize); // the new rows do not squeeze those that are there
    addRows(RowsInGroup);
    m_list->activate(); // at once: a click that is on its way is meant for what the user sees
}

void CCheckUpdateDial::addRow(const QVariantMap &record, QVBoxLayout *list)
{
    const QString name = record.value(key::SoftwareName).toString();
    VT_LOG(info) << QStringLiteral("自动检测升级显示软件:") + name;
    auto *row = new CUpdateItem(record, list->parentWidget());
    connect(row, &CUpdateItem::UpdateExplainClicked, this, &CCheckUpdateDial::OnUpdateExplainClicked);
    connect(row, &CUpdateItem::DoNotPromptClicked, this, &CCheckUpdateDial::OnDoNotPromptClicked);
    row->installEventFilter(this);
    list->addWidget(row);
    delete m_rows.value(name); // the last record of a name is the one that counts, and the only one shown
    m_rows.insert(name, row);
    m_records.insert(name, record);
    m_bitness.insert(name, record.value(key::SoftBytes).toString());
}

QWidget *CCheckUpdateDial::bottomBand(QWidget *body)
{
    auto *band = new QWidget(body);
    band->setObjectName(QStringLiteral("MsgCenterButtom"));
    band->setFixedHeight(look::scaled(BottomHeight, this));
    CCustomBtn *ignore = bottomButton(QStringLiteral("全部忽略"), CCustomBtn::Grey, "ignoreAllButton", band);
    CCustomBtn *manage = bottomButton(QStringLiteral("软件管理"), CCustomBtn::Blue, "managerButton", band);
    connect(ignore, &QPushButton::clicked, this, &CCheckUpdateDial::OnNotUpdateTemporarily);
    connect(manage, &QPushButton::clicked, this, &CCheckUpdateDial::OnUpdateImmediately);
    auto *row = new QHBoxLayout(band);
    row->setContentsMargins(0, 0, look::scaled(14, this), 0);
    row->setSpacing(look::scaled(12, this));
    row->addStretch();
    row->addWidget(ignore);
    row->addWidget(manage);
    return band;
}

void CCheckUpdateDial::placeInCorner()
{
    if (const QScreen *screen = QGuiApplication::primaryScreen()) {
        const int margin = look::scaled(CornerMargin, this);
        const QRect area = screen->availableGeometry();
        move(area.right() + 1 - margin - width(), area.bottom() + 1 - margin - height());
    }
    m_place = pos();
}

void CCheckUpdateDial::OnUpdateExplainClicked(QString strName)
{
    VT_LOG(info) << QStringLiteral("【右下角检测升级对话框】用户点击单个软件的立即升级，当前点击的软件名称为：%1。")
                        .arg(strName);
    if (CUpdateItem *row = m_rows.value(strName))
        row->hide();
    VT_LOG(info) << QStringLiteral("【右下角检测升级对话框】隐藏点击的软件更新项。");
    if (!upgradecalls::assistant()) {
        VT_LOG(critical) << QStringLiteral("获取在线升级服务失败");
        return;
    }
    if (CheckNewVersionAgain(strName))
        startDownload(strName);
    else
        VT_LOG(warning) << QStringLiteral("执行升级前，再次检测未检测到新版本");
    removeProduct(strName);
}

bool CCheckUpdateDial::CheckNewVersionAgain(const QString &name)
{
    IUpgradeServiceAssistant *assistant = upgradecalls::assistant();
    if (!assistant) {
        VT_LOG(critical) << QStringLiteral("获取在线升级服务失败");
        return false;
    }
    const auto input = assistant->CreateSoftInfoInputParam();
    const auto output = assistant->CreateSoftInfoOutputParam();
    if (!InitInputParamByRegedit(name, input)) {
        VT_LOG(critical) << QStringLiteral("初始化版本检测请求参数失败");
        return false;
    }
    assistant->CheckNewVersion(input, output);
    return output->GetRetCode() == code::Ok && !output->GetValueList().isEmpty();
}

bool CCheckUpdateDial::InitInputParamByRegedit(const QString &name,
                                               QSharedPointer<IUpgaredSoftInfoService_InputParam> param)
{
    Q_UNUSED(name)
    Q_UNUSED(param)
    return false;
}

void CCheckUpdateDial::startDownload(const QString &name)
{
    IUpgradeServiceAssistant *assistant = upgradecalls::assistant();
    if (!assistant)
        return;
    const QVariantMap record = m_records.value(name);
    const auto request = upgradecalls::request(*assistant, record, {key::Software, key::Patch, key::Plugins});
    const QVariantMap software = record.value(key::Software).toMap();
    request->SetValue(key::SoftwareName, name);
    request->SetValue(key::CurrentVersion,
                      (software.isEmpty() ? record.value(key::Patch).toMap() : software).value(key::NewVersion));
    upgradecalls::startDownload(*assistant, request);
}

void CCheckUpdateDial::removeProduct(const QString &name)
{
    m_rows.remove(name);
    m_records.remove(name);
    if (m_rows.isEmpty() && m_pending.isEmpty())
        close();
}

void CCheckUpdateDial::OnDoNotPromptClicked(QString strName, QString strVersion)
{
    Q_UNUSED(strVersion)
    IUpgradeServiceAssistant *assistant = upgradecalls::assistant();
    if (!assistant) {
        VT_LOG(critical) << QStringLiteral("OnDoNotPromptClicked：获取在线升级服务失败");
        return;
    }
    const auto notes = assistant->CreateSoftInfoInputParam();
    notes->SetValueList({records::notesCopy(m_records.value(strName))});
    CManagerAccess::post(CVisualizedEvents::eShowUpgradeExplainDialog, std::make_unique<CUpgradeExplainEveData>(notes));
}

void CCheckUpdateDial::OnNotUpdateTemporarily()
{
    addRows(m_pending.size());
    VT_LOG(info) << QStringLiteral("用户点击全部忽略，当前忽略软件数量为：%1。").arg(m_rows.size());
    for (const CUpdateItem *row : qAsConst(m_rows)) {
        if (!row)
            continue;
        QString name;
        QString version;
        row->GetUpdateInfo(name, version);
        DoIgnreUpdate(name, version);
    }
    close();
}

void CCheckUpdateDial::DoIgnreUpdate(QString name, QString version)
{
    const auto record = m_records.constFind(name);
    if (record == m_records.constEnd()) {
        VT_LOG(critical) << QStringLiteral("忽略%1 V%2升级失败，没有找到相关软件信息。").arg(name, version);
        return;
    }
    IUpgradeServiceAssistant *assistant = upgradecalls::assistant();
    if (!assistant) {
        VT_LOG(critical) << QStringLiteral("DoIgnreUpdate：获取在线升级服务失败");
        return;
    }
    const auto request = upgradecalls::request(*assistant, *record, {key::Software, key::Patch, key::Plugins});
    request->SetValue(key::IgnoredName, name);
    request->SetValue(key::IgnoredVersion, version);
    request->SetValue(key::Bitness, m_bitness.value(name));
    upgradecalls::ignore(*assistant, request);
}

void CCheckUpdateDial::OnUpdateImmediately()
{
    VT_LOG(info) << QStringLiteral(
                        "【右下角检测升级对话框】用户点击软件管理，当前列表中的软件数量为%1，即将跳转软件管理界面。")
                        .arg(m_rows.size());
    {
        const QMutexLocker lock(&m_noticeLock);
        if (m_noticeShowing)
            return;
        m_noticeShowing = true;
    }
    const QPointer<CCheckUpdateDial> self(this); // a new check may replace the prompt while the notice is open
    CstmMessageBox(QStringLiteral("提示"), QStringLiteral("软件管理由岚川软件助手提供，请先安装最新版本岚川软件助手。"),
                   eTipNormal, nullptr, nullptr, eBoxOrigin::AskedFor);
    if (!self)
        return;
    const QMutexLocker lock(&m_noticeLock);
    m_noticeShowing = false;
}

void CCheckUpdateDial::reject()
{
    close(); // QDialog would only hide, and the manager would not hear of it
}

bool CCheckUpdateDial::eventFilter(QObject *watched, QEvent *event)
{
    if (event->type() == QEvent::Enter || event->type() == QEvent::Leave) {
        const bool entered = event->type() == QEvent::Enter;
        if (auto *name = watched->findChild<QLabel *>(QStringLiteral("productName")))
            name->setStyleSheet(entered ? hoveredNameSheet() : QString());
    }
    return QDialog::eventFilter(watched, event);
}

void CCheckUpdateDial::mousePressEvent(QMouseEvent *event)
{
    if (!m_drag.handle(event, Qt::AllButtons))
        QDialog::mousePressEvent(event);
}

void CCheckUpdateDial::mouseMoveEvent(QMouseEvent *event)
{
    if (!m_drag.handle(event, Qt::AllButtons))
        QDialog::mouseMoveEvent(event);
}

void CCheckUpdateDial::mouseReleaseEvent(QMouseEvent *event)
{
    if (!m_drag.handle(event, Qt::AllButtons))
        QDialog::mouseReleaseEvent(event);
}

void CCheckUpdateDial::closeEvent(QCloseEvent *event)
{
    {
        const CManagerAccess access;
        if (CVisualizedManager *manager = access.manager())
            manager->CloseAutoUpdateDialog();
    }
    event->accept();
}
