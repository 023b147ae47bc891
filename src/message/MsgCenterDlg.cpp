#include "message/MsgCenterDlg.h"

#include "base/Log.h"
#include "message/MessageList.h"
#include "message/MessageListItem.h"
#include "message/MessagePushEvent.h"
#include "widgets/BringToFront.h"
#include "widgets/CustomBtn.h"
#include "widgets/CustomTitleBar.h"
#include "widgets/Look.h"
#include "widgets/Toolkit.h"

#include <QCoreApplication>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QPainter>
#include <QStackedWidget>
#include <QTimer>
#include <algorithm>
#include <utility>

using namespace tarn::visualized;

using ServiceVisualized::CToolkit;

namespace {
constexpr int ListPage = 0;
constexpr int EmptyPage = 1;
constexpr size_t FirstChunk = 8; // items, more than the window shows
constexpr size_t ChunkSize = 50;
// Look
QString titleSheet()
{
    return look::titleBand(QStringLiteral("white"), QStringLiteral("#E8EAED"));
}

QString readAllSheet()
{
    return look::linkButton(QStringLiteral("#readAllButton"));
}

QString emptyTextSheet()
{
    return QStringLiteral("color:#A2A1A1;");
}
} // namespace

CMsgCenterDlg::CMsgCenterDlg(QWidget *parent)
    : ToolDialog(parent, Qt::Tool, Qt::NoButton)
{
    prepare(QStringLiteral("消息中心"));
    installEventFilter(this);
    CMessageObserver::GetObserverInstance()->AddListener(this);
    InitDialogUi();
    front::neutralFocus(this);
}

CMsgCenterDlg::~CMsgCenterDlg()
{
    BeforeCloseDiallog();
}

void CMsgCenterDlg::InitDialogUi()
{
    int width = 760;
    int height = 600;
    CToolkit::UpdateWidthAndHeight(this, width, height);
    setFixedSize(width, height);

    // No sheet on the dialog: each of the items would be matched against it.
    auto *column = new QVBoxLayout(this);
    column->setContentsMargins(1, 1, 1, look::scaled(12, this));
    column->setSpacing(0);
    column->addWidget(actionBand());
    m_pages = new QStackedWidget(this);
    m_list = new MessageList(m_pages);
    connect(m_list, &MessageList::itemNeeded, this, &CMsgCenterDlg::connectItem);
    m_pages->insertWidget(ListPage, m_list);
    column->addWidget(m_pages, 1);
    addTitleBand(column);
    column->activate();

    fetchRecords();
    applyCount();
    m_list->setTotal(int(m_records.size()));
    m_builder.setInterval(0);
    connect(&m_builder, &QTimer::timeout, this, &CMsgCenterDlg::logIds);
    connect(&m_builder, &QTimer::timeout, this, &CMsgCenterDlg::buildChunk);
    buildChunk();
}

void CMsgCenterDlg::addTitleBand(QVBoxLayout *column)
{
    CustomTitleBar *bar = addTitleBar(column, look::LargeTitleHeight);
    bar->setStyleSheet(titleSheet());
    bar->SetTitleLogo(look::icon::MessageCenter);
    m_closeButton = bar->findChild<QWidget *>(QStringLiteral("closeButton"));
    connect(bar, &CustomTitleBar::CustomTitleBarClose, this, &CMsgCenterDlg::OnCloseBtnClicked);
}

QWidget *CMsgCenterDlg::actionBand()
{
    auto *band = new QWidget(this);
    band->setFixedHeight(look::scaled(44, this));
    auto *row = new QHBoxLayout(band);
    look::space(row, {12, 0, 12, 0}, 0, this);
    m_readAll = look::named(new CCustomBtn(QStringLiteral("全部已读"), CCustomBtn::Link, band), "readAllButton");
    m_readAll->setStyleSheet(readAllSheet());
    m_readAll->setFixedHeight(look::scaled(28, this));
    m_readAll->setIcon(QIcon(look::icon::ReadAll));
    m_readAll->setIconSize(look::scaled(QSize(18, 18), this));
    connect(m_readAll, &QPushButton::clicked, this, &CMsgCenterDlg::ReadAllMsg);
    row->addStretch(1);
    row->addWidget(m_readAll);
    return band;
}

QWidget *CMsgCenterDlg::emptyPage()
{
    auto *page = look::named(new QWidget(m_pages), "emptyPage");
    auto *picture = new QLabel(page);
    CToolkit::SetLabelIconPicture(picture, QIcon(look::icon::NoMessages), look::scaled(QSize(160, 120), this));
    auto *text = new QLabel(QStringLiteral("暂无消息"), page);
    text->setFont(look::yaHei(14, QFont::Normal, this));
    text->setStyleSheet(emptyTextSheet());
    auto *column = new QVBoxLayout(page);
    column->addStretch(2);
    column->addWidget(picture, 0, Qt::AlignHCenter);
    column->addWidget(text, 0, Qt::AlignHCenter);
    column->addStretch(3);
    return page;
}

void CMsgCenterDlg::fetchRecords()
{
    CMsgCenterDataMgr *store = CMsgCenterDataMgr::GetMsgDataMgrInstance();
    if (!store) {
        VT_LOG(critical) << QStringLiteral("【消息中心交互流程日志记录】获取CMsgCenterDataMgr实例失败。");
        return;
    }
    store->GetMessageRecords(m_records);
    m_shownCount = int(m_records.size());
    VT_LOG(info) << QStringLiteral("消息中心展示消息数量：") + QString::number(m_shownCount);
}

void CMsgCenterDlg::logIds()
{
    if (std::exchange(m_hasLoggedIds, true))
        return;
    QStringList ids;
    for (const sMsgData &record : m_records)
        ids.append(record.MsgId);
    VT_LOG(info) << QStringLiteral("消息中心展示的消息ID：") + ids.join(QLatin1Char(','));
}

void CMsgCenterDlg::buildChunk()
{
    const size_t built = m_list->items().size();
    if (built == m_records.size()) {
        m_builder.stop();
        return;
    }
    const size_t count = std::min(m_records.size() - built, built == 0 ? FirstChunk : ChunkSize);
    m_list->addChunk(&m_records[built], int(count));
    for (size_t i = built; i < built + count; ++i)
        addItem(m_list->items()[i]);
    setTabOrder(m_list->items().back(), m_closeButton); // the last stop
}

void CMsgCenterDlg::addItem(CMessageListItem *item)
{
    const QString &id = item->message().MsgId;
    const auto twin = m_items.find(id);
    const bool isGone = twin != m_items.end() && twin->second->isDeleted(); // deleted before this one was built
    m_items.emplace(id, item);
    if (isGone) {
        remove({item});
        applyCount();
    }
}

QList<CMessageListItem *> CMsgCenterDlg::itemsOf(const QString &id) const
{
    QList<CMessageListItem *> items;
    for (auto [it, end] = m_items.equal_range(id); it != end; ++it)
        items.append(it->second);
    return items;
}

void CMsgCenterDlg::connectItem(CMessageListItem *item)
{
    connect(item, &CMessageListItem::MessageRead, this, &CMsgCenterDlg::MsgReadSlots);
    connect(item, &CMessageListItem::MessageClicked, this, &CMsgCenterDlg::MsgHasBeClickSlots);
    connect(item, &CMessageListItem::MessageSelected, this, &CMsgCenterDlg::OnMessageSelected);
    connect(item, &CMessageListItem::MessageDeleted, this, &CMsgCenterDlg::OnMessageDeleted);
}

void CMsgCenterDlg::MsgReadSlots(QString strMsgId)
{
    CMsgCenterDataMgr::GetMsgDataMgrInstance()->MessageHasBeenRead(strMsgId, QString(), QString());
    notifyObservers(strMsgId, eEventDisplayed);
    emit MsgHasBeReadSignal();
}

void CMsgCenterDlg::MsgHasBeClickSlots(QString strMsgId)
{
    CMsgCenterDataMgr::GetMsgDataMgrInstance()->MessageHasBeenClicked(strMsgId, QString(), QString());
    notifyObservers(strMsgId, eEventClicked);
    emit MsgHasBeClickSignal();
}

void CMsgCenterDlg::notifyObservers(const QString &id, EMessageEventType type)
{
    const auto eventData = QSharedPointer<CCommonEventData>::create();
    eventData->SetEventSource(eSourceMessageCenter);
    eventData->SetMessageId(id);
    CMessageObserver::GetObserverInstance()->NotifyEvent(eventData.data(), type);
}

void CMsgCenterDlg::OnMessageSelected(QString strMessageId)
{
    if (strMessageId.isEmpty() || strMessageId == m_selectedId)
        return;
    const QString previous = m_selectedId;
    m_selectedId = strMessageId;
    for (CMessageListItem *item : itemsOf(previous))
        item->ClearMessageSelected();
    for (CMessageListItem *item : itemsOf(m_selectedId))
        item->SetMessageSelected();
}

void CMsgCenterDlg::OnMessageDeleted(QString strMessageId)
{
    const QList<CMessageListItem *> items = itemsOf(strMessageId);
    if (strMessageId.isEmpty() || items.isEmpty() || items.first()->isDeleted())
        return;
    remove(items);
    CMsgCenterDataMgr::GetMsgDataMgrInstance()->MessageHasBeenDeleted(strMessageId, QString(), QString());
    applyCount();
}

void CMsgCenterDlg::remove(const QList<CMessageListItem *> &items)
{
    for (CMessageListItem *item : items)
        item->markDeleted();
    moveSelectionAway(items);
    for (CMessageListItem *item : items)
        m_list->rearrange(item);
    m_shownCount -= items.size();
}

void CMsgCenterDlg::moveSelectionAway(const QList<CMessageListItem *> &items)
{
    const auto isLeaving = [this](const CMessageListItem *item) {
        return item->isSelected() || item == focusWidget() || item->isAncestorOf(focusWidget());
    };
    const auto leaving = std::find_if(items.begin(), items.end(), isLeaving);
    if (leaving == items.end())
        return;
    for (CMessageListItem *item : items)
        item->ClearMessageSelected();
    m_selectedId.clear();
    CMessageListItem *next = m_list->neighbour(*leaving, 1);
    if (!next)
        next = m_list->neighbour(*leaving, -1);
    if (next)
        m_list->goTo(next);
    else
        front::neutralFocus(this);
}

void CMsgCenterDlg::ReadAllMsg()
{
    if (m_records.empty())
        return;
    QStringList ids;
    ids.reserve(int(m_records.size()));
    for (const sMsgData &record : m_records) {
        // An empty id names no message, and the service would refuse the others because of it.
        if (!record.MsgId.isEmpty())
            ids.append(record.MsgId);
    }
    VT_LOG(debug) << QStringLiteral("全部消息已读。数量：") + QString::number(m_records.size());
    VT_LOG(debug) << QStringLiteral("首条消息为：") + m_records.front().MsgId;
    for (CMessageListItem *item : m_list->items())
        item->ReadMessage(true);
    for (size_t i = m_list->items().size(); i < m_records.size(); ++i) { // those whose items are not built yet
        if (std::exchange(m_records[i].unRead, false))
            VT_LOG(info) << QStringLiteral("【全部已读】消息已读，去除未读红点。");
    }
    m_list->widget()->update(); // a request by each item costs more than the painting
    if (!ids.isEmpty())
        CMsgCenterDataMgr::GetMsgDataMgrInstance()->MessageHasBeenRead(ids);
}

void CMsgCenterDlg::BeforeCloseDiallog()
{
    if (m_hasLeftObserver)
        return;
    m_hasLeftObserver = true;
    CMessageObserver::GetObserverInstance()->RemoveListener(this);
}

void CMsgCenterDlg::applyCount()
{
    const bool isEmpty = m_shownCount < 1;
    if (isEmpty && m_pages->count() == EmptyPage)
        m_pages->insertWidget(EmptyPage, emptyPage());
    m_pages->setCurrentIndex(isEmpty ? EmptyPage : ListPage);
    m_readAll->setDisabled(isEmpty);
}

void CMsgCenterDlg::forwardToItem(CMessagePushEvent *event)
{
    const auto *named = dynamic_cast<const CCommonEventData *>(event->GetEventData());
    if (!named || event->type() != CMessagePushEvent::eMessageDisplayed)
        return;
    const QString id = named->GetMessageId();
    for (CMessageListItem *item : itemsOf(id))
        QCoreApplication::postEvent(item, new CMessagePushEvent(event->type(), event->GetEventData()));
    for (size_t i = m_list->items().size(); i < m_records.size(); ++i) {
        if (m_records[i].MsgId == id)
            m_records[i].unRead = false;
    }
}

bool CMsgCenterDlg::event(QEvent *event)
{
    auto *push = dynamic_cast<CMessagePushEvent *>(event);
    if (!push)
        return ToolDialog::event(event);
    forwardToItem(push);
    return true;
}

bool CMsgCenterDlg::eventFilter(QObject *watched, QEvent *event)
{
    if (event->type() == QEvent::KeyPress && static_cast<QKeyEvent *>(event)->key() == Qt::Key_Escape)
        return true; // only the close button closes the window
    return ToolDialog::eventFilter(watched, event);
}

void CMsgCenterDlg::closeEvent(QCloseEvent *event)
{
    BeforeCloseDiallog();
    logIds(); // a window can be closed before it is painted
    ToolDialog::closeEvent(event);
    emit MsgCenterClosed();
}

void CMsgCenterDlg::keyPressEvent(QKeyEvent *event)
{
    // The focus is neutral at first: the arrows lead into the list from there, too.
    const bool isPlain = !(event->modifiers() & ~Qt::KeypadModifier);
    if (m_shownCount < 1 || !isPlain || !m_list->handleKey(event->key()))
        ToolDialog::keyPressEvent(event);
}

void CMsgCenterDlg::paintEvent(QPaintEvent *)
{
    if (!m_hasLoggedIds) // the rest of the window follows its first paint event
        m_builder.start();
    QPainter painter(this);
    painter.fillRect(rect(), Qt::white);
    painter.setPen(QColor(look::FrameBlue));
    painter.drawRect(rect().adjusted(0, 0, -1, -1));
}
