#pragma once

#include <QFont>
#include <QString>

class QLabel;
class QTextEdit;

namespace tarn::visualized {
class SafeDocument;
}

namespace cardtext {

/// Puts a body from outside into the document, reduced to what can neither load anything nor take unbounded time.
/// @param lineHeight pixels
void setBody(tarn::visualized::SafeDocument *document, const QString &content, const QFont &font, int lineHeight);
/// The beginning of a body as one line of plain text, without markup. Looks at a bounded part of it only.
QString preview(const QString &content);

} // namespace cardtext

/// Lines that the text takes in the edit at its present width and with its font, the edit keeping its own text; an
/// empty text asks for what the edit shows. 0 for nothing or no edit.
int GetLineCount(const QString &text, QTextEdit *edit);
/// The text cut to two lines of the label's width, with an ellipsis when something is left out.
QString CreateAbbreviationString(const QString &text, const QFont &font, QLabel *label);
