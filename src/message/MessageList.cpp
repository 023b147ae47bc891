#include "message/MessageList.h"

#include "message/MessageAccessible.h"
#include "message/MessageCard.h"
#include "message/MessageListItem.h"
#include "widgets/Look.h"
#include "widgets/TextMenu.h"

#include <QApplication>
#include <QKeyEvent>
#include <QPainter>
#include <QScrollBar>
#include <algorithm>

using namespace tarn::visualized;

namespace {
// Look
QString barSheet(const QWidget *w)
{
    return look::thinScrollBars(QString(), 8, QStringLiteral("white"), look::BorderGrey, w);
}
} // namespace

/// Stacks its items and remembers its height.
class MessageChunk final : public QWidget
{
public:
    explicit MessageChunk(QWidget *parent)
        : QWidget(parent)
    {
    }

    void append(CMessageListItem *item) { m_items.push_back(item); }

    int fitToWidth(int width, int gap)
    {
        if (width == m_fittedWidth)
            return m_height;
        m_height = 0;
        for (CMessageListItem *item : m_items) {
            if (item->isDeleted())
                continue;
            const int height = item->fitToWidth(width);
            item->setGeometry(0, m_height, width, height);
            m_height += height + gap;
        }
        m_fittedWidth = width;
        return m_height;
    }

protected:
    bool event(QEvent *event) override
    {
        // An item changed its height: the items below it move.
        if (event->type() == QEvent::LayoutRequest) {
            m_fittedWidth = -1;
            QApplication::postEvent(parentWidget(), new QEvent(QEvent::LayoutRequest));
        }
        return QWidget::event(event);
    }

private:
    std::vector<CMessageListItem *> m_items;
    int m_fittedWidth = -1; // -1: to be arranged
    int m_height = 0;
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
    verticalScrollBar()->setSingleStep((m_card->collapsedHeight() + m_card->gap()) / 3);
    // Opaque and static, so that scrolling and growing keep the painted part.
    m_content->setAttribute(Qt::WA_OpaquePaintEvent);
    m_content->setAttribute(Qt::WA_StaticContents);
    m_content->installEventFilter(this);
    setWidget(m_content);
    QPalette ground = viewport()->palette(); // below the last item
    ground.setColor(QPalette::Window, Qt::white);
    viewport()->setPalette(ground);
}

MessageList::~MessageList() = default;

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
    if (found == m_items.end())
        return nullptr;
    const int count = int(m_items.size());
    for (int i = int(found - m_items.begin()) + step; i >= 0 && i < count; i += step) {
        if (!m_items[size_t(i)]->isDeleted())
            return m_items[size_t(i)];
    }
    return nullptr;
}

void MessageList::setExpected(int count)
{
    m_expected = count;
    arrange();
}

QWidget *MessageList::newChunk()
{
    m_chunks.push_back(new MessageChunk(m_content));
    return m_chunks.back();
}

void MessageList::append(CMessageListItem *item)
{
    m_chunks.back()->append(item);
    m_items.push_back(item);
    m_expected = qMax(0, m_expected - 1);
    if (!m_tabStop)
        setTabStop(item);
}

void MessageList::finishChunk()
{
    arrange();
    m_chunks.back()->show();
}

void MessageList::prepare(CMessageListItem *item)
{
    emit itemNeeded(item);
}

void MessageList::scrollTo(CMessageListItem *item)
{
    arrange();
    ensureWidgetVisible(item, 0, m_card->gap());
}

void MessageList::goTo(CMessageListItem *item)
{
    if (!item)
        return;
    setTabStop(item);
    item->setFocus(Qt::OtherFocusReason);
    item->select();
    scrollTo(item);
}

void MessageList::setTabStop(CMessageListItem *item)
{
    if (m_tabStop)
        m_tabStop->setFocusPolicy(Qt::ClickFocus);
    m_tabStop = item;
    if (m_tabStop)
        m_tabStop->setFocusPolicy(Qt::StrongFocus);
}

bool MessageList::handleKey(int key)
{
    CMessageListItem *item = focused();
    const auto step = [&](int by) { return item ? neighbour(item, by) : m_tabStop; };
    switch (key) {
    case Qt::Key_Up:
        goTo(step(-1));
        return true;
    case Qt::Key_Down:
        goTo(step(1));
        return true;
    case Qt::Key_PageUp:
        goTo(item ? pageFrom(item, -1) : m_tabStop);
        return true;
    case Qt::Key_PageDown:
        goTo(item ? pageFrom(item, 1) : m_tabStop);
        return true;
    case Qt::Key_Home:
    case Qt::Key_End: {
        if (m_items.empty())
            return true;
        item = key == Qt::Key_Home ? m_items.front() : m_items.back();
        goTo(item->isDeleted() ? neighbour(item, key == Qt::Key_Home ? 1 : -1) : item);
        return true;
    }
    default:
        return false;
    }
}

bool MessageList::eventFilter(QObject *watched, QEvent *event)
{
    if (watched == m_content && event->type() == QEvent::LayoutRequest)
        arrange();
    if (watched == m_content && event->type() == QEvent::Paint)
        paintGround();
    return QScrollArea::eventFilter(watched, event);
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

void MessageList::arrange()
{
    const int margin = look::scaled(16, this);
    const int end = look::scaled(4, this);
    const int width = qMax(1, viewport()->width() - 2 * margin);
    int top = end;
    for (MessageChunk *chunk : m_chunks) {
        const int height = chunk->fitToWidth(width, m_card->gap());
        chunk->setGeometry(margin, top, width, height);
        top += height;
    }
    top += m_expected * (m_card->collapsedHeight() + m_card->gap());
    m_content->resize(viewport()->width(), qMin(top + end, QWIDGETSIZE_MAX));
}

void MessageList::paintGround()
{
    QPainter(m_content).fillRect(m_content->visibleRegion().boundingRect(), Qt::white);
    if (!m_wasPainted) {
        m_wasPainted = true;
        emit firstPainted();
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
        left -= next->height() + m_card->gap();
        if (left < 0 && last != item)
            break;
        last = next;
    }
    return last;
}
