#include "message/CardText.h"

#include "message/SafeHtml.h"

#include <QLabel>
#include <QRegularExpression>
#include <QSet>
#include <QTextBlock>
#include <QTextDocument>
#include <QTextEdit>
#include <QTextLayout>

namespace {
// Metrics
constexpr int CollapsedLines = 2;
constexpr int PreviewSource = 4096;      // characters of a body that its preview is made from
constexpr int LongPreviewSource = 65536; // the same when the first part holds nothing but markup
constexpr int PreviewLength = 512;
constexpr int MaxBody = 1 << 20; // characters
constexpr int LongestWord = 200; // characters
constexpr int DeepestMarkup = 100;
constexpr int MostTags = 20000;

QString paragraph(const QString &html, int lineHeight)
{
    return QStringLiteral("<p style='line-height:%1px; width: 100%; white-space: pre-wrap;' >").arg(lineHeight) + html +
           QStringLiteral("</p>");
}

QString head(const QString &text, int length)
{
    const bool splitsPair = length < text.size() && length > 0 && text.at(length - 1).isHighSurrogate();
    return text.left(splitsPair ? length - 1 : length);
}

// The layout takes quadratic time over a word that no line can hold; here it may break such words anyway.
QString withBreakableWords(QString text)
{
    static const QRegularExpression longWord(QStringLiteral("[^\\s<>&;]{%1}").arg(LongestWord));
    return text.replace(longWord, QStringLiteral("\\0\u200b"));
}

// A document takes quadratic time over elements inside elements, and much over very many.
bool isTangled(const QString &html)
{
    static const QSet<QString> unclosed{QStringLiteral("br"), QStringLiteral("p"), QStringLiteral("li")};
    static const QRegularExpression tag(QStringLiteral("<(/?)(\\w+)[^>]*>"));
    int depth = 0;
    int count = 0;
    auto it = tag.globalMatch(html);
    while (it.hasNext() && depth <= DeepestMarkup && count <= MostTags) {
        const QRegularExpressionMatch match = it.next();
        ++count;
        if (!unclosed.contains(match.captured(2)))
            depth += match.capturedLength(1) ? -1 : 1;
    }
    return depth > DeepestMarkup || count > MostTags;
}

QString withoutTags(QString html)
{
    static const QRegularExpression lineEnd(QStringLiteral("<br>|</?(p|div|li|h[1-6]|ul|ol|center)\\b[^>]*>"));
    static const QRegularExpression tag(QStringLiteral("<[^>]*>"));
    return html.replace(lineEnd, QStringLiteral("\n")).remove(tag);
}

QString plainHead(const QString &content, int length)
{
    const QString source = head(content, length);
    const bool isPlain = !source.contains(QLatin1Char('<')) && !source.contains(QLatin1Char('&'));
    if (isPlain)
        return head(source, PreviewLength * 2).simplified();
    QTextDocument document; // for the entities
    document.setUndoRedoEnabled(false);
    document.setHtml(withoutTags(safehtml::sanitized(source, length)));
    return document.toPlainText().simplified();
}

QString safeBody(const QString &content)
{
    const QString html = safehtml::sanitized(content, MaxBody);
    return withBreakableWords(isTangled(html) ? withoutTags(html) : html);
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
    document->setHtml(paragraph(safeBody(content), lineHeight));
}

QString cardtext::preview(const QString &content)
{
    QString text = plainHead(content, PreviewSource);
    if (text.isEmpty() && content.size() > PreviewSource)
        text = plainHead(content, LongPreviewSource);
    return head(text, PreviewLength);
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
