#pragma once

#include <QWidget>

class CardTextView;
class CMessageListItem;
class MessageCard;
class QLabel;
class QTextEdit;

namespace tarn::visualized {
class LinkLabel;
}

/// The open part of a message's card: its whole text, its picture and its link, one below the other. Reports to the item
/// that it belongs to. GUI thread; created when the card is first opened.
class CardBody final : public QWidget
{
public:
    /// @param width of the body in pixels
    CardBody(CMessageListItem *item, const MessageCard &card, int width);

    /// Takes the width and arranges the parts. @return the height that they need then, in pixels
    int fitToWidth(int width);
    /// The widgets that Tab reaches, in their order.
    QWidgetList tabStops() const;

private:
    void buildLink();
    void readPicture(int width);
    void showPicture(const QImage &image);
    void grow();

    CMessageListItem *m_item;
    const MessageCard &m_card;
    CardTextView *m_view;
    QLabel *m_picture = nullptr;                   // null until the picture is there
    tarn::visualized::LinkLabel *m_link = nullptr; // null without a link
    int m_fittedWidth = -1;                        // -1: to be arranged
};

/// Lines that the text takes in the edit at its present width and with its font, the edit keeping its own text; an
/// empty text means the edit's own. 0 without text or edit.
int GetLineCount(const QString &text, QTextEdit *edit);
/// The text cut to two lines of the label's width, with an ellipsis when something is left out.
QString CreateAbbreviationString(const QString &text, const QFont &font, QLabel *label);
