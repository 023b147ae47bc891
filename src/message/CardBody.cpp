#include "message/CardBody.h"

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
    int bottom = 0;
    const auto place = [this, &bottom](QWidget *part, const QSize &size) {
        const int top = bottom > 0 ? bottom + m_card->gap() : 0;
        part->setGeometry(QRect(QPoint(0, top), size));
        bottom = top + size.height();
    };
    place(m_view, QSize(width, m_view->fitToWidth(width)));
    if (m_picture)
        place(m_picture, pictureSize(width));
    if (m_link) {
        m_link->setFixedWidth(width);
        m_link->showLink(CreateAbbreviationString(m_linkText, m_link->font(), m_link), m_linkAddress, linkLook());
        place(m_link, QSize(width, m_link->sizeHint().height()));
    }
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
    QSize box(width, m_card->maxPictureHeight());
    if (message.PhotoWidth > 0)
        box.setWidth(qMin(box.width(), message.PhotoWidth));
    if (message.PhotoHight > 0)
        box.setHeight(qMin(box.height(), message.PhotoHight));
    picture::readLater(this, message.PicFilePath, box, devicePixelRatioF(),
                       [this](const QImage &image) { showPicture(image); });
}

void CardBody::showPicture(const QImage &image)
{
    if (image.isNull())
        return;
    m_picture = new QLabel(this);
    m_picture->setObjectName(QStringLiteral("messagePicture"));
    m_picture->setAccessibleName(QStringLiteral("图片"));
    m_picture->setPixmap(QPixmap::fromImage(image));
    m_picture->setScaledContents(true);
    m_picture->show();
    grow();
}

void CardBody::grow()
{
    m_fittedWidth = -1;
    emit pictureShown();
}

QSize CardBody::pictureSize(int width) const
{
    const QPixmap pixmap = m_picture->pixmap(Qt::ReturnByValue);
    const QSize size = pixmap.size() / pixmap.devicePixelRatio();
    return size.width() > width ? size.scaled(width, size.height(), Qt::KeepAspectRatio) : size;
}
