#include "message/MessageCard.h"

#include "widgets/Look.h"
#include "widgets/Placement.h"
#include "widgets/ShownText.h"
#include "widgets/dpitoolkit.h"

#include <QCoreApplication>
#include <QHash>
#include <QPainter>

using namespace tarn::visualized;

namespace {
// One card per resolution in DPI, which is the key.
QHash<int, QSharedPointer<const MessageCard>> cards;

// Icons must not outlive the application.
void dropCards()
{
    cards.clear();
}
} // namespace

QSharedPointer<const MessageCard> MessageCard::of(const QWidget *w)
{
    const int dpi = Utils::DpiToolkit::getDPI(w);
    QSharedPointer<const MessageCard> &card = cards[dpi];
    if (!card) {
        qAddPostRoutine(dropCards);
        card.reset(new MessageCard(dpi, w));
    }
    return card;
}

MessageCard::MessageCard(int dpi, const QWidget *w)
    : m_dpi(dpi)
    , m_titleFont(look::yaHei(TitlePx, QFont::DemiBold, w))
    , m_timeFont(look::yaHei(TimePx, QFont::Normal, w))
    , m_bodyFont(look::yaHei(BodyPx, QFont::Normal, w))
    , m_dot(look::icon::Unread)
    , m_collapsed(look::icon::Collapse)
    , m_expanded(look::icon::Expand)
    , m_bin(look::icon::Delete)
{
}

int MessageCard::px(int design) const
{
    return placement::scaled(design, m_dpi);
}

QRect MessageCard::dotRect() const
{
    const int size = px(DotSize);
    return {padding(), padding() + (px(TitleHeight) - size) / 2, size, size};
}

QRect MessageCard::arrowRect(int width) const
{
    const int size = px(ButtonSize);
    return {width - padding() - size, padding() + (px(TitleHeight) - size) / 2, size, size};
}

QRect MessageCard::arrowIconRect(int width) const
{
    QRect icon(QPoint(0, 0), iconSize());
    icon.moveCenter(arrowRect(width).center());
    return icon;
}

QRect MessageCard::deleteRect(int width) const
{
    const int size = px(ButtonSize);
    return {width - padding() - size, collapsedHeight() - padding() - size, size, size};
}

QRect MessageCard::textRect(int width) const
{
    const int left = dotRect().right() + 1 + px(Gap);
    const int right = arrowRect(width).left() - padding();
    return {left, padding(), qMax(1, right - left), collapsedHeight() - 2 * padding()};
}

void MessageCard::drawFrame(QPainter *painter, const QRect &rect, bool isSelected, bool hasFocus) const
{
    painter->setRenderHint(QPainter::Antialiasing);
    painter->setPen(hasFocus ? QPen(QColor(look::FrameBlue), 2) : QPen(QColor(0xDFE1E3), 1));
    painter->setBrush(isSelected ? QColor(look::PaleBlue) : QColor(0xFDFCFC));
    const qreal half = hasFocus ? 1 : 0.5;
    const qreal radius = 8 - half;
    painter->drawRoundedRect(QRectF(rect).adjusted(half, half, -half, -half), radius, radius);
    painter->setBrush(Qt::NoBrush);
}

void MessageCard::drawHead(QPainter *painter, int width, const QString &title, const QString &time) const
{
    QRect line = textRect(width);
    line.setHeight(px(TitleHeight));
    const auto shown = [](const QString &text, const QFont &font, int room) {
        return text::elided(text::brief(text).simplified(), font, room);
    };
    const QString shownTime = shown(time, m_timeFont, line.width() / 3);
    painter->setFont(m_timeFont);
    painter->setPen(QColor(0xA2A1A1));
    painter->drawText(line, Qt::AlignRight | Qt::AlignVCenter | Qt::TextSingleLine, shownTime);

    if (!shownTime.isEmpty())
        line.setRight(line.right() - QFontMetrics(m_timeFont).horizontalAdvance(shownTime) - padding());
    painter->setFont(m_titleFont);
    painter->setPen(QColor(0x4A4A4A));
    painter->drawText(line, Qt::AlignLeft | Qt::AlignVCenter | Qt::TextSingleLine,
                      shown(title, m_titleFont, line.width()));
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
