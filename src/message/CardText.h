#pragma once

#include <QFont>
#include <QString>
#include <QTextDocument>

class QLabel;
class QTextEdit;

/// A text document for bodies from outside: it loads no picture, style sheet or file, wherever it points.
class CardDocument final : public QTextDocument
{
    Q_OBJECT
public:
    using QTextDocument::QTextDocument;

    /// Takes a message's body, plain or rich. Pictures are dropped and unbreakable lines made to wrap.
    void setBody(const QString &content, const QFont &font, int lineHeight);

protected:
    QVariant loadResource(int type, const QUrl &name) override;
};

namespace cardtext {

/// Whether the text holds tags or entities; otherwise it is shown letter by letter.
bool isRich(const QString &text);
/// The beginning of a body as one line of plain text, without markup. Looks at a bounded part of it only.
QString preview(const QString &content);
/// Cuts a text to what fits into the lines, the last one ending in an ellipsis when something is left out. The lines
/// are separated by '\n'.
/// @param width pixels
QString abbreviated(const QString &text, const QFont &font, int width, int lines);

} // namespace cardtext

/// Lines that the text takes in the edit at its present width and with its font; 0 for an empty text or no edit. The
/// edit keeps its own text.
int GetLineCount(const QString &text, QTextEdit *edit);
/// The text cut to two lines of the label's width, with an ellipsis when something is left out.
QString CreateAbbreviationString(const QString &text, const QFont &font, QLabel *label);
