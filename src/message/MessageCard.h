#pragma once

#include <QFont>
#include <QIcon>
#include <QMap>
#include <QPixmap>
#include <QRect>

class QPainter;

/// Sizes and drawing of a message's card, shared by thousands of items that have no child widgets yet. GUI
/// thread. Sizes are in pixels; rectangles count from the item's corner.
class MessageCard final
{
public:
    /// The set for the widget's DPI; one is kept per DPI until the application ends.
    static const MessageCard &of(const QWidget *w);

    int collapsedHeight() const { return bodyTop() + 2 * lineHeight() + padding(); }
    int bodyTop() const { return padding() + titleHeight() + gap() / 2; }
    int lineHeight() const { return px(20); }
    int padding() const { return px(12); }
    int gap() const { return px(8); } ///< between two cards, and between the parts of a body
    int maxPictureHeight() const { return px(320); }

    QRect dotRect() const;
    QRect arrowRect(int width) const;
    QRect deleteRect(int width) const;
    QRect textRect(int width) const; ///< of title and body; as high as the collapsed card's text
    QSize iconSize() const { return {px(16), px(16)}; }

    QFont bodyFont() const { return m_bodyFont; }
    /// One of look::icon, kept from its first use on: each is an SVG file, which takes time to parse.
    QIcon icon(QLatin1String path) const;
    QIcon arrow(bool isExpanded) const;

    void drawFrame(QPainter *painter, const QSize &size, bool isSelected, bool hasFocus) const;
    void drawHead(QPainter *painter, int width, const QString &title, const QString &time) const;
    /// @param lines the abbreviated body, lines separated by '\n'
    void drawPreview(QPainter *painter, int width, const QString &lines) const;
    void drawDot(QPainter *painter) const;
    void drawArrow(QPainter *painter, int width, bool isExpanded) const;

private:
    explicit MessageCard(const QWidget *w);
    int px(int design) const; ///< from design pixels at 96 DPI
    int titleHeight() const { return px(22); }

    int m_dpi;
    QFont m_titleFont;
    QFont m_timeFont;
    QFont m_bodyFont;
    mutable QMap<QString, QIcon> m_icons; // by path
    mutable QPixmap m_corners[4];         // by state, once drawn
};
