#include "message/MessageListItem.h"

#include "base/Log.h"
#include "message/CardBody.h"
#include "message/MessageCard.h"
#include "message/MessageList.h"
#include "message/MessagePushEvent.h"
#include "message/MsgCenterDataMgr.h"
#include "widgets/CustomBtn.h"
#include "widgets/Look.h"
#include "widgets/SafeHtml.h"
#include "widgets/ShownText.h"
#include "widgets/WebLink.h"

#include <QAccessible>
#include <QKeyEvent>
#include <QPainter>
#include <QToolButton>
#include <utility>

using namespace tarn::visualized;

namespace {
constexpr int PreviewLength = 512; // characters

// Return presses it as Space does; the item would otherwise take that key.
class CardButton final : public QToolButton
{
public:
    using QToolButton::QToolButton;

protected:
    void keyPressEvent(QKeyEvent *event) override
    {
        if (!clickByReturn(this, event))
            QToolButton::keyPressEvent(event);
    }
};
} // namespace

CMessageListItem::CMessageListItem(sMsgData *message, bool expanded, QWidget *parent)
    : QWidget(parent)
    , m_message(message)
    , m_card(MessageCard::of(parent))
    , m_isExpanded(expanded)
{
    // One item at a time is a stop of the Tab key; the list moves that along.
    setFocusPolicy(Qt::ClickFocus);
    setAttribute(Qt::WA_OpaquePaintEvent); // moves its picture instead of painting it again
}

int CMessageListItem::fitToWidth(int width)
{
    placeParts(width);
    if (!m_isExpanded)
        return m_card.collapsedHeight();
    buildBody(width);
    const QRect text = m_card.textRect(width);
    m_body->move(text.left(), m_card.bodyTop());
    const int bodyHeight = m_body->fitToWidth(text.width());
    m_body->show();
    return qMax(m_card.collapsedHeight(), m_card.bodyTop() + bodyHeight + m_card.padding());
}

void CMessageListItem::setSelected(bool selected)
{
    if (m_isSelected == selected)
        return;
    m_isSelected = selected;
    buildParts();
    applyState();
}

void CMessageListItem::ReadMessage(bool all)
{
    if (!m_message->unRead)
        return;
    m_message->unRead = false;
    VT_LOG(info) << (all ? QStringLiteral("【全部已读】消息已读，去除未读红点。")
                         : QStringLiteral("【消息中心交互流程日志记录】消息已读，去除未读红点。"));
    if (!all)
        update(m_card.dotRect());
}

void CMessageListItem::select()
{
    // The dialog identifies the selection by its id: that of a message without one could not be cleared.
    if (m_message->MsgId.isEmpty())
        return;
    buildParts();
    SetMessageSelected();
    emit MessageSelected(m_message->MsgId);
}

void CMessageListItem::rearrange()
{
    if (MessageList *list = MessageList::of(this))
        list->rearrange(this);
}

void CMessageListItem::OnArrowBtnClicked()
{
    buildParts();
    m_isExpanded = !m_isExpanded;
    VT_LOG(info) << (m_isExpanded ? QStringLiteral("【消息中心交互流程日志记录】消息%1展开详细信息。")
                                  : QStringLiteral("【消息中心交互流程日志记录】消息%1收起详细信息。"))
                        .arg(m_message->MsgId);
    applyState();
    rearrange();
    // Qt's AT-SPI bridge passes on no expansion; screen readers speak a changed description of the focused item.
    QAccessibleEvent described(this, QAccessible::DescriptionChanged);
    QAccessible::updateAccessibility(&described);
    if (m_isExpanded)
        reportReading();
}

void CMessageListItem::OnlinkActivated(QString strLink)
{
    buildParts();
    VT_LOG(info) << QStringLiteral("【消息中心交互流程日志记录】消息%1链接已点击，目标地址为：%2。")
                        .arg(m_message->MsgId, strLink);
    const bool isOpened = weblink::open(strLink);
    if (!isOpened)
        VT_LOG(warning)
            << QStringLiteral("【消息中心交互流程日志记录】消息%1的链接无法打开：%2。").arg(m_message->MsgId, strLink);
    reportReading();
    if (isOpened && !m_message->MsgId.isEmpty())
        emit MessageClicked(m_message->MsgId);
}

void CMessageListItem::OnDeleteMessage()
{
    buildParts();
    emit MessageDeleted(m_message->MsgId);
}

void CMessageListItem::reportReading()
{
    if (!m_message->unRead)
        return;
    // Hides the mark at once: the event that announces the reading comes back later and then changes nothing.
    ReadMessage(false);
    VT_LOG(info) << QStringLiteral("【消息中心交互流程日志记录】消息%1已读。").arg(m_message->MsgId);
    if (!m_message->MsgId.isEmpty())
        emit MessageRead(m_message->MsgId);
}

bool CMessageListItem::event(QEvent *event)
{
    if (event->type() == CMessagePushEvent::eMessageDisplayed) {
        ReadMessage(false);
        return true;
    }
    return QWidget::event(event);
}

void CMessageListItem::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    m_card.drawFrame(&painter, size(), m_isSelected, hasFocus());
    m_card.drawHead(&painter, width(), m_message->MsgTitle, m_message->MsgDateTime);
    if (!m_isExpanded)
        m_card.drawPreview(&painter, width(), abbreviation());
    if (m_message->unRead)
        m_card.drawDot(&painter);
    if (!m_arrow)
        m_card.drawArrow(&painter, width(), m_isExpanded);
}

QString CMessageListItem::preview() const
{
    return safehtml::words(m_message->MsgContent, PreviewLength);
}

QString CMessageListItem::abbreviation()
{
    const int width = m_card.textRect(this->width()).width();
    if (m_abbreviationWidth != width) {
        m_abbreviation = text::elided(preview(), m_card.bodyFont(), width, 2);
        m_abbreviationWidth = width;
    }
    return m_abbreviation;
}

void CMessageListItem::enterEvent(QEvent *)
{
    buildParts();
}

void CMessageListItem::focusInEvent(QFocusEvent *event)
{
    QWidget::focusInEvent(event);
    buildParts();
    if (event->reason() != Qt::TabFocusReason && event->reason() != Qt::BacktabFocusReason)
        return;
    select();
    if (MessageList *list = MessageList::of(this))
        list->scrollTo(this); // the focus may come from outside of the list
}

void CMessageListItem::mousePressEvent(QMouseEvent *event)
{
    if (event->button() != Qt::LeftButton)
        return;
    // A touch screen presses before the pointer has entered the card and created the arrow's widget.
    m_isArrowPressed = m_card.arrowRect(width()).contains(event->pos());
    buildParts();
    select();
}

void CMessageListItem::mouseReleaseEvent(QMouseEvent *event)
{
    const bool wasPressed = std::exchange(m_isArrowPressed, false);
    if (event->button() == Qt::LeftButton && wasPressed && m_card.arrowRect(width()).contains(event->pos()))
        OnArrowBtnClicked();
}

void CMessageListItem::mouseDoubleClickEvent(QMouseEvent *event)
{
    if (event->button() != Qt::LeftButton)
        return;
    select(); // another window may have received the first press
    OnArrowBtnClicked();
}

void CMessageListItem::keyPressEvent(QKeyEvent *event)
{
    switch (event->key()) {
    case Qt::Key_Return:
    case Qt::Key_Enter:
        if (!event->isAutoRepeat())
            OnArrowBtnClicked();
        break;
    case Qt::Key_Space:
        select();
        break;
    case Qt::Key_Delete:
        if (!event->isAutoRepeat()) // a key that is held would delete the following messages too
            OnDeleteMessage();
        break;
    default:
        QWidget::keyPressEvent(event);
    }
}

void CMessageListItem::buildParts()
{
    if (m_arrow)
        return;
    if (MessageList *list = MessageList::of(this))
        emit list->itemNeeded(this);
    m_arrow = makeButton("arrowButton");
    connect(m_arrow, &QToolButton::clicked, this, &CMessageListItem::OnArrowBtnClicked);
    m_delete = makeButton("deleteButton");
    m_delete->setIcon(m_card.icon(look::icon::Delete));
    m_delete->setToolTip(QStringLiteral("删除"));
    m_delete->setAccessibleName(QStringLiteral("删除"));
    connect(m_delete, &QToolButton::clicked, this, &CMessageListItem::OnDeleteMessage);
    setTabOrder(this, m_arrow);
    setTabOrder(m_arrow, m_delete);
    placeParts(width());
    applyState();
    m_arrow->show();
}

QToolButton *CMessageListItem::makeButton(const char *name)
{
    auto *button = look::named(new CardButton(this), name);
    button->setAccessibleDescription(text::brief(m_message->MsgTitle)); // which message it is of
    button->setAutoRaise(true);
    button->setFocusPolicy(Qt::TabFocus);
    button->setIconSize(m_card.iconSize());
    button->setCursor(Qt::PointingHandCursor);
    return button;
}

void CMessageListItem::placeParts(int width)
{
    if (!m_arrow)
        return;
    m_arrow->setGeometry(m_card.arrowRect(width));
    m_delete->setGeometry(m_card.deleteRect(width));
}

void CMessageListItem::applyState()
{
    if (m_arrow) {
        const QString action = m_isExpanded ? QStringLiteral("收起") : QStringLiteral("展开");
        m_arrow->setIcon(m_card.arrow(m_isExpanded));
        m_arrow->setToolTip(action);
        m_arrow->setAccessibleName(action);
        m_arrow->setFocusPolicy(m_isSelected ? Qt::TabFocus : Qt::NoFocus); // one card's buttons are stops of Tab
        m_delete->setVisible(m_isSelected);
    }
    if (m_body && !m_isExpanded)
        m_body->hide();
    update();
}

void CMessageListItem::buildBody(int width)
{
    if (m_body)
        return;
    buildParts();
    m_body = new CardBody(this, m_card, m_card.textRect(width).width());
    QWidgetList stops = m_body->tabStops();
    stops.prepend(m_arrow);
    stops.append(m_delete);
    for (int i = 1; i < stops.size(); ++i)
        setTabOrder(stops.at(i - 1), stops.at(i));
}
