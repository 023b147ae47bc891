#pragma once

#include <QFont>
#include <QIcon>
#include <QRect>
#include <QSharedPointer>

class QPainter;

/// Sizes and drawing of a message's card, shared by thousands of items that have no child widgets yet. GUI
/// thread. Sizes are in pixels; rectangles count from the item's corner.
class MessageCard final
{
public:
    /// The set for the widget's DPI; one is kept per DPI until the application ends.
    static QSharedPointer<const MessageCard> of(const QWidget *w);

    int collapsedHeight() const { return bodyTop() + 2 * lineHeight() + padding(); }
    int bodyTop() const { return padding() + px(TitleHeight) + gap() / 2; }
    int lineHeight() const { return px(LineHeight); }
    int padding() const { return px(Padding); }
    int gap() const { return px(Gap); } ///< between two cards, and between the parts of a body
    int maxPictureHeight() const { return px(MaxPictureHeight); }

    QRect dotRect() const;
    QRect arrowRect(int width) const;
    QRect arrowIconRect(int width) const;
    QRect deleteRect(int width) const;
    QRect textRect(int width) const; ///< of title and body; as high as the collapsed card's text
    QSize iconSize() const { return {px(IconSize), px(IconSize)}; }

    QFont bodyFont() const { return m_bodyFont; }
    QIcon dot() const { return m_dot; }
    QIcon arrow(bool isExpanded) const { return isExpanded ? m_expanded : m_collapsed; }
    QIcon bin() const { return m_bin; }

    void drawFrame(QPainter *painter, const QRect &rect, bool isSelected, bool hasFocus) const;
    void drawHead(QPainter *painter, int width, const QString &title, const QString &time) const;
    /// @param lines the abbreviated body, lines separated by '\n'
    void drawPreview(QPainter *painter, int width, const QString &lines) const;

private:
    // Metrics (design pixels at 96 DPI)
    static constexpr int Padding = 12;
    static constexpr int Gap = 8;
    static constexpr int DotSize = 8;
    static constexpr int ButtonSize = 26;
    static constexpr int IconSize = 16;
    static constexpr int TitleHeight = 22;
    static constexpr int LineHeight = 20;
    static constexpr int MaxPictureHeight = 320;
    static constexpr int TitlePx = 14;
    static constexpr int TimePx = 12;
    static constexpr int BodyPx = 13;

    MessageCard(int dpi, const QWidget *w);
    int px(int design) const;

    int m_dpi;
    QFont m_titleFont;
    QFont m_timeFont;
    QFont m_bodyFont;
    QIcon m_dot;
    QIcon m_collapsed;
    QIcon m_expanded;
    QIcon m_bin;
};
