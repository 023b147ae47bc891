#pragma once
#include <QString>

class QTextDocument;

/// The time that a page of release notes takes on the GUI thread. NotesBrowser lays a page out some 2000 pixels at a time;
/// a table, a frame and a paragraph take one step each: nested tables take time that doubles with every level, and a
/// table's cells are rows times columns, with all spans added up. Any thread.
namespace tarn::visualized::notespage {

/// Judges reduced HTML (see SafeHtml) before a document is built from it: whether its tables have a sane number of cells.
/// Building a document creates every cell, so the document itself would come too late.
bool canBeBuilt(const QString &html);

/// Judges the built document: whether every step of its layout takes less than some 50 ms.
bool canBeShown(const QTextDocument &document);

/// A text as far as it is shown as plain text: without long runs of characters that take no place, and only so many lines
/// as the layout can hold.
QString bounded(const QString &text);

/// Wraps what does not wrap where there is much of it, and divides paragraphs of absurd length without a visible gap: at a
/// line end if there is one, never within a surrogate pair.
void divideLongParagraphs(QTextDocument *document);

} // namespace tarn::visualized::notespage
