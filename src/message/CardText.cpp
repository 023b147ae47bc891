#include "CardText.h"

#include <QLabel>
#include <QRegularExpression>
#include <QTextBlock>
#include <QTextCursor>
#include <QTextEdit>
#include <QTextLayout>

namespace {
// Metrics
constexpr int CollapsedLines = 2;
constexpr int PreviewSource = 4096;      // characters of a body that its preview is made from
constexpr int LongPreviewSource = 65536; // the same when the first part holds nothing but markup
constexpr int PreviewLength = 512;

QString linkSheet()
{
    return QStringLiteral("a{color:#1E7FD8;text-decoration:underline;}");
}

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

// Inline pictures are never loaded; without their tags they leave no empty frames of any size either.
QString withoutPictures(QString html)
{
    static const QRegularExpression picture(QStringLiteral("<\\s*img\\b[^>]*>"),
                                            QRegularExpression::CaseInsensitiveOption);
    return html.remove(picture);
}

void makeLinesBreakable(QTextDocument *document)
{
    for (QTextBlock block = document->begin(); block.isValid(); block = block.next()) {
        QTextBlockFormat format = block.blockFormat();
        if (!format.nonBreakableLines())
            continue;
        format.setNonBreakableLines(false);
        QTextCursor(block).setBlockFormat(format);
    }
}

QString plainHead(const QString &content, int length)
{
    const QString source = head(content, length);
    if (!cardtext::isRich(source))
        return head(source, PreviewLength * 2).simplified();
    CardDocument document;
    document.setUndoRedoEnabled(false);
    document.setHtml(withoutPictures(source));
    return document.toPlainText().simplified();
}
} // namespace

void CardDocument::setBody(const QString &content, const QFont &font, int lineHeight)
{
    setUndoRedoEnabled(false);
    setDefaultFont(font);
    setDocumentMargin(0);
    setDefaultStyleSheet(linkSheet());
    setHtml(paragraph(cardtext::isRich(content) ? withoutPictures(content) : content.toHtmlEscaped(), lineHeight));
    makeLinesBreakable(this);
}

QVariant CardDocument::loadResource(int, const QUrl &)
{
    return {};
}

bool cardtext::isRich(const QString &text)
{
    static const QRegularExpression markup(
        QStringLiteral("</?[A-Za-z][A-Za-z0-9]*(\\s[^<>]*)?/?>|<!--|&(#[0-9]{1,7}|#x[0-9A-Fa-f]{1,6}|[A-Za-z]{2,8});"));
    return markup.match(text).hasMatch();
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
    if (!edit || text.isEmpty())
        return 0;
    CardDocument document;
    document.setBody(text, edit->font(), QFontMetrics(edit->font()).lineSpacing());
    document.setTextWidth(edit->contentsRect().width()); // the viewport follows only when shown
    document.size();                                     // lays everything out
    int lines = 0;
    for (QTextBlock block = document.begin(); block.isValid(); block = block.next())
        lines += block.layout()->lineCount();
    return lines;
}

QString CreateAbbreviationString(const QString &text, const QFont &font, QLabel *label)
{
    return cardtext::abbreviated(text.simplified(), font, label ? label->width() : 0, CollapsedLines);
}
