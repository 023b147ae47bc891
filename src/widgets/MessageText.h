#pragma once

#include <QFontMetrics>
#include <QString>

/// Texts of message boxes: measuring them, and making them fit to be shown. Pure functions.
namespace messagetext {

/// Height that the text is given, in pixels of the font: lines ended by "\r\n", plus a line for every 220 pixels of such
/// a line that is wider than 225, plus two. What follows the last "\r\n" is not measured. All of this is deliberate.
int measuredHeight(const QString &text, const QFontMetrics &metrics);

/// The text in a form that cannot widen a box, load anything or take unbounded time: cut after 10000 characters, long
/// words breakable, markup reduced to links, colours and emphasis.
struct Shown
{
    QString text;
    bool rich = false;
    bool hasLink = false;
};
Shown shown(const QString &text);

/// A text of any length from outside, as far as it is shown or logged: 1000 characters.
QString brief(const QString &text);

/// Words from outside, such as a name, to be put into a text: shown as they stand, even if they look like markup.
QString literal(const QString &words);

/// The words alone, for screen readers.
QString spoken(const QString &text);

} // namespace messagetext
