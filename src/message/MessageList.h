#pragma once

#include <QScrollArea>
#include <vector>

class CMessageListItem;
class MessageCard;
class MessageChunk;
struct sMsgData;

/// The scrolling list of the message center. Each chunk of items has its own container: a widget with thousands of
/// children paints and finds its children slowly. The space of items to come is reserved from the start, so that
/// nothing that is on the screen moves or repaints meanwhile. GUI thread.
class MessageList final : public QScrollArea
{
    Q_OBJECT
public:
    explicit MessageList(QWidget *parent);

    /// The base class would open the default font's file, which nothing else in the window needs.
    QSize sizeHint() const override { return minimumSizeHint(); }

    /// The list that holds an item; null when there is none.
    static MessageList *of(const CMessageListItem *item);

    /// In the order of the list; deleted ones included.
    const std::vector<CMessageListItem *> &items() const { return m_items; }
    /// The next item that is not deleted, in either direction from this one; null at the end.
    CMessageListItem *neighbour(const CMessageListItem *item, int step) const;

    /// Reserves the space of so many items in all.
    void setTotal(int count);
    /// Adds items at the end for the first messages of an array that the caller keeps.
    void addChunk(sMsgData *first, int count);
    /// Moves the items below one whose height has changed or that was deleted.
    void rearrange(const CMessageListItem *item);
    void scrollTo(CMessageListItem *item);
    /// Selects the item, gives it the focus and scrolls to it; null does nothing.
    void goTo(CMessageListItem *item);
    /// Moves the selection for the arrow and page keys. @return whether the key was one of them
    bool handleKey(int key);

signals:
    /// An item asks to be connected, once, before it reports anything: connections of thousands of items that the user
    /// never touches would take more memory than the items.
    void itemNeeded(CMessageListItem *item);

protected:
    void keyPressEvent(QKeyEvent *event) override;
    void resizeEvent(QResizeEvent *event) override;
    void scrollContentsBy(int dx, int dy) override;

private:
    void arrange();
    void showChunks();
    void setTabStop(CMessageListItem *item);
    CMessageListItem *focused() const;
    CMessageListItem *pageFrom(CMessageListItem *item, int step) const;
    CMessageListItem *firstStaying(int index, int step) const;

    const MessageCard &m_card;
    QWidget *m_content;
    std::vector<MessageChunk *> m_chunks;
    std::vector<CMessageListItem *> m_items;
    CMessageListItem *m_tabStop = nullptr; // the one item that Tab reaches; items live as long as the list
    int m_total = 0;
};
