#pragma once
#include <QBrush>
#include <QColor>
#include <QLine>
#include <QStyledItemDelegate>
#include <QVector>

namespace upgrade::controls {

/// Paints the background of the upgrade table's cells: row lines and the row under the cursor. Builds the cells that come
/// into sight. GUI thread.
class CUpgradeTableDelegate final : public QStyledItemDelegate
{
    Q_OBJECT
public:
    using QStyledItemDelegate::QStyledItemDelegate;

    // Set by the table, which repaints itself:
    bool hoverEnabled = false;
    QBrush hoveredForeground{QColor(0x33, 0x33, 0x33)};
    QBrush hoveredBackground{QColor(0xF7, 0xFA, 0xFD)};
    QColor borderColor{Qt::lightGray};
    int hoveredRow = -1; ///< -1 for none

    void paint(QPainter *painter, const QStyleOptionViewItem &option, const QModelIndex &index) const override;
    /// A cell's widget does not cover the row lines.
    void updateEditorGeometry(QWidget *editor, const QStyleOptionViewItem &option,
                              const QModelIndex &index) const override;

protected:
    void initStyleOption(QStyleOptionViewItem *option, const QModelIndex &index) const override;

private:
    bool isHoveredRow(const QModelIndex &index) const;
    QVector<QLine> getRowLines(const QStyleOptionViewItem &option, const QModelIndex &index) const;
    static void drawRowLines(QPainter *painter, const QVector<QLine> &lines, const QColor &color);
};

} // namespace upgrade::controls
