#include "message/CardText.h"

#include "widgets/SafeDocument.h"
#include "widgets/SafeHtml.h"
#include "widgets/ShownText.h"

#include <QLabel>
#include <QTextBlock>
#include <QTextEdit>
#include <QTextLayout>

using namespace tarn::visualized;

namespace {
// Metrics
constexpr int CollapsedLines = 2;
constexpr int PreviewLength = 512; // characters

QString paragraph(const QString &html, int lineHeight)
{
    return QStringLiteral("<p style='line-height:%1px; width: 100%; white-space: pre-wrap;' >").arg(lineHeight) + html +
           QStringLiteral("</p>");
}
} // namespace

void cardtext::setBody(SafeDocument *document, const QString &content, const QFont &font, int lineHeight)
{
    document->setDefaultFont(font);
    document->setHtml(paragraph(safehtml::reduce(content, safehtml::card()).text, lineHeight));
}

QString cardtext::preview(const QString &content)
{
    return safehtml::words(content, PreviewLength);
}

int GetLineCount(const QString &text, QTextEdit *edit)
{
    if (!edit)
        return 0;
    SafeDocument other;
    QTextDocument *document = edit->document();
    if (!text.isEmpty()) {
        document = &other;
        cardtext::setBody(&other, text, edit->font(), QFontMetrics(edit->font()).lineSpacing());
    }
    if (document->isEmpty())
        return 0;
    document->setTextWidth(edit->contentsRect().width()); // the viewport follows only when shown
    document->size();                                     // lays everything out
    int lines = 0;
    for (QTextBlock block = document->begin(); block.isValid(); block = block.next())
        lines += block.layout()->lineCount();
    return lines;
}

QString CreateAbbreviationString(const QString &text, const QFont &font, QLabel *label)
{
    return text::elided(text.simplified(), font, label ? label->width() : 0, CollapsedLines);
}
