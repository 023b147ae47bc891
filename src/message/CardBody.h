#pragma once

#include <QSharedPointer>
#include <QWidget>

class MessageCard;
class CardTextView;
class QLabel;
struct sMsgData;

namespace tarn::visualized {
class LinkLabel;
}

/// The open part of a message's card: its whole text, its picture and its link, one below the other. GUI thread; created
/// when the card is first opened.
class CardBody final : public QWidget
{
    Q_OBJECT
public:
    CardBody(const sMsgData &message, QSharedPointer<const MessageCard> card, int width, QWidget *parent);

    /// Takes the width and arranges the parts. @return the height that they need then, in pixels
    int fitToWidth(int width);
    /// The widgets that Tab reaches, in their order.
    QWidgetList tabStops() const;

signals:
    void linkActivated(QString link);
    void pressed();      ///< a mouse button went down in the text
    void pictureShown(); ///< the body needs more height than before

private:
    void buildText(const sMsgData &message, int width);
    void showPicture(const QImage &image);
    void grow();
    void buildLink(const sMsgData &message);
    void readPicture(const sMsgData &message, int width);
    QSize pictureSize(int width) const;

    QSharedPointer<const MessageCard> m_card;
    CardTextView *m_view = nullptr;
    QLabel *m_picture = nullptr;                   // null until the picture is there
    tarn::visualized::LinkLabel *m_link = nullptr; // null without a link
    QString m_linkText;
    QString m_linkAddress;
    int m_fittedWidth = -1; // -1: to be arranged
};
