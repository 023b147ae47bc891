#include "message/MessageCard.h"

#include "widgets/Look.h"
#include "widgets/Placement.h"
#include "widgets/ShownText.h"
#include "widgets/dpitoolkit.h"

#include <QCoreApplication>
#include <QPainter>
#include <QtMath>
#include <map>
#include <memory>

using namespace tarn::visualized;

namespace {
constexpr int FrameRadius = 8;
std::map<int, std::unique_ptr<const MessageCard>> cards; // by DPI

// Icons must not outlive the application.
void dropCards()
{
    cards.clear();
}

// A frame that is nothing but its four corners.
QPixmap cornersOf(const QColor &border, const QColor &ground, int thick, qreal ratio)
{
    const QSize size(2 * FrameRadius, 2 * FrameRadius);
    QPixmap corners(size * ratio);
    corners.setDevicePixelRatio(ratio);
    corners.fill(Qt::white); // the list's ground
    QPainter painter(&corners);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(QPen(border, thick));
    painter.setBrush(ground);
    const qreal half = thick / 2.0;
    painter.drawRoundedRect(QRectF(QPointF(), size).adjusted(half, half, -half, -half), FrameRadius - half,
                            FrameRadius - half);
    return corners;
}
} // namespace

const MessageCard &MessageCard::of(const QWidget *w)
{
    std::unique_ptr<const MessageCard> &card = cards[Utils::DpiToolkit::getDPI(w)];
    if (!card) {
        qAddPostRoutine(dropCards);
        card.reset(new MessageCard(w));
    }
    return *card;
}

MessageCard::MessageCard(const QWidget *w)
    : m_dpi(Utils::DpiToolkit::getDPI(w))
    , m_titleFont(look::yaHei(14, QFont::DemiBold, w))
    , m_timeFont(look::yaHei(12, QFont::Normal, w))
    , m_bodyFont(look::yaHei(13, QFont::Normal, w))
{
}

int MessageCard::px(int design) const
{
    return placement::scaled(design, m_dpi);
}

QIcon MessageCard::icon(QLatin1String path) const
{
    QIcon &icon = m_icons[path];
    if (icon.isNull())
        icon = QIcon(path);
    return icon;
}

QIcon MessageCard::arrow(bool isExpanded) const
{
    return icon(isExpanded ? look::icon::Expand : look::icon::Collapse);
}

QRect MessageCard::dotRect() const
{
    const int size = px(8);
    return {padding(), padding() + (titleHeight() - size) / 2, size, size};
}

QRect MessageCard::arrowRect(int width) const
{
    const int size = px(26);
    return {width - padding() - size, padding() + (titleHeight() - size) / 2, size, size};
}

QRect MessageCard::deleteRect(int width) const
{
    QRect button = arrowRect(width);
    button.moveBottom(collapsedHeight() - padding() - 1);
    return button;
}

QRect MessageCard::textRect(int width) const
{
    const int left = dotRect().right() + 1 + gap();
    const int right = arrowRect(width).left() - padding();
    return {left, padding(), qMax(1, right - left), collapsedHeight() - 2 * padding()};
}

void MessageCard::drawFrame(QPainter *painter, const QSize &size, bool isSelected, bool hasFocus) const
{
    const QColor border = hasFocus ? QColor(look::FrameBlue) : QColor(0xDFE1E3);
    const QColor ground = isSelected ? QColor(look::PaleBlue) : QColor(0xFDFCFC);
    const int thick = hasFocus ? 2 : 1;
    const qreal ratio = painter->device()->devicePixelRatioF();
    QPixmap &corners = m_corners[int(isSelected) + 2 * int(hasFocus)]; // drawing them takes longer than the text
    if (corners.isNull() || corners.devicePixelRatio() != ratio)
        corners = cornersOf(border, ground, thick, ratio);
    const QRect rect(QPoint(), size);
    const QRect across = rect.adjusted(0, FrameRadius, 0, -FrameRadius);
    const QRect down = rect.adjusted(FrameRadius, 0, -FrameRadius, 0);
    painter->fillRect(across, border);
    painter->fillRect(down, border);
    painter->fillRect(across.adjusted(thick, 0, -thick, 0), ground);
    painter->fillRect(down.adjusted(0, thick, 0, -thick), ground);
    const int side = qCeil(FrameRadius * ratio); // no pixel is left out at 1.1
    for (const int x : {0, 1}) {
        for (const int y : {0, 1})
            painter->drawPixmap(x * (rect.width() - FrameRadius), y * (rect.height() - FrameRadius), corners, x * side,
                                y * side, side, side);
    }
}

void MessageCard::drawHead(QPainter *painter, int width, const QString &title, const QString &time) const
{
    QRect line = textRect(width);
    line.setHeight(titleHeight());
    const auto draw = [&](const QFont &font, QRgb color, Qt::Alignment side, const QString &text, int room) {
        const QString shown = text::elided(text::brief(text).simplified(), font, room);
        painter->setFont(font);
        painter->setPen(QColor(color));
        painter->drawText(line, int(side | Qt::AlignVCenter) | Qt::TextSingleLine, shown);
        return shown;
    };
    const QString shownTime = draw(m_timeFont, 0xA2A1A1, Qt::AlignRight, time, line.width() / 3);
    if (!shownTime.isEmpty())
        line.setRight(line.right() - QFontMetrics(m_timeFont).horizontalAdvance(shownTime) - padding());
    draw(m_titleFont, 0x4A4A4A, Qt::AlignLeft, title, line.width());
}

void MessageCard::drawPreview(QPainter *painter, int width, const QString &lines) const
{
    painter->setFont(m_bodyFont);
    painter->setPen(QColor(0x6B6B6B));
    QRect line(textRect(width).left(), bodyTop(), textRect(width).width(), lineHeight());
    for (const QString &text : lines.split(QLatin1Char('\n'))) {
        painter->drawText(line, Qt::AlignLeft | Qt::AlignVCenter | Qt::TextSingleLine, text);
        line.translate(0, lineHeight());
    }
}

void MessageCard::drawDot(QPainter *painter) const
{
    icon(look::icon::Unread).paint(painter, dotRect());
}

void MessageCard::drawArrow(QPainter *painter, int width, bool isExpanded) const
{
    QRect place(QPoint(), iconSize());
    place.moveCenter(arrowRect(width).center());
    arrow(isExpanded).paint(painter, place);
}
