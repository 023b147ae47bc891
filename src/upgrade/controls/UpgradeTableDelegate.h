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

    void setHoverRowEnabled(bool enabled) { m_hoverEnabled = enabled; }
    void setHoveredRowForeground(const QBrush &brush) { m_hoveredForeground = brush; }
    void setHoveredRowBackground(const QBrush &brush) { m_hoveredBackground = brush; }
    void setHoveredRowBorderColor(const QColor &color) { m_borderColor = color; }
    void setHoveredRow(int row) { m_hoveredRow = row; } ///< -1 for none

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

    bool m_hoverEnabled = false;
    QBrush m_hoveredForeground{QColor(0x33, 0x33, 0x33)};
    QBrush m_hoveredBackground{QColor(0xF7, 0xFA, 0xFD)};
    QColor m_borderColor{Qt::lightGray};
    int m_hoveredRow = -1;
};

} // namespace upgrade::controls
