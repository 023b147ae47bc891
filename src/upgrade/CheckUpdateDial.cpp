#include "upgrade/CheckUpdateDial.h"
#include "base/Log.h"
#include "frame/ManagerAccess.h"
#include "frame/VtServiceClient.h"
#include "frame/WindowHost.h"
#include "tarn/keys/UpgradeKeys.h"
#include "tarn/upgrade/IUpgradeServiceAssistant.h"
#include "upgrade/CUpdateItem.h"
#include "upgrade/UpdateRecords.h"
#include "upgrade/UpgradeCalls.h"
#include "widgets/AccessibleRole.h"
#include "widgets/CustomBtn.h"
#include "widgets/CustomMessageBox.h"
#include "widgets/CustomTitleBar.h"
#include "widgets/Look.h"
#include "widgets/Placement.h"
#include "widgets/ShownText.h"
#include "widgets/TextMenu.h"
#include <QBoxLayout>
#include <QCloseEvent>
#include <QGuiApplication>
#include <QLabel>
#include <QPointer>
#include <QScrollArea>
#include <QTimer>
#include <algorithm>
#include <memory>
#include <utility>

using namespace tarn::upgrade;
using namespace tarn::visualized;

namespace {
constexpr QSize ButtonSize(90, 30); // design pixels at 96 DPI
constexpr int RowsAtOnce = 3;       // fill the list and are created before the window shows; the others follow at once
constexpr int RowsPerEvent = 50;
constexpr int MaxRows = 200; // a row takes some 70 KB

// Look: one sheet for the whole window
QString dialogSheet(const QWidget *w)
{
    return QStringLiteral("#promptBody{background-color:white;border:1px solid #adadad;}"
                          "#titleText{color:#0e52a4;border:none;background-color:transparent;}"
                          "#adviceLine{color:#515151;}"
                          "#rowArea,#rowList{background-color:white;border:none;}") +
           look::titleBand(look::BandBlue) + CUpdateItem::sheet() + look::greyButton() + look::blueButton() +
           look::thinScrollBars(QStringLiteral("CCheckUpdateDial"), 6, QStringLiteral("white"), look::BorderGrey, w);
}

QString hoveredNameSheet()
{
    return QStringLiteral("color:%1;").arg(look::TextBlue);
}
} // namespace

CCheckUpdateDial::CCheckUpdateDial(QSharedPointer<IUpgaredSoftInfoService_InputParam> param, QWidget *parent)
    : ToolDialog(parent, Qt::Tool, Qt::AllButtons)
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
    setAttribute(Qt::WA_ShowWithoutActivating);
    prepare(QStringLiteral("在线升级"));
    setAccessibleName(QStringLiteral("在线升级：软件存在新版本")); // other windows have the same title
    setFixedSize(look::scaled(QSize(410, 320), this));
    setStyleSheet(dialogSheet(this));

    QVBoxLayout *column = addBody(QStringLiteral("promptBody"));
    QWidget *body = column->parentWidget();
    column->addWidget(adviceLine(body));
    column->addWidget(rowArea(body), 0, Qt::AlignHCenter);
    column->addWidget(bottomBand(body));
    CustomTitleBar *bar = addTitleBar(column, look::TitleHeight);
    bar->SetTitleLogo(look::icon::Upgrade);
    connect(bar, &CustomTitleBar::CustomTitleBarClose, this, &CCheckUpdateDial::close);
    const int margin = look::scaled(10, this);
    const QPoint corner = placement::availableFor(this).bottomRight() + QPoint(1 - margin, 1 - margin);
    move(corner.x() - width(), corner.y() - height());
    m_place = pos();
    expectUnasked();
}

QWidget *CCheckUpdateDial::adviceLine(QWidget *body)
{
    const QString text = QStringLiteral("您安装的岚川软件<font color='red'>存在新版本</font>，建议您立即升级。");
    auto *line = look::named(new QLabel(text, body), "adviceLine", look::TextPx);
    line->setTextInteractionFlags(Qt::NoTextInteraction); // rich text would keep the mouse from the window
    line->setContentsMargins(look::scaled(14, this), 0, 0, 0);
    setAccessibleDescription(QStringLiteral("您安装的岚川软件存在新版本，建议您立即升级。"));
    return line;
}

QWidget *CCheckUpdateDial::rowArea(QWidget *body)
{
    m_rowArea = look::named(new QScrollArea(body), "rowArea");
    m_rowArea->setFixedSize(look::scaled(QSize(406, 180), this));
    m_rowArea->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    m_rowArea->setWidgetResizable(true);
    m_rowArea->setFocusPolicy(Qt::NoFocus);
    removeScrollBarMenus(m_rowArea);
    auto *content = look::named(new QWidget(m_rowArea->viewport()), "rowList");
    accessible::setRole(content, QAccessible::List); // before it gets a name, since Qt then keeps the role
    content->setAccessibleName(QStringLiteral("可升级软件"));
    m_list = look::space(new QVBoxLayout(content), {}, 0, this);
    m_list->setSizeConstraint(QLayout::SetMinimumSize); // new rows do not squeeze those that are there
    m_list->addStretch();
    takeRecords();
    addRows(RowsAtOnce);
    m_rowArea->setWidget(content);
    return m_rowArea;
}

// Everything about the products but their widgets. The name is the identity of a record: without one the service could
// be asked nothing, and of two with one name the newer one is listed.
void CCheckUpdateDial::takeRecords()
{
    QList<QVariant> list = m_param ? m_param->GetValueList() : QList<QVariant>();
    VT_LOG_AS(info, "InitDialog") << QStringLiteral("正在展示的需要更新软件信息数量:") + QString::number(list.size());
    SortByUpdateTime(list);
    for (const QVariant &entry : qAsConst(list)) {
        const QVariantMap record = entry.toMap();
        const QString name = record.value(key::SoftwareName).toString();
        if (name == OwnAssistant)
            continue;
        if (name.isEmpty()) {
            VT_LOG(warning) << QStringLiteral("忽略没有软件名称的升级信息");
            continue;
        }
        if (m_records.contains(name)) {
            VT_LOG(warning) << QStringLiteral("软件名称重复，忽略较早的升级信息:") + text::brief(name);
            continue;
        }
        VT_LOG_AS(info, "InitDialog") << QStringLiteral("自动检测升级显示软件:") + name;
        m_rows.insert(name, nullptr);
        m_records.insert(name, record);
        m_pending << name;
    }
    if (m_pending.size() > MaxRows)
        VT_LOG(warning) << QStringLiteral("可升级的软件过多，共%1个，只显示前%2个").arg(m_pending.size()).arg(MaxRows);
}

void CCheckUpdateDial::addRows(int most)
{
    const bool isShown = m_rowArea->isVisible();
    const int room = MaxRows - (m_rows.size() - m_pending.size());
    for (int left = std::min({most, room, m_pending.size()}); left > 0; --left) {
        QWidget *row = addRow(m_records.value(m_pending.takeFirst()));
        if (isShown)
            row->show(); // else a later event shows it, and until then the list is laid out without it
    }
    if (isShown)
        m_list->activate(); // at once: a click that is on its way is meant for the row that the user sees
    if (room > most && !m_pending.isEmpty())
        QTimer::singleShot(0, this, [this] { addRows(RowsPerEvent); });
}

QWidget *CCheckUpdateDial::addRow(const QVariantMap &record)
{
    auto *row = new CUpdateItem(record, m_list->parentWidget());
    connect(row, &CUpdateItem::UpdateExplainClicked, this, &CCheckUpdateDial::OnUpdateExplainClicked);
    connect(row, &CUpdateItem::DoNotPromptClicked, this, &CCheckUpdateDial::OnDoNotPromptClicked);
    row->installEventFilter(this);
    m_list->insertWidget(m_list->count() - 1, row);
    m_rows.insert(record.value(key::SoftwareName).toString(), row);
    const auto buttons = row->findChildren<CCustomBtn *>();
    for (CCustomBtn *button : buttons) { // before the bottom buttons, which were created earlier
        if (m_lastStop)
            setTabOrder(m_lastStop, button);
        m_lastStop = button;
        button->installEventFilter(this);
    }
    return row;
}

QWidget *CCheckUpdateDial::bottomBand(QWidget *body)
{
    auto *band = look::named(new QWidget(body), "MsgCenterButtom");
    band->setFixedHeight(look::scaled(60, this));
    auto *ignore = new CCustomBtn(QStringLiteral("全部忽略"), CCustomBtn::Grey, "ignoreAllButton", ButtonSize, band);
    auto *manage = new CCustomBtn(QStringLiteral("软件管理"), CCustomBtn::Blue, "managerButton", ButtonSize, band);
    connect(ignore, &QPushButton::clicked, this, &CCheckUpdateDial::OnNotUpdateTemporarily);
    connect(manage, &QPushButton::clicked, this, &CCheckUpdateDial::OnUpdateImmediately);
    auto *row = look::space(new QHBoxLayout(band), {0, 0, 14, 0}, 12, this);
    row->addStretch();
    row->addWidget(ignore);
    row->addWidget(manage);
    return band;
}

void CCheckUpdateDial::OnUpdateExplainClicked(QString strName)
{
    VT_LOG(info) << QStringLiteral("【右下角检测升级对话框】用户点击单个软件的立即升级，当前点击的软件名称为：%1。")
                        .arg(strName);
    if (CUpdateItem *row = m_rows.value(strName))
        row->hide();
    VT_LOG(info) << QStringLiteral("【右下角检测升级对话框】隐藏点击的软件更新项。");
    if (!service::upgrade()) {
        VT_LOG(critical) << QStringLiteral("获取在线升级服务失败");
        return;
    }
    if (CheckNewVersionAgain(strName))
        startDownload(__func__, strName);
    else
        VT_LOG(warning) << QStringLiteral("执行升级前，再次检测未检测到新版本");
    removeProduct(strName);
}

bool CCheckUpdateDial::CheckNewVersionAgain(const QString &name)
{
    const auto upgrade = service::upgrade();
    if (!upgrade) {
        VT_LOG(critical) << QStringLiteral("获取在线升级服务失败");
        return false;
    }
    const auto input = upgrade->CreateSoftInfoInputParam();
    if (!InitInputParamByRegedit(name, input)) {
        VT_LOG(critical) << QStringLiteral("初始化版本检测请求参数失败");
        return false;
    }
    const auto outcome = callWith(upgrade, &IUpgradeServiceAssistant::CheckNewVersion, input);
    return outcome.accepted() && !outcome.list.isEmpty();
}

bool CCheckUpdateDial::InitInputParamByRegedit(const QString &, QSharedPointer<IUpgaredSoftInfoService_InputParam>)
{
    return false;
}

void CCheckUpdateDial::startDownload(const char *function, const QString &name)
{
    const QVariantMap record = m_records.value(name);
    const QVariantMap software = record.value(key::Software).toMap();
    const QVariant version = (software.isEmpty() ? record.value(key::Patch).toMap() : software).value(key::NewVersion);
    upgradecalls::startDownload(function, records::parts(record, {key::Software, key::Patch, key::Plugins},
                                                         {{key::SoftwareName, name}, {key::CurrentVersion, version}}));
}

void CCheckUpdateDial::removeProduct(const QString &name)
{
    m_rows.remove(name);
    m_records.remove(name);
    m_pending.removeAll(name);
    if (m_rows.isEmpty())
        close();
    else
        addRows(RowsPerEvent);
}

void CCheckUpdateDial::OnDoNotPromptClicked(QString strName, QString)
{
    const auto upgrade = service::upgrade();
    const auto notes = upgrade ? upgrade->CreateSoftInfoInputParam() : nullptr;
    if (!notes) {
        VT_LOG(critical) << QStringLiteral("OnDoNotPromptClicked：获取在线升级服务失败");
        return;
    }
    notes->SetValueList({records::notesCopy(m_records.value(strName))});
    CManagerAccess::post(CVisualizedEvents::eShowUpgradeExplainDialog, std::make_unique<CUpgradeExplainEveData>(notes));
}

void CCheckUpdateDial::OnNotUpdateTemporarily()
{
    VT_LOG(info) << QStringLiteral("用户点击全部忽略，当前忽略软件数量为：%1。").arg(m_rows.size());
    const auto rows = m_rows;
    for (auto it = rows.cbegin(); it != rows.cend(); ++it) {
        QString name = it.key();
        QString version;
        if (it.value())
            it.value()->GetUpdateInfo(name, version);
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
    const auto request = records::parts(*record, {key::Software, key::Patch, key::Plugins},
                                        {{key::IgnoredName, name},
                                         {key::IgnoredVersion, version},
                                         {key::Bitness, record->value(key::SoftBytes).toString()}});
    const auto outcome = call(service::upgrade(), &IUpgradeServiceAssistant::IgnoreUpgrade, request);
    if (!outcome.called())
        VT_LOG(critical) << QStringLiteral("DoIgnreUpdate：获取在线升级服务失败");
    VT_LOG_OUTCOME(outcome, QStringLiteral("【检测升级窗口】调用忽略升级接口"),
                   QStringLiteral("调用忽略升级接口成功。"));
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

bool CCheckUpdateDial::eventFilter(QObject *watched, QEvent *event)
{
    const QEvent::Type type = event->type();
    if (type == QEvent::Enter || type == QEvent::Leave) {
        if (auto *name = watched->findChild<QLabel *>(QStringLiteral("productName")))
            name->setStyleSheet(type == QEvent::Enter ? hoveredNameSheet() : QString());
    }
    // The scroll area itself follows only a Tab from one row to the next. Nothing moves under a mouse button that is held.
    if (type == QEvent::FocusIn) {
        const Qt::FocusReason reason = static_cast<QFocusEvent *>(event)->reason();
        if (reason == Qt::TabFocusReason || reason == Qt::BacktabFocusReason)
            m_rowArea->ensureWidgetVisible(static_cast<QWidget *>(watched)->parentWidget(), 0, 0);
    }
    return ToolDialog::eventFilter(watched, event);
}

void CCheckUpdateDial::closeEvent(QCloseEvent *event)
{
    {
        const CManagerAccess access;
        if (WindowHost *host = access.host())
            host->CloseAutoUpdateDialog();
    }
    ToolDialog::closeEvent(event);
}
