#pragma once

#include <QFutureWatcher>
#include <QImage>
#include <QSharedPointer>
#include <QWidget>

class MessageCard;
class CardTextView;
class QLabel;
struct sMsgData;

/// The open part of a message's card: its whole text, its picture and its link, one below the other. GUI thread; made
/// when first opened.
class CardBody final : public QWidget
{
    Q_OBJECT
public:
    CardBody(const sMsgData &message, QSharedPointer<const MessageCard> card, int width, QWidget *parent);

    /// Takes the width and arranges the parts. @return the height that they need then, in pixels
    int fitToWidth(int width);

signals:
    void linkActivated(QString link);
    void pressed();      ///< a mouse button went down in the text
    void pictureShown(); ///< the body needs more height than before

private slots:
    void onPictureRead();

private:
    void buildText(const QString &content);
    void buildLink(const sMsgData &message);
    void readPicture(const sMsgData &message, int width);
    int placePicture(int top, int width);
    int placeLink(int top, int width);

    QSharedPointer<const MessageCard> m_card;
    CardTextView *m_view = nullptr;
    QLabel *m_picture = nullptr; // null until the picture is there
    QLabel *m_link = nullptr;    // null without a link
    QString m_linkText;
    QString m_linkAddress;
    QFutureWatcher<QImage> m_pictureReader;
    int m_fittedWidth = -1; // -1: to be arranged
};
