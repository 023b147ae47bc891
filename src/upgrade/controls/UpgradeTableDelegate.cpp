#include "upgrade/controls/UpgradeTableDelegate.h"
#include "upgrade/controls/LazyCell.h"
#include <QAbstractItemView>
#include <QPainter>

namespace upgrade::controls {

void CUpgradeTableDelegate::paint(QPainter *painter, const QStyleOptionViewItem &option, const QModelIndex &index) const
{
    QStyledItemDelegate::paint(painter, option, index);
    drawRowLines(painter, getRowLines(option, index), borderColor);
    const auto *view = qobject_cast<const QAbstractItemView *>(option.widget);
    if (auto *cell = dynamic_cast<LazyCell *>(view->indexWidget(index)))
        cell->ensureBuilt(); // Qt paints the cells after the table
}

void CUpgradeTableDelegate::updateEditorGeometry(QWidget *editor, const QStyleOptionViewItem &option,
                                                 const QModelIndex &) const
{
    editor->setGeometry(option.rect.adjusted(0, 1, 0, -1));
}

void CUpgradeTableDelegate::initStyleOption(QStyleOptionViewItem *option, const QModelIndex &index) const
{
    QStyledItemDelegate::initStyleOption(option, index);
    if (!isHoveredRow(index))
        return;
    option->palette.setBrush(QPalette::Text, hoveredForeground);
    option->palette.setBrush(QPalette::HighlightedText, hoveredForeground);
    option->backgroundBrush = hoveredBackground;
}

bool CUpgradeTableDelegate::isHoveredRow(const QModelIndex &index) const
{
    return hoverEnabled && index.isValid() && index.row() == hoveredRow;
}

QVector<QLine> CUpgradeTableDelegate::getRowLines(const QStyleOptionViewItem &option, const QModelIndex &index) const
{
    // A line with a flat cap does not paint its last point.
    const QRect cell = option.rect.adjusted(0, 0, 1, 0);
    QVector<QLine> lines{QLine(cell.bottomLeft(), cell.bottomRight())};
    if (isHoveredRow(index))
        lines.append(QLine(cell.topLeft(), cell.topRight()));
    return lines;
}

void CUpgradeTableDelegate::drawRowLines(QPainter *painter, const QVector<QLine> &lines, const QColor &color)
{
    painter->save();
    painter->setPen(QPen(color, 1, Qt::SolidLine, Qt::FlatCap, Qt::MiterJoin));
    painter->drawLines(lines);
    painter->restore();
}

} // namespace upgrade::controls
