#include "upgrade/NotesPage.h"
#include <QRegularExpression>
#include <QTextBlock>
#include <QTextCursor>
#include <QTextDocument>
#include <QTextTable>
#include <QVector>

namespace tarn::visualized::notespage {
namespace {

constexpr int MaxDepth = 5; // tables in tables
constexpr int MaxCells = 20000;
constexpr int MaxColumns = 1000;
constexpr int MaxFloats = 100;  // every line is fitted around every float
constexpr int BlockWeight = 50; // a paragraph, also that of a cell, takes as long as so many characters
constexpr int MaxWeight = 80000;
constexpr int MaxParagraph = 10000; // characters

struct Cost
{
    qint64 cells = 0;
    qint64 weight = 0;
    int floats = 0;
};

qint64 weightOf(const QTextTable &table)
{
    const QTextDocument *document = table.document();
    const int first = table.firstPosition();
    const int last = table.lastPosition();
    const int blocks = document->findBlock(last).blockNumber() - document->findBlock(first).blockNumber() + 1;
    return last - first + qint64{BlockWeight} * blocks;
}

// Adds the tables and floats inside a frame. @return false when they take too long
bool add(const QTextFrame &frame, int depth, Cost &cost)
{
    const QList<QTextFrame *> children = frame.childFrames();
    for (const QTextFrame *child : children) {
        const auto *table = qobject_cast<const QTextTable *>(child);
        const int inside = depth + (table ? 1 : 0);
        cost.floats += child->frameFormat().position() == QTextFrameFormat::InFlow ? 0 : 1;
        cost.cells += table ? qint64(table->rows()) * table->columns() : 0;
        cost.weight += table ? weightOf(*table) << qMin(depth, MaxDepth) : 0;
        if (inside > MaxDepth || cost.floats > MaxFloats || cost.cells > MaxCells || cost.weight > MaxWeight ||
            (table && table->columns() > MaxColumns) || !add(*child, inside, cost))
            return false;
    }
    return true;
}

// The position at which the part after the first MaxParagraph characters begins: after a line end, else after white space,
// else not within a surrogate pair.
int divisionOf(const QTextBlock &block)
{
    const QString text = block.text().left(MaxParagraph);
    int at = text.lastIndexOf(QChar::LineSeparator) + 1;
    if (at < 2)
        at = text.lastIndexOf(
                 QRegularExpression(QStringLiteral("\\s"), QRegularExpression::UseUnicodePropertiesOption)) +
             1;
    if (at < 2)
        at = text.size() - (text.at(text.size() - 1).isHighSurrogate() ? 1 : 0);
    return block.position() + at;
}

} // namespace

bool canBeBuilt(const QString &html)
{
    static const QRegularExpression tag(QStringLiteral("<(/?)(table|tr|td|th)\\b([^>]*)>"));
    static const QRegularExpression columnSpan(QStringLiteral(" colspan=\"([0-9]{1,9})\""));
    static const QRegularExpression rowSpan(QStringLiteral(" rowspan=\"([0-9]{1,9})\""));
    struct Grid // one table as the parser sees it: cells belong to the innermost open one
    {
        qint64 rows = 1;
        qint64 inRow = 0;   // columns so far
        qint64 carried = 0; // columns that spans over rows may add to later rows
        qint64 columns = 0;
    };
    QVector<Grid> open(1); // the first one is for cells outside of any table
    qint64 cells = 0;
    for (auto it = tag.globalMatch(html); it.hasNext();) {
        const QRegularExpressionMatch match = it.next();
        const QString name = match.captured(2);
        const bool closing = match.capturedLength(1) > 0;
        if (name == QLatin1String("table") && !closing)
            open.append(Grid());
        else if (name == QLatin1String("table") && open.size() > 1)
            open.removeLast();
        if (closing || name == QLatin1String("table"))
            continue;
        Grid &grid = open.last();
        cells -= grid.rows * grid.columns;
        if (name == QLatin1String("tr")) {
            ++grid.rows;
            grid.inRow = 0;
        } else {
            const qint64 columns = qMax(1LL, columnSpan.match(match.captured(3)).captured(1).toLongLong());
            grid.inRow += columns;
            if (rowSpan.match(match.captured(3)).captured(1).toLongLong() > 1)
                grid.carried += columns;
            grid.columns = qMax(grid.columns, grid.inRow + grid.carried);
        }
        cells += grid.rows * grid.columns;
        if (cells > MaxCells || grid.columns > MaxColumns)
            return false;
    }
    return true;
}

bool canBeShown(const QTextDocument &document)
{
    Cost cost;
    return add(*document.rootFrame(), 0, cost);
}

void divideLongParagraphs(QTextDocument *document)
{
    QTextCursor cursor(document);
    cursor.beginEditBlock();
    for (QTextBlock block = document->begin(); block.isValid(); block = block.next()) {
        if (block.length() <= MaxParagraph)
            continue;
        QTextBlockFormat first = block.blockFormat();
        QTextBlockFormat rest = first;
        first.setBottomMargin(0);
        rest.setTopMargin(0);
        rest.setTextIndent(0);
        const int division = divisionOf(block);
        cursor.setPosition(division);
        cursor.setBlockFormat(first);
        if (document->characterAt(division - 1) == QChar::LineSeparator)
            cursor.deletePreviousChar(); // the end of the paragraph ends the line
        cursor.insertBlock(rest);
    }
    cursor.endEditBlock();
}

} // namespace tarn::visualized::notespage
