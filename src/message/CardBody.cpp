#include "message/CardBody.h"

#include "base/WorkPool.h"
#include "message/CardTextView.h"
#include "message/LinkLabel.h"
#include "message/MessageCard.h"
#include "message/MsgCenterDataMgr.h"
#include "widgets/Look.h"
#include "widgets/Picture.h"
#include "widgets/ShownText.h"

#include <QLabel>

using namespace tarn::visualized;

namespace {
// Look
QString linkLook()
{
    return QStringLiteral("color:%1;text-decoration:underline;").arg(look::TextBlue);
}
} // namespace

CardBody::CardBody(const sMsgData &message, QSharedPointer<const MessageCard> card, int width, QWidget *parent)
    : QWidget(parent)
    , m_card(std::move(card))
{
    setObjectName(QStringLiteral("messageBody"));
    buildText(message, width);
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

QWidgetList CardBody::tabStops() const
{
    QWidgetList stops{m_view};
    if (m_link)
        stops.append(m_link);
    return stops;
}

void CardBody::buildText(const sMsgData &message, int width)
{
    m_view = new CardTextView(*m_card, this);
    m_view->setAccessibleName(text::brief(message.MsgTitle));
    m_view->setContent(message.MsgContent, QSize(width, m_card->maxPictureHeight()));
    connect(m_view, &CardTextView::pressed, this, &CardBody::pressed);
    connect(m_view, &CardTextView::grown, this, &CardBody::grow);
}

void CardBody::buildLink(const sMsgData &message)
{
    if (message.LinkAdress.isEmpty())
        return;
    m_linkAddress = message.LinkAdress;
    m_linkText = text::brief(message.LinkText.isEmpty() ? message.LinkAdress : message.LinkText);
    m_link = new LinkLabel(this);
    m_link->setObjectName(QStringLiteral("messageLink"));
    m_link->setFont(m_card->bodyFont());
    m_link->setAccessibleName(m_linkText);
    m_link->setAccessibleDescription(text::brief(message.LinkAdress));
    m_link->setToolTip(text::toolTip(message.LinkAdress));
    connect(m_link, &QLabel::linkActivated, this, &CardBody::linkActivated);
}

void CardBody::readPicture(const sMsgData &message, int width)
{
    if (message.PicFilePath.isEmpty())
        return;
    const qreal ratio = devicePixelRatioF();
    QSize box(width, m_card->maxPictureHeight());
    if (message.PhotoWidth > 0)
        box.setWidth(qMin(box.width(), message.PhotoWidth));
    if (message.PhotoHight > 0)
        box.setHeight(qMin(box.height(), message.PhotoHight));
    outsideWork().run(
        this,
        [path = message.PicFilePath, pixels = box * ratio](const WorkCancel &) { return picture::read(path, pixels); },
        [this](const QImage &image) { showPicture(image); });
}

void CardBody::showPicture(const QImage &image)
{
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
    grow();
}

void CardBody::grow()
{
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
    m_link->showLink(CreateAbbreviationString(m_linkText, m_link->font(), m_link), m_linkAddress, linkLook());
    const int height = m_link->sizeHint().height();
    m_link->setGeometry(0, top, width, height);
    return top + height;
}
