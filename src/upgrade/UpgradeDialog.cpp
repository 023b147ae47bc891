#include "upgrade/UpgradeDialog.h"
#include "base/Log.h"
#include "upgrade/controls/CustomScrollarea.h"
#include "upgrade/controls/UpgradeProgress.h"
#include "upgrade/controls/UpgradeTableWidget.h"
#include "widgets/CustomMessageBox.h"
#include "widgets/Look.h"
#include "widgets/Placement.h"
#include "widgets/TextMenu.h"
#include "widgets/TitleButton.h"
#include <QBoxLayout>
#include <QCloseEvent>
#include <QKeyEvent>
#include <QLabel>
#include <QMenu>
#include <QPointer>
#include <QStackedLayout>

using namespace upgrade::controls;
using namespace upgrade::operate;
using namespace tarn::visualized;

namespace {
// Look
QString frameSheet()
{
    return QStringLiteral("background-color:white;border:1px solid %1;").arg(look::FrameBlue);
}

QString contentSheet()
{
    return QStringLiteral("#titleBar{background-color:white;border:none;border-bottom:1px solid #EBEBEB;}"
                          "#titleBar #titleText{background-color:transparent;border:none;color:#333333;}"
                          "#centerWidget,#dataView,#noDataView,#dataPanel{background-color:white;border:none;}"
                          "#noDataText{background-color:transparent;border:none;color:#7F7F7F;}");
}
} // namespace

CUpgradeDialog::CUpgradeDialog(QWidget *parent)
    : ToolDialog(parent)
{
    initDialog();
    const auto polled = &CUpgradeDataRefresher::refreshUpgradeDtats;
    connect(&m_refresher, polled, m_table, &CUpgradeTableWidget::onRefreshUpgradeDtats);
    connect(&m_refresher, polled, this, &CUpgradeDialog::showWithoutTray);
    connect(m_table, &CUpgradeTableWidget::sigCloseDialog, this, &CUpgradeDialog::onClose);
}

void CUpgradeDialog::showUpgradeDialog()
{
    m_closedByUser = false;
    m_refresher.startWork();
    const QPointer<CUpgradeDialog> self(this);
    m_refresher.updateUpgradeTasks();
    if (!self || m_closedByUser)
        return;
    m_refresher.startWork(); // the poll stops it when it reports the end of an earlier request's last task
    m_tray->show();
    showNormal();
}

void CUpgradeDialog::onOpenTriggered()
{
    showNormal();
    raise();
    activateWindow();
}

void CUpgradeDialog::onActivated(QSystemTrayIcon::ActivationReason reason)
{
    if (reason == QSystemTrayIcon::Trigger)
        onOpenTriggered();
}

void CUpgradeDialog::onMinumBtnClicked()
{
    if (QSystemTrayIcon::isSystemTrayAvailable())
        return hide();
    lower(); // without a tray the user could not bring a hidden window back
    VT_LOG(warning) << QStringLiteral("【在线升级】桌面没有系统托盘，窗口不隐藏，已置于其他窗口之后。");
}

void CUpgradeDialog::showWithoutTray()
{
    if (!m_tray->isVisible() || isVisible() || QSystemTrayIcon::isSystemTrayAvailable())
        return;
    setAttribute(Qt::WA_ShowWithoutActivating);
    showNormal();
    setAttribute(Qt::WA_ShowWithoutActivating, false);
    lower();
}

void CUpgradeDialog::onCloseBtnClicked()
{
    askToClose(eBoxOrigin::AskedFor);
}

void CUpgradeDialog::askToClose(eBoxOrigin origin)
{
    if (m_askingToClose) // the tray's menu works while the question is open
        return;
    const QPointer<CUpgradeDialog> self(this);
    m_askingToClose = true;
    const bool closes =
        m_table->getTaskInfoCount() <= 0 ||
        CQuestionMessageBox(QStringLiteral("提示"), QStringLiteral("关闭窗口将取消正在执行的升级，是否确定要关闭？"),
                            this, QStringLiteral("是"), QStringLiteral("否"), origin) == 1;
    if (!self)
        return;
    m_askingToClose = false;
    if (closes) {
        m_closedByUser = true;
        onClose();
    }
}

void CUpgradeDialog::onClose()
{
    m_table->stopAllTask();
    m_refresher.stopWork();
    m_tray->hide();
    const auto boxes = findChildren<QDialog *>(); // open questions and reports
    for (QDialog *box : boxes) {
        if (!qobject_cast<CUpgradeProgress *>(
                box->parent())) // the row deletes it; a rejection would cancel the task twice
            box->reject();
    }
    close();
}

void CUpgradeDialog::showCurrentView()
{
    m_views->setCurrentIndex(m_table->getTaskInfoCount() > 0 ? 0 : 1);
}

void CUpgradeDialog::keyPressEvent(QKeyEvent *event)
{
    if (event->matches(QKeySequence::Cancel))
        askToClose(eBoxOrigin::Unasked); // the key may have been typed for another program
    else
        ToolDialog::keyPressEvent(event);
}

// Minimise, close, the rows from top to bottom, and round again. The rows' widgets are created in the order in which they
// are seen, so that the order of creation is not theirs.
bool CUpgradeDialog::focusNextPrevChild(bool next)
{
    QWidget *focus = focusWidget();
    const bool inTable = focus && m_table->isAncestorOf(focus);
    const bool entersTable = next ? focus == m_closeButton : (focus == m_minimiseButton || focus == this || !focus);
    if (!inTable && !entersTable)
        return ToolDialog::focusNextPrevChild(next);
    if (!m_table->focusTask(next))
        (next ? m_minimiseButton : m_closeButton)->setFocus(next ? Qt::TabFocusReason : Qt::BacktabFocusReason);
    return true;
}

// The window manager's close command asks like the close button, after the event: within it, close() does nothing.
void CUpgradeDialog::closeEvent(QCloseEvent *event)
{
    if (!event->spontaneous())
        return ToolDialog::closeEvent(event);
    event->ignore();
    QMetaObject::invokeMethod(this, &CUpgradeDialog::onCloseBtnClicked, Qt::QueuedConnection);
}

void CUpgradeDialog::initDialog()
{
    prepare(QStringLiteral("在线升级"));
    setWindowIcon(QIcon(look::icon::Upgrade));
    setFixedSize(look::scaled(QSize(750, 500), this));
    expectUnasked();
    placement::centreOnPrimary(this);

    // Under the contents: its sheet has no selector and would apply to every child.
    auto *frame = look::named(new QFrame(this), "windowFrame");
    frame->setStyleSheet(frameSheet());
    frame->setGeometry(rect());
    frame->setAttribute(Qt::WA_TransparentForMouseEvents);
    auto *titleBar = look::named(new QWidget(this), "titleBar");
    titleBar->setAttribute(Qt::WA_StyledBackground); // a frame would move the contents by its line
    auto *center = look::named(new QFrame(this), "centerWidget");
    initTitleBar(titleBar);
    initCenterWidget(center);
    auto *bands = new QVBoxLayout(this);
    bands->setContentsMargins(1, 1, 1, 1);
    bands->setSpacing(0);
    bands->addWidget(titleBar);
    bands->addWidget(center, 1);
    setStyleSheet(contentSheet());
    initTray();
}

void CUpgradeDialog::initTitleBar(QWidget *titleBar)
{
    titleBar->setFixedHeight(look::scaled(look::LargeTitleHeight, this));
    auto *logo = new QLabel(titleBar);
    logo->setPixmap(QIcon(look::icon::Upgrade).pixmap(look::scaled(QSize(20, 20), this)));
    auto *title = look::named(new QLabel(windowTitle(), titleBar), "titleText", 15, QFont::Bold);
    auto *line = look::space(new QHBoxLayout(titleBar), {12, 0, 10, 1}, 8, this);
    line->addWidget(logo);
    line->addWidget(title);
    line->addStretch();
    m_minimiseButton =
        look::named(new TitleButton(QStringLiteral("最小化"), look::icon::Minimise, titleBar), "minButton");
    m_closeButton = look::named(new TitleButton(QStringLiteral("关闭"), look::icon::Close, titleBar), "closeButton");
    connect(m_minimiseButton, &QPushButton::clicked, this, &CUpgradeDialog::onMinumBtnClicked);
    connect(m_closeButton, &QPushButton::clicked, this, &CUpgradeDialog::onCloseBtnClicked);
    for (TitleButton *button : {m_minimiseButton, m_closeButton}) {
        button->setFixedSize(look::scaled(QSize(20, 36), this));
        line->addWidget(button);
    }
}

void CUpgradeDialog::initCenterWidget(QWidget *center)
{
    auto *dataView = look::named(new QFrame(center), "dataView");
    auto *noDataView = look::named(new QFrame(center), "noDataView");
    initHasDataView(dataView);
    initNoDataView(noDataView);
    m_views = new QStackedLayout(center);
    m_views->addWidget(dataView);
    m_views->addWidget(noDataView);
    connect(m_table->model(), &QAbstractItemModel::rowsInserted, this, &CUpgradeDialog::showCurrentView);
    connect(m_table->model(), &QAbstractItemModel::rowsRemoved, this, &CUpgradeDialog::showCurrentView);
    showCurrentView();
}

void CUpgradeDialog::initHasDataView(QWidget *view)
{
    auto *panel = look::named(new QFrame(view), "dataPanel");
    panel->setMaximumSize(look::scaled(QSize(740, 450), this));
    m_table = new CUpgradeTableWidget(panel);
    m_table->FillTableHeader({{QStringLiteral("软件"), 360}, {QStringLiteral("下载进度"), 100}});
    m_table->setParentDlg(this);
    removeScrollBarMenus(m_table);

    look::space(new QVBoxLayout(panel), {}, 0, this)->addWidget(new CCustomScrollArea(panel, m_table));
    look::space(new QVBoxLayout(view), {10, 10, 10, 10}, 0, this)->addWidget(panel);
}

void CUpgradeDialog::initNoDataView(QWidget *view)
{
    auto *text = look::named(new QLabel(QStringLiteral("暂无数据"), view), "noDataText", 15);
    text->setAlignment(Qt::AlignCenter);
    (new QVBoxLayout(view))->addWidget(text);
}

void CUpgradeDialog::initTray()
{
    auto *menu = new QMenu(this);
    menu->addAction(QStringLiteral("打开"), this, &CUpgradeDialog::onOpenTriggered);
    menu->addAction(QIcon(look::icon::Quit), QStringLiteral("退出"), this, &CUpgradeDialog::onCloseBtnClicked);

    m_tray = new QSystemTrayIcon(QIcon(look::icon::Upgrade), this);
    m_tray->setToolTip(QStringLiteral("在线升级"));
    m_tray->setContextMenu(menu);
    connect(m_tray, &QSystemTrayIcon::activated, this, &CUpgradeDialog::onActivated);
}
