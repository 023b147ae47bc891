#pragma once

#include <QFont>
#include <QString>

/// Plain texts from outside, cut to the part that is shown or logged. Pure functions; those with a font on the GUI thread.
namespace tarn::visualized::text {

/// Characters of a text that are measured, spoken or logged. Measuring millions takes seconds.
constexpr int Brief = 1000;

/// The first `most` characters (UTF-16 units); one less where the cut would split a surrogate pair.
QString beginning(const QString &text, int most);
/// beginning(), with "…" when something was cut.
QString brief(const QString &text, int most = Brief);
/// The text in up to `lines` lines, separated by '\n'; the last one ends in "…" when the text does not fit. Line ends in
/// the text become blanks.
/// @param width of a line in pixels
QString elided(const QString &text, const QFont &font, int width, int lines = 1);
/// Words, such as a name, to be put into the text of a message box: shown as they are, even if they look like markup.
QString literal(const QString &words);
/// A tool tip that shows markup as it is written: the text itself where Qt takes it for plain text, else HTML, wrapped.
/// Widgets with one need an accessible description, since Qt would take the HTML for it.
QString toolTip(const QString &text);

} // namespace tarn::visualized::text
