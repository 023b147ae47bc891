#include "message/CardBody.h"

#include "message/CardText.h"
#include "message/CardTextView.h"
#include "message/MessageCard.h"
#include "message/MsgCenterDataMgr.h"
#include "widgets/Picture.h"

#include <QLabel>
#include <QThreadPool>
#include <QtConcurrent>

namespace {
constexpr int MaxLinkText = 1024; // characters

// Not the global pool: reports to a service that hangs may have taken all of its threads.
QThreadPool *picturePool()
{
    static QThreadPool pool;
    return &pool;
}

// Look
QString anchor(const QString &address, const QString &text)
{
    return QStringLiteral("<a href=\"%1\" style=\"color:#1E7FD8;text-decoration:underline;\">%2</a>")
        .arg(address.toHtmlEscaped(), text.toHtmlEscaped().replace(QLatin1Char('\n'), QStringLiteral("<br>")));
}
} // namespace

CardBody::CardBody(const sMsgData &message, QSharedPointer<const MessageCard> card, int width, QWidget *parent)
    : QWidget(parent)
    , m_card(std::move(card))
{
    setObjectName(QStringLiteral("messageBody"));
    buildText(message.MsgContent);
    buildLink(message);
    readPicture(message, width);
}

int CardBody::fitToWidth(int width)
{
    if (width == m_fittedWidth)
        return height();
    int bottom = m_view->fitToWidth(width);
    m_view->setGeometry(0, 0, width, bottom);
    if (m_picture)
        bottom = placePicture(bottom + m_card->gap(), width);
    if (m_link)
        bottom = placeLink(bottom + m_card->gap(), width);
    resize(width, bottom);
    m_fittedWidth = width;
    return bottom;
}

void CardBody::buildText(const QString &content)
{
    m_view = new CardTextView(*m_card, this);
    m_view->setContent(content);
    connect(m_view, &CardTextView::pressed, this, &CardBody::pressed);
}

void CardBody::buildLink(const sMsgData &message)
{
    if (message.LinkAdress.isEmpty())
        return;
    m_linkAddress = message.LinkAdress;
    m_linkText = (message.LinkText.isEmpty() ? message.LinkAdress : message.LinkText).left(MaxLinkText);
    m_link = new QLabel(this);
    m_link->setObjectName(QStringLiteral("messageLink"));
    m_link->setFont(m_card->bodyFont());
    m_link->setTextFormat(Qt::RichText);
    m_link->setTextInteractionFlags(Qt::LinksAccessibleByMouse | Qt::LinksAccessibleByKeyboard);
    m_link->setAccessibleName(m_linkText);
    m_link->setToolTip(message.LinkAdress.left(MaxLinkText).toHtmlEscaped());
    connect(m_link, &QLabel::linkActivated, this, &CardBody::linkActivated);
}

void CardBody::readPicture(const sMsgData &message, int width)
{
    if (message.PicFilePath.isEmpty())
        return;
    connect(&m_pictureReader, &QFutureWatcher<QImage>::finished, this, &CardBody::onPictureRead);
    const qreal ratio = devicePixelRatioF();
    QSize box(width, m_card->maxPictureHeight());
    if (message.PhotoWidth > 0)
        box.setWidth(qMin(box.width(), message.PhotoWidth));
    if (message.PhotoHight > 0)
        box.setHeight(qMin(box.height(), message.PhotoHight));
    m_pictureReader.setFuture(QtConcurrent::run(picturePool(), picture::read, message.PicFilePath, box * ratio));
}

void CardBody::onPictureRead()
{
    const QImage image = m_pictureReader.result();
    if (image.isNull())
        return;
    QPixmap pixmap = QPixmap::fromImage(image);
    pixmap.setDevicePixelRatio(devicePixelRatioF());
    m_picture = new QLabel(this);
    m_picture->setObjectName(QStringLiteral("messagePicture"));
    m_picture->setAccessibleName(QStringLiteral("图片"));
    m_picture->setPixmap(pixmap);
    m_picture->setScaledContents(true);
    m_picture->show();
    m_fittedWidth = -1;
    emit pictureShown();
}

int CardBody::placePicture(int top, int width)
{
    const QPixmap pixmap = m_picture->pixmap(Qt::ReturnByValue);
    QSize size = pixmap.size() / pixmap.devicePixelRatio();
    if (size.width() > width)
        size.scale(width, size.height(), Qt::KeepAspectRatio);
    m_picture->setGeometry(QRect(QPoint(0, top), size));
    return top + size.height();
}

int CardBody::placeLink(int top, int width)
{
    m_link->setFixedWidth(width);
    m_link->setText(anchor(m_linkAddress, CreateAbbreviationString(m_linkText, m_link->font(), m_link)));
    const int height = m_link->heightForWidth(width);
    m_link->setGeometry(0, top, width, height);
    return top + height;
}
