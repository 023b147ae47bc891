#include "upgrade/NotesFile.h"
#include "base/Log.h"
#include "base/RegularFile.h"
#include "widgets/Look.h"
#include "widgets/SafeDocument.h"
#include "widgets/SafeHtml.h"
#include "widgets/ShownText.h"
#include <QFile>
#include <QRegularExpression>
#include <QSet>
#include <QTextBlock>
#include <QTextCodec>
#include <QTextCursor>
#include <QTextDocumentFragment>
#include <QTextOption>
#include <QTextTable>
#include <QThread>
#include <QVector>
#include <algorithm>
#include <numeric>

namespace tarn::visualized::notes {
namespace {

// NotesBrowser lays a page out some 2000 pixels at a time; a table, a frame and a paragraph take one step each: nested
// tables take time that doubles with every level, and a table's cells are rows times columns, with all spans added up.
constexpr int MaxDepth = 5; // tables in tables
constexpr int MaxCells = 20000;
constexpr int MaxItems = 5000; // of lists: building one takes quadratic time
constexpr int MaxColumns = 1000;
constexpr int MaxFloats = 100;      // every line is fitted around every float
constexpr int MaxFonts = 24;        // each takes some ms when it is first needed: it is looked up for every script
constexpr int MaxWeight = 80000;    // of a table or frame, in Latin letters, of which 3000 take a millisecond
constexpr int BlockWeight = 50;     // of a paragraph, also of a cell's
constexpr int MaxParagraph = 10000; // characters; a third of that in the scripts of South Asia
constexpr int MaxLines = 100000;
constexpr int LightPage = 20000;   // characters; a shorter page is light with any formats
constexpr int Beginning = 16000;   // characters of a page, of which some 2000 fit into the window
constexpr int SlowPage = 64000;    // characters; a shorter page is ready within some milliseconds
constexpr int LongLine = 250;      // characters
constexpr double SmallestFont = 6; // pixels or points: a step has many lines of a smaller one

struct Cost
{
    qint64 cells = 0;
    qint64 weight = 0;
    int floats = 0;
};

const QRegularExpression Placeless(QStringLiteral("([\\p{Mn}\\p{Me}\\p{Cf}]{16})[\\p{Mn}\\p{Me}\\p{Cf}]+"));

bool isSouthAsian(QChar c)
{
    return c.unicode() >= 0x900 && c.unicode() < 0x1800;
}

int weightOf(QChar c)
{
    if (c.unicode() < 0x250)
        return c == QLatin1Char('\t') ? 20 : 1;
    return isSouthAsian(c) ? 10 : 3; // of ideographs and others
}

qint64 weightOf(const QTextFrame &frame)
{
    qint64 weight = 0;
    const QTextBlock end = frame.document()->findBlock(frame.lastPosition()).next();
    for (QTextBlock block = frame.document()->findBlock(frame.firstPosition()); block != end; block = block.next()) {
        const QString text = block.text();
        weight = std::accumulate(text.cbegin(), text.cend(), weight + BlockWeight,
                                 [](qint64 sum, QChar c) { return sum + weightOf(c); });
    }
    return weight;
}

// Adds the tables and frames inside a frame. @return false when they take too long
bool add(const QTextFrame &frame, int depth, Cost &cost)
{
    const QList<QTextFrame *> children = frame.childFrames();
    for (const QTextFrame *child : children) {
        if (!frame.parentFrame())
            cost.weight = 0; // those of the page itself are laid out one by one
        const auto *table = qobject_cast<const QTextTable *>(child);
        const int inside = depth + (table ? 1 : 0);
        cost.floats += child->frameFormat().position() == QTextFrameFormat::InFlow ? 0 : 1;
        cost.cells += table ? qint64(table->rows()) * table->columns() : 0;
        cost.weight += weightOf(*child) << qMin(depth, MaxDepth);
        if (inside > MaxDepth || cost.floats > MaxFloats || cost.cells > MaxCells || cost.weight > MaxWeight ||
            (table && table->columns() > MaxColumns) || !add(*child, inside, cost))
            return false;
    }
    return true;
}

// Formats that put many characters into a step.
bool isDense(const QTextFormat &format)
{
    if (format.isCharFormat()) {
        const QFont font = format.toCharFormat().font();
        return (font.pixelSize() > 0 ? font.pixelSize() : font.pointSizeF()) < SmallestFont;
    }
    const QTextBlockFormat block = format.toBlockFormat();
    const bool isLow =
        block.lineHeightType() == QTextBlockFormat::ProportionalHeight
            ? block.lineHeight() < 50
            : block.lineHeightType() == QTextBlockFormat::FixedHeight && block.lineHeight() < SmallestFont;
    return isLow || block.topMargin() < 0 || block.bottomMargin() < 0;
}

bool hasLightFormats(const QTextDocument &document)
{
    const bool isLight = document.characterCount() < LightPage;
    QSet<QString> fonts;
    const QVector<QTextFormat> formats = document.allFormats();
    for (const QTextFormat &format : formats) {
        const QFont font = format.toCharFormat().font();
        fonts.insert(font.family() + QString::number(font.pixelSize()) + QString::number(font.pointSizeF()) +
                     QString::number(font.weight() * 2 + font.italic()));
        if (fonts.size() > MaxFonts || (!isLight && isDense(format)))
            return false;
    }
    return true;
}

// How many of the first characters one paragraph takes. The library that finds the words of Thai needs a time and a memory
// that grow faster than the paragraph.
int roomFor(const QString &text)
{
    int used = 0;
    const auto end = std::find_if(text.cbegin(), text.cend(), [&used](QChar c) {
        used += isSouthAsian(c) ? 3 : 1;
        return used > MaxParagraph;
    });
    return int(end - text.cbegin());
}

// The position at which the part after the first of these characters begins: after a line end, else after white space,
// else not within a surrogate pair.
int divisionOf(const QTextBlock &block, int room)
{
    const QString text = block.text().left(room);
    int at = text.lastIndexOf(QChar::LineSeparator) + 1;
    if (at < 2)
        at = int(text.crend() - std::find_if(text.crbegin(), text.crend(), [](QChar c) { return c.isSpace(); }));
    if (at < 2)
        at = text.size() - (text.at(text.size() - 1).isHighSurrogate() ? 1 : 0);
    return block.position() + at;
}

// Lines that do not wrap can have any length, and one step lays out hundreds of them.
void wrapLongLines(QTextCursor &cursor)
{
    QVector<QTextBlock> longLines;
    int characters = 0;
    for (QTextBlock block = cursor.document()->begin(); block.isValid(); block = block.next()) {
        if (block.length() > LongLine && block.blockFormat().nonBreakableLines()) {
            longLines.append(block);
            characters += block.length();
        }
    }
    if (characters < LightPage)
        return;
    QTextBlockFormat wrapped;
    wrapped.setNonBreakableLines(false);
    for (const QTextBlock &block : qAsConst(longLines)) {
        cursor.setPosition(block.position());
        cursor.mergeBlockFormat(wrapped);
    }
}

// Judges reduced HTML before a document is built from it: building creates every cell, so the document itself would come
// too late.
bool canBeBuilt(const QString &html)
{
    static const QRegularExpression tag(QStringLiteral("<(/?table|tr|td|th)\\b([^>]*)>"));
    static const QRegularExpression columnSpan(QStringLiteral(" colspan=\"([0-9]{1,9})\""));
    static const QRegularExpression rowSpan(QStringLiteral(" rowspan=\"([0-9]{1,9})\""));
    struct Grid // one table as the parser sees it: cells belong to the innermost open one
    {
        qint64 rows = 1;
        qint64 inRow = 0;   // columns so far
        qint64 carried = 0; // columns that spans over rows may add to later rows
        qint64 columns = 0;
    };
    if (html.count(QLatin1String("<li")) > MaxItems)
        return false;
    QVector<Grid> open(1); // the first one is for cells outside of any table
    qint64 cells = 0;
    for (auto it = tag.globalMatch(html); it.hasNext();) {
        const QRegularExpressionMatch match = it.next();
        const QString name = match.captured(1);
        if (name == QLatin1String("table"))
            open.append(Grid());
        else if (name == QLatin1String("/table") && open.size() > 1)
            open.removeLast();
        if (name.endsWith(QLatin1String("table")))
            continue;
        Grid &grid = open.last();
        cells -= grid.rows * grid.columns;
        if (name == QLatin1String("tr")) {
            ++grid.rows;
            grid.inRow = 0;
        } else {
            const qint64 columns = qMax(1LL, columnSpan.match(match.captured(2)).captured(1).toLongLong());
            grid.inRow += columns;
            if (rowSpan.match(match.captured(2)).captured(1).toLongLong() > 1)
                grid.carried += columns;
            grid.columns = qMax(grid.columns, grid.inRow + grid.carried);
        }
        cells += grid.rows * grid.columns;
        if (cells > MaxCells || grid.columns > MaxColumns)
            return false;
    }
    return true;
}

// An expression finds nothing in a text with half of a surrogate pair.
QString whole(const QString &text)
{
    return text.isValidUtf16() ? text : QString::fromUtf8(text.toUtf8());
}

// Looks for combining and invisible characters first: most texts have none, and the expression takes six times as long.
bool hasPlaceless(const QString &text)
{
    const auto isCandidate = [](QChar c) {
        const QChar::Category category = c.category();
        return category == QChar::Mark_NonSpacing || category == QChar::Mark_Enclosing ||
               category == QChar::Other_Format || category == QChar::Other_Surrogate;
    };
    return std::any_of(text.cbegin(), text.cend(), isCandidate) && whole(text).contains(Placeless);
}

// Judges the built document: whether every step of its layout takes less than some 50 ms.
bool canBeShown(const QTextDocument &document)
{
    Cost cost;
    return document.blockCount() <= MaxLines && hasLightFormats(document) && add(*document.rootFrame(), 0, cost) &&
           !hasPlaceless(document.toPlainText());
}

// A text as far as it is shown as plain text: without long runs of characters that take no place, and only so many lines as
// the layout can hold.
QString bounded(const QString &source)
{
    static const QRegularExpression lineEnd(QStringLiteral("\r\n?|[\n\\x{2029}]"));
    QString text = whole(source).replace(Placeless, QStringLiteral("\\1"));
    text.replace(QChar::LineSeparator, QLatin1Char('\n')); // else its lines would be one paragraph, laid out at once
    QRegularExpressionMatchIterator ends = lineEnd.globalMatch(text);
    for (int lines = 1; lines < MaxLines && ends.hasNext(); ++lines)
        ends.next();
    if (ends.hasNext()) {
        VT_LOG(warning) << QStringLiteral("更新说明行数过多，只显示前%1行").arg(MaxLines);
        text.truncate(ends.next().capturedStart());
    }
    return text;
}

// Wraps what does not wrap where there is much of it, and divides paragraphs of absurd length without a visible gap: at a
// line end if there is one, never within a surrogate pair.
void divideLongParagraphs(QTextDocument *document)
{
    QTextCursor cursor(document);
    cursor.beginEditBlock();
    wrapLongLines(cursor);
    for (QTextBlock block = document->begin(); block.isValid(); block = block.next()) {
        if (block.length() <= MaxParagraph / 3) // most, whose texts need not be copied
            continue;
        const int room = roomFor(block.text());
        if (room >= block.length() - 1)
            continue;
        QTextBlockFormat first = block.blockFormat();
        QTextBlockFormat rest = first;
        first.setBottomMargin(0);
        rest.setTopMargin(0);
        rest.setTextIndent(0);
        const int division = divisionOf(block, room);
        cursor.setPosition(division);
        cursor.setBlockFormat(first);
        if (document->characterAt(division - 1) == QChar::LineSeparator)
            cursor.deletePreviousChar(); // the end of the paragraph ends the line
        cursor.insertBlock(rest);
    }
    cursor.endEditBlock();
}

constexpr int PageMargin = 4;
constexpr int ShownPath = 200; // characters of a path in the log

void dropDocument(QTextDocument *document)
{
    if (document->thread() == QThread::currentThread())
        delete document;
    else
        document->deleteLater();
}

// The words of a page, its tables' rows and its lists' items as lines.
QString words(const QString &text)
{
    static const QRegularExpression items(QStringLiteral("<(/?)li\\b"));
    static const QRegularExpression emptyLines(QStringLiteral("\n{3,}"));
    safehtml::Policy policy = safehtml::notes();
    policy.documents = false;
    const QString html = safehtml::reduce(text, policy).text.replace(items, QStringLiteral("<\\1p"));
    return whole(QTextDocumentFragment::fromHtml(html).toPlainText())
        .replace(emptyLines, QStringLiteral("\n\n"))
        .trimmed();
}

// @return false when the page would hold the GUI thread
bool fillRich(QTextDocument *document, const safehtml::Reduced &page)
{
    if (page.isFlattened || !canBeBuilt(page.text))
        return false;
    document->setHtml(page.text);
    return canBeShown(*document);
}

// The page as HTML, or as plain text where that would hold the GUI thread.
void fill(QTextDocument *document, const QString &text)
{
    const safehtml::Policy policy = safehtml::notes();
    if (text.size() > policy.maxChars) {
        VT_LOG(warning) << QStringLiteral("更新说明过长，按纯文本显示");
        return document->setPlainText(bounded(text));
    }
    const safehtml::Reduced page = safehtml::reduce(text, policy);
    if (page.isUnstyled)
        VT_LOG(warning) << QStringLiteral("更新说明的样式过多，不使用样式表");
    if (fillRich(document, page))
        return;
    VT_LOG(warning) << QStringLiteral("更新说明的格式过于复杂，按纯文本显示");
    document->setPlainText(bounded(words(text)));
}

// @return false when there is no text, or its look in the whole page is not known yet
bool fillBeginning(QTextDocument *document, const QString &text)
{
    const safehtml::Policy policy = safehtml::notes();
    QString part = text::beginning(text, Beginning);
    if (text.size() > policy.maxChars) {
        document->setPlainText(bounded(part));
        return true;
    }
    const int tag = part.lastIndexOf(QLatin1Char('<'));
    if (tag > part.lastIndexOf(QLatin1Char('>')))
        part.truncate(tag); // it ends within this tag
    return fillRich(document, safehtml::reduce(part, policy)) && !document->isEmpty();
}

std::shared_ptr<QTextDocument> emptyDocument(const QFont &font)
{
    std::shared_ptr<QTextDocument> document(new SafeDocument, dropDocument);
    document->setPageSize(QSizeF(0, 0)); // lays nothing out before the width is known
    document->setDocumentMargin(PageMargin);
    document->setDefaultTextOption(QTextOption());
    document->setDefaultFont(font);
    document->setDefaultStyleSheet(look::linkRule());
    return document;
}

} // namespace

std::optional<QString> readFile(const QString &path)
{
    QFile file;
    QString error;
    const QString shown = text::brief(path, ShownPath);
    if (!openRegular(file, path, &error)) {
        VT_LOG(warning) << QStringLiteral("更新说明文件无法打开：%1，原因：%2").arg(shown, error);
        return std::nullopt;
    }
    const QByteArray bytes = file.read(MaxFileSize);
    if (file.error() != QFileDevice::NoError) {
        VT_LOG(warning) << QStringLiteral("更新说明文件读取失败：%1，原因：%2").arg(shown, file.errorString());
        return std::nullopt;
    }
    if (!file.atEnd())
        VT_LOG(warning)
            << QStringLiteral("更新说明文件过大，只显示前%1字节：%2").arg(QString::number(MaxFileSize), shown);
    QTextCodec *codec = QTextCodec::codecForName(GetCorrectUnicode(bytes));
    if (!codec) // a Qt can be built without GBK
        codec = QTextCodec::codecForName("UTF-8");
    return QTextCodec::codecForUtfText(bytes, codec)->toUnicode(bytes).remove(QChar(0));
}

std::shared_ptr<QTextDocument> makeDocument(const QString &text, const QFont &font, QThread *owner)
{
    const auto document = emptyDocument(font);
    fill(document.get(), text);
    divideLongParagraphs(document.get());
    document->moveToThread(owner);
    return document;
}

std::shared_ptr<QTextDocument> makeBeginning(const QString &text, const QFont &font, QThread *owner)
{
    const auto document = emptyDocument(font);
    if (text.size() < SlowPage || !fillBeginning(document.get(), text))
        return nullptr;
    divideLongParagraphs(document.get());
    document->moveToThread(owner);
    return document;
}

} // namespace tarn::visualized::notes

QByteArray GetCorrectUnicode(const QByteArray &bytes)
{
    QTextCodec::ConverterState state;
    QTextCodec::codecForName("UTF-8")->toUnicode(bytes.constData(), bytes.size(), &state);
    return state.invalidChars > 0 ? QByteArrayLiteral("GBK") : QByteArrayLiteral("UTF8");
}
