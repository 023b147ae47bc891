#include "message/CardText.h"

#include "widgets/SafeHtml.h"

#include <QLabel>
#include <QTextBlock>
#include <QTextDocument>
#include <QTextEdit>
#include <QTextLayout>

namespace safehtml = tarn::visualized::safehtml;

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

void cardtext::setBody(QTextDocument *document, const QString &content, const QFont &font, int lineHeight)
{
    document->setUndoRedoEnabled(false);
    document->setDefaultFont(font);
    document->setDocumentMargin(0);
    QTextOption option;
    option.setWrapMode(QTextOption::WrapAtWordBoundaryOrAnywhere);
    document->setDefaultTextOption(option);
    document->setHtml(paragraph(safehtml::reduce(content, safehtml::card()).text, lineHeight));
}

QString cardtext::preview(const QString &content)
{
    return safehtml::words(content, PreviewLength);
}

QString cardtext::abbreviated(const QString &text, const QFont &font, int width, int lines)
{
    const QFontMetrics metrics(font);
    QTextLayout layout(text, font);
    QTextOption option;
    option.setWrapMode(QTextOption::WrapAtWordBoundaryOrAnywhere);
    layout.setTextOption(option);
    layout.beginLayout();
    QStringList result;
    while (result.size() < lines) {
        QTextLine line = layout.createLine();
        if (!line.isValid())
            break;
        line.setLineWidth(width);
        const bool isLast = result.size() == lines - 1;
        result.append(isLast ? metrics.elidedText(text.mid(line.textStart()), Qt::ElideRight, width)
                             : text.mid(line.textStart(), line.textLength()).trimmed());
    }
    layout.endLayout();
    return result.join(QLatin1Char('\n'));
}

int GetLineCount(const QString &text, QTextEdit *edit)
{
    if (!edit)
        return 0;
    QTextDocument other;
    QTextDocument *document = edit->document();
    if (!text.isEmpty()) {
        document = &other;
        cardtext::setBody(document, text, edit->font(), QFontMetrics(edit->font()).lineSpacing());
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
    return cardtext::abbreviated(text.simplified(), font, label ? label->width() : 0, CollapsedLines);
}
