#include "message/MessageList.h"

#include "message/MessageAccessible.h"
#include "message/MessageCard.h"
#include "message/MessageListItem.h"
#include "message/MsgCenterDataMgr.h"
#include "widgets/Look.h"
#include "widgets/TextMenu.h"

#include <QApplication>
#include <QKeyEvent>
#include <QScrollBar>
#include <algorithm>

using namespace tarn::visualized;

namespace {
// Look
QString barSheet(const QWidget *w)
{
    return look::thinScrollBars(QString(), 8, QStringLiteral("white"), look::BorderGrey, w);
}

template <class Widget>
using Places = std::vector<std::pair<Widget *, QRect>>;

// Qt moves a widget's picture, instead of painting the widget again, where no later one lies over its way: the last one
// is moved first when they move down.
template <class Widget>
void place(const Places<Widget> &places)
{
    const bool isDown = !places.empty() && places.back().second.top() > places.back().first->y();
    for (size_t i = 0; i < places.size(); ++i) {
        const auto &[widget, rect] = places[isDown ? places.size() - 1 - i : i];
        widget->setGeometry(rect);
    }
}
} // namespace

/// Stacks its children, which are items, and keeps their common height.
class MessageChunk final : public QWidget
{
public:
    explicit MessageChunk(QWidget *parent)
        : QWidget(parent)
    {
        setAttribute(Qt::WA_StaticContents); // an item that grows repaints nothing above it
        setAutoFillBackground(true);         // opaque, which lets its picture be moved
        setPalette(parent->palette());       // not inherited where the host has a style sheet
    }

    void invalidate() { m_fittedWidth = -1; }

    /// Takes the width. @return the height that it needs then; placeItems() follows when it has that size
    int fitToWidth(int width, int gap)
    {
        if (width == m_fittedWidth)
            return height();
        m_places.clear();
        int top = 0;
        for (QObject *child : children()) {
            auto *item = static_cast<CMessageListItem *>(child);
            if (item->isDeleted()) {
                item->hide();
                continue;
            }
            const int height = item->fitToWidth(width);
            m_places.emplace_back(item, QRect(0, top, width, height));
            top += height + gap;
        }
        m_fittedWidth = width;
        return top;
    }

    void placeItems()
    {
        place(m_places);
        m_places.clear();
    }

private:
    Places<CMessageListItem> m_places; // to be taken
    int m_fittedWidth = -1;            // -1: to be arranged
};

MessageList::MessageList(QWidget *parent)
    : QScrollArea(parent)
    , m_card(MessageCard::of(parent))
    , m_content(new QWidget(this))
{
    messageaccessible::install();
    setObjectName(QStringLiteral("messageList"));
    setAccessibleName(QStringLiteral("消息列表"));
    setFrameShape(QFrame::NoFrame);
    setFocusPolicy(Qt::NoFocus); // its items take the focus
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    removeScrollBarMenus(this);
    verticalScrollBar()->setStyleSheet(barSheet(this));
    verticalScrollBar()->setSingleStep((m_card.collapsedHeight() + m_card.gap()) / 3);
    setWidget(m_content); // opaque, which keeps the painted part when it scrolls
    QPalette ground = look::palette();
    ground.setColor(QPalette::Window, Qt::white);
    viewport()->setPalette(ground);
    m_content->setPalette(ground);
    m_content->setAttribute(Qt::WA_StaticContents);
}

MessageList *MessageList::of(const CMessageListItem *item)
{
    QWidget *ancestor = item->parentWidget();
    while (ancestor && !qobject_cast<MessageList *>(ancestor))
        ancestor = ancestor->parentWidget();
    return static_cast<MessageList *>(ancestor);
}

CMessageListItem *MessageList::neighbour(const CMessageListItem *item, int step) const
{
    const auto found = std::find(m_items.begin(), m_items.end(), item);
    return found == m_items.end() ? nullptr : firstStaying(int(found - m_items.begin()) + step, step);
}

CMessageListItem *MessageList::firstStaying(int index, int step) const
{
    for (; index >= 0 && index < int(m_items.size()); index += step) {
        if (!m_items[size_t(index)]->isDeleted())
            return m_items[size_t(index)];
    }
    return nullptr;
}

void MessageList::setTotal(int count)
{
    m_total = count;
    arrange();
}

void MessageList::addChunk(sMsgData *first, int count)
{
    auto *chunk = new MessageChunk(m_content);
    for (int i = 0; i < count; ++i)
        m_items.push_back(new CMessageListItem(first + i, false, chunk));
    m_chunks.push_back(chunk);
    if (!m_tabStop)
        setTabStop(m_items.front());
    arrange();
}

void MessageList::rearrange(const CMessageListItem *item)
{
    static_cast<MessageChunk *>(item->parentWidget())->invalidate();
    arrange();
}

void MessageList::scrollTo(CMessageListItem *item)
{
    ensureWidgetVisible(item, 0, m_card.gap());
}

void MessageList::goTo(CMessageListItem *item)
{
    if (!item)
        return;
    scrollTo(item); // shows it, without which it cannot have the focus
    setTabStop(item);
    item->setFocus(Qt::OtherFocusReason);
    item->select();
}

void MessageList::setTabStop(CMessageListItem *item)
{
    if (m_tabStop)
        m_tabStop->setFocusPolicy(Qt::ClickFocus);
    m_tabStop = item;
    m_tabStop->setFocusPolicy(Qt::StrongFocus);
}

bool MessageList::handleKey(int key)
{
    CMessageListItem *item = focused();
    switch (key) {
    case Qt::Key_Up:
    case Qt::Key_Down:
        goTo(item ? neighbour(item, key == Qt::Key_Up ? -1 : 1) : m_tabStop);
        return true;
    case Qt::Key_PageUp:
    case Qt::Key_PageDown:
        goTo(item ? pageFrom(item, key == Qt::Key_PageUp ? -1 : 1) : m_tabStop);
        return true;
    case Qt::Key_Home:
        goTo(firstStaying(0, 1));
        return true;
    case Qt::Key_End:
        goTo(firstStaying(int(m_items.size()) - 1, -1));
        return true;
    default:
        return false;
    }
}

void MessageList::keyPressEvent(QKeyEvent *event)
{
    if (event->modifiers() & ~Qt::KeypadModifier || !handleKey(event->key()))
        event->ignore();
}

void MessageList::resizeEvent(QResizeEvent *event)
{
    QScrollArea::resizeEvent(event);
    arrange();
}

void MessageList::scrollContentsBy(int dx, int dy)
{
    QScrollArea::scrollContentsBy(dx, dy);
    showChunks();
}

void MessageList::arrange()
{
    const int margin = look::scaled(16, this);
    const int end = look::scaled(4, this);
    const int width = qMax(1, viewport()->width() - 2 * margin);
    int top = end;
    Places<MessageChunk> places;
    for (MessageChunk *chunk : m_chunks) {
        const int height = chunk->fitToWidth(width, m_card.gap());
        places.emplace_back(chunk, QRect(margin, top, width, height));
        top += height;
    }
    place(places);
    for (MessageChunk *chunk : m_chunks)
        chunk->placeItems();
    top += qMax(0, m_total - int(m_items.size())) * (m_card.collapsedHeight() + m_card.gap());
    m_content->resize(viewport()->width(), qMin(top + end, QWIDGETSIZE_MAX));
    showChunks();
}

// A chunk is shown when it first comes into view: that takes a widget more time and memory than to exist.
void MessageList::showChunks()
{
    const QRect view(-m_content->pos(), viewport()->size());
    for (MessageChunk *chunk : m_chunks) {
        if (chunk->isHidden() && chunk->geometry().intersects(view))
            chunk->show();
    }
}

CMessageListItem *MessageList::focused() const
{
    for (QWidget *widget = QApplication::focusWidget(); widget && widget != this; widget = widget->parentWidget()) {
        if (auto *item = qobject_cast<CMessageListItem *>(widget))
            return item;
    }
    return nullptr;
}

CMessageListItem *MessageList::pageFrom(CMessageListItem *item, int step) const
{
    CMessageListItem *last = item;
    int left = viewport()->height();
    while (CMessageListItem *next = neighbour(last, step)) {
        left -= next->height() + m_card.gap();
        if (left < 0 && last != item)
            break;
        last = next;
    }
    return last;
}
