#pragma once

#include <QScrollArea>
#include <QSharedPointer>
#include <vector>

class CMessageListItem;
class MessageCard;
class MessageChunk;

/// The scrolling list of the message center. Each chunk of items has its own container: a widget with thousands of
/// children paints and finds its children slowly. The space of items to come is reserved from the start, so that
/// nothing that is on the screen moves or repaints meanwhile. GUI thread.
class MessageList final : public QScrollArea
{
    Q_OBJECT
public:
    static constexpr int ChunkSize = 50;

    explicit MessageList(QWidget *parent);
    ~MessageList() override;

    /// The list that holds an item; null when there is none.
    static MessageList *of(const CMessageListItem *item);

    /// In the order of the list; deleted ones included.
    const std::vector<CMessageListItem *> &items() const { return m_items; }
    /// The next item that is not deleted, in either direction from this one; null at the end.
    CMessageListItem *neighbour(const CMessageListItem *item, int step) const;

    /// Holds the space of so many collapsed items that are not there yet.
    void setExpected(int count);
    /// A new container at the end, to be the parent of up to ChunkSize items; they count once append() is called.
    QWidget *newChunk();
    void append(CMessageListItem *item);
    /// Shows the last chunk, in the place that was reserved for its items.
    void finishChunk();
    /// Connects the item, once, before it reports anything: connections of thousands of items that the user never touches
    /// would take more memory than the items.
    void prepare(CMessageListItem *item);
    void scrollTo(CMessageListItem *item);
    /// Selects the item, gives it the focus and scrolls to it; null does nothing.
    void goTo(CMessageListItem *item);
    /// The one item that the Tab key reaches.
    void setTabStop(CMessageListItem *item);
    /// Moves the selection for the arrow and page keys. @return whether the key was one of them
    bool handleKey(int key);

signals:
    void itemNeeded(CMessageListItem *item);
    void firstPainted(); ///< once, when the user can see the first screen

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;
    void keyPressEvent(QKeyEvent *event) override;
    void resizeEvent(QResizeEvent *event) override;

private:
    void arrange();
    void paintGround();
    CMessageListItem *focused() const;
    CMessageListItem *pageFrom(CMessageListItem *item, int step) const;

    QSharedPointer<const MessageCard> m_card;
    QWidget *m_content;
    std::vector<MessageChunk *> m_chunks;
    std::vector<CMessageListItem *> m_items;
    CMessageListItem *m_tabStop = nullptr; // items live as long as the list
    int m_expected = 0;
    bool m_wasPainted = false;
};
