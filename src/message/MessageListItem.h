#pragma once

#include <QWidget>

class CardBody;
class MessageCard;
class QToolButton;
struct sMsgData;

/// One message of the message center: a card with title, time, two lines of the body, and on demand the rest. There may
/// be thousands, so it paints itself; its buttons are created when it is pointed at, focused, selected or requested by an
/// assistive tool, its body when it is first opened. GUI thread.
class CMessageListItem final : public QWidget
{
    Q_OBJECT
public:
    /// @param message stays with the caller and must outlive the item; the item clears its unread mark
    /// @param expanded whether it starts open, which does not count as reading
    CMessageListItem(sMsgData *message, bool expanded, QWidget *parent);

    const sMsgData &message() const { return *m_message; }
    bool isSelected() const { return m_isSelected; }
    bool isExpanded() const { return m_isExpanded; }
    bool isDeleted() const { return m_isDeleted; }
    QString preview() const; ///< the beginning of the body, words alone
    /// Takes the width. @return the height that it needs then, in pixels
    int fitToWidth(int width);

    void SetMessageSelected() { setSelected(true); }
    void ClearMessageSelected() { setSelected(false); }
    /// Takes the unread mark away, on the screen and from the record; reports nothing.
    /// @param all whether that happens to all messages at once; it is then up to the caller to repaint
    void ReadMessage(bool all);
    /// Selects it as a click does.
    void select();
    /// The list passes over it and hides it when it is arranged next; it stays alive.
    void markDeleted() { m_isDeleted = true; }
    /// Makes the buttons real widgets.
    void buildParts();
    /// Takes the height that it needs now, and moves the items below.
    void rearrange();

public slots:
    void OnArrowBtnClicked();
    void OnlinkActivated(QString strLink);
    void OnDeleteMessage();

signals:
    void MessageRead(QString strMessageId);
    void MessageClicked(QString strMessageId);
    void MessageSelected(QString strMessageId);
    void MessageDeleted(QString strMessageId);

protected:
    bool event(QEvent *event) override;
    void paintEvent(QPaintEvent *event) override;
    void enterEvent(QEvent *event) override;
    void focusInEvent(QFocusEvent *event) override;
    void mousePressEvent(QMouseEvent *event) override;
    void mouseReleaseEvent(QMouseEvent *event) override;
    void mouseDoubleClickEvent(QMouseEvent *event) override;
    void keyPressEvent(QKeyEvent *event) override;

private:
    void setSelected(bool selected);
    QToolButton *makeButton(const char *name);
    void placeParts(int width);
    void applyState();
    void buildBody(int width);
    void reportReading();
    QString abbreviation();

    sMsgData *m_message;
    const MessageCard &m_card;
    QString m_abbreviation; // created when first painted
    int m_abbreviationWidth = -1;
    QToolButton *m_arrow = nullptr; // the buttons exist together or not at all
    QToolButton *m_delete = nullptr;
    CardBody *m_body = nullptr; // null until first opened
    bool m_isSelected = false;
    bool m_isExpanded = false;
    bool m_isDeleted = false;
    bool m_isArrowPressed = false; // before the arrow was a widget
};
