#pragma once
#include <QString>

class QTextDocument;

/// The time that a page of release notes takes on the GUI thread. Qt lays a table out in one go, nested tables in time that doubles
/// with every level, and a table's cells are rows times columns, with all spans added up. Any thread.
namespace tarn::visualized::notespage {

/// Judges reduced HTML (see SafeHtml) before a document is built from it: whether its tables have a sane number of cells.
/// Building a document creates every cell, so the document itself would come too late.
bool canBeBuilt(const QString &html);

/// Judges the built document: whether its layout takes less than some 100 ms.
bool canBeShown(const QTextDocument &document);

/// Divides paragraphs of absurd length, which are laid out in one go, without a visible gap: at a line end if there is
/// one, never within a surrogate pair.
void divideLongParagraphs(QTextDocument *document);

} // namespace tarn::visualized::notespage
