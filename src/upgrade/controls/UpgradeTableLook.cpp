// The upgrade table's look: header, style, and the row under the cursor.
#include "upgrade/controls/UpgradeTableDelegate.h"
#include "upgrade/controls/UpgradeTableWidget.h"
#include "widgets/Look.h"
#include <QHeaderView>
#include <QHoverEvent>
#include <QMouseEvent>
#include <QScrollBar>

namespace upgrade::controls {

namespace {
// Metrics (design pixels at 96 DPI)
constexpr int SectionSize = 30;
constexpr int RowHeight = 65;
constexpr int HeaderHeight = 35;
constexpr int ScrollBarWidth = 10;
// Look
QString tableSheet()
{
    return QStringLiteral("border:none;selection-background-color:rgb(235,245,254);selection-color:black;");
}

QString headerSheet(const QWidget *w)
{
    return QStringLiteral("QHeaderView{background-color:rgb(246,246,246);border:none;}"
                          "QHeaderView::section{background-color:rgb(246,246,246);border:none;color:#333333;"
                          "padding-left:%1;}"
                          "QHeaderView::up-arrow,QHeaderView::down-arrow{image:none;width:0px;height:0px;}")
        .arg(look::px(16, w));
}

QString scrollBarSheet(const QWidget *w)
{
    return QStringLiteral("QScrollBar:vertical{border:none;background:transparent;width:%1;margin:0px;}"
                          "QScrollBar:horizontal{border:none;background:transparent;height:%1;margin:0px;}"
                          "QScrollBar::handle{background:#D5D9DF;border-radius:%2;}"
                          "QScrollBar::handle:vertical{min-height:%3;}"
                          "QScrollBar::handle:horizontal{min-width:%3;}"
                          "QScrollBar::add-line,QScrollBar::sub-line{width:0px;height:0px;}"
                          "QScrollBar::add-page,QScrollBar::sub-page{background:none;}")
        .arg(look::px(ScrollBarWidth, w), look::px(ScrollBarWidth / 2, w), look::px(24, w));
}
} // namespace

CUpgradeTableWidget::CUpgradeTableWidget(QWidget *parent)
    : QTableWidget(parent)
    , m_delegate(new CUpgradeTableDelegate(this))
{
    setObjectName(QStringLiteral("upgradeTable"));
    setItemDelegate(m_delegate);
    setHoverRowEnabled(true);
    verticalHeader()->setDefaultSectionSize(look::scaled(SectionSize, this));
    InitTableStyleSheets();
}

void CUpgradeTableWidget::InitTableStyleSheets()
{
    setFocusPolicy(Qt::NoFocus);
    setSelectionBehavior(QAbstractItemView::SelectRows);
    setSelectionMode(QAbstractItemView::SingleSelection);
    QPalette white = palette(); // whatever the desktop's colours are
    white.setColor(QPalette::Window, Qt::white);
    white.setColor(QPalette::Base, Qt::white);
    setPalette(white);
    setStyleSheet(tableSheet());
    verticalHeader()->setDefaultSectionSize(look::scaled(RowHeight, this));
    verticalHeader()->setSectionResizeMode(QHeaderView::Fixed);
    verticalHeader()->setVisible(false);
    setShowGrid(false);
    setVerticalScrollBarPolicy(Qt::ScrollBarAsNeeded);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setVerticalScrollMode(QAbstractItemView::ScrollPerPixel);
    verticalScrollBar()->setStyleSheet(scrollBarSheet(this));
    horizontalScrollBar()->setStyleSheet(scrollBarSheet(this));
    setHoveredRowBorderColor(QColor(QStringLiteral("gainsboro")));
}

void CUpgradeTableWidget::FillTableHeader(const QList<QPair<QString, int>> &columns)
{
    setColumnCount(columns.size());
    for (int column = 0; column < columns.size(); ++column) {
        auto *header = new QTableWidgetItem(columns.at(column).first);
        header->setTextAlignment(Qt::AlignLeft | Qt::AlignVCenter);
        setHorizontalHeaderItem(column, header);
        setColumnWidth(column, look::scaled(columns.at(column).second, this));
    }
    setEditTriggers(QAbstractItemView::NoEditTriggers);
    QHeaderView *header = horizontalHeader();
    header->setStretchLastSection(true);
    header->setSectionsClickable(false);
    header->setSectionResizeMode(QHeaderView::Fixed);
    header->setHighlightSections(false);
    header->setMinimumHeight(look::scaled(HeaderHeight, this));
    header->setFont(look::yaHeiZh(12, QFont::Bold, this));
    header->setStyleSheet(headerSheet(this));
    verticalHeader()->setDefaultSectionSize(look::scaled(RowHeight, this));
}

void CUpgradeTableWidget::setHoverRowEnabled(bool enabled)
{
    m_delegate->setHoverRowEnabled(enabled);
    viewport()->setAttribute(Qt::WA_Hover, enabled);
    viewport()->update();
}

void CUpgradeTableWidget::setAlwaysMouseTracking(bool tracking)
{
    setMouseTracking(tracking);
    viewport()->update();
}

void CUpgradeTableWidget::setHoveredRowForeground(const QBrush &brush)
{
    m_delegate->setHoveredRowForeground(brush);
    viewport()->update();
}

void CUpgradeTableWidget::setHoveredRowBackground(const QBrush &brush)
{
    m_delegate->setHoveredRowBackground(brush);
    viewport()->update();
}

void CUpgradeTableWidget::setHoveredRowBorderColor(const QColor &color)
{
    m_delegate->setHoveredRowBorderColor(color);
    viewport()->update();
}

bool CUpgradeTableWidget::viewportEvent(QEvent *event)
{
    switch (event->type()) {
    case QEvent::MouseMove: {
        const QPoint pos = static_cast<QMouseEvent *>(event)->pos();
        onCellEntered(rowAt(pos.y()), columnAt(pos.x()));
        break;
    }
    case QEvent::HoverEnter:
    case QEvent::HoverMove: {
        const QPoint pos = static_cast<QHoverEvent *>(event)->pos();
        onCellEntered(rowAt(pos.y()), columnAt(pos.x()));
        break;
    }
    case QEvent::Leave:
    case QEvent::HoverLeave:
    case QEvent::FocusOut:
        onCellEntered(-1, -1);
        break;
    default:
        break;
    }
    return QTableWidget::viewportEvent(event);
}

void CUpgradeTableWidget::onCellEntered(int row, int column)
{
    const QPoint entered(column, row);
    if (m_hoveredCell == entered)
        return;
    const QPoint left = m_hoveredCell;
    m_hoveredCell = entered;
    emit sigCellLeave(left.y(), left.x());
    if (m_delegate->hoveredRow() == row)
        return;
    updateHoveredRow(m_delegate->hoveredRow());
    m_delegate->setHoveredRow(row);
    updateHoveredRow(row);
}

void CUpgradeTableWidget::updateHoveredRow(int row)
{
    if (row >= 0 && row < rowCount())
        viewport()->update(0, rowViewportPosition(row), viewport()->width(), rowHeight(row));
}

} // namespace upgrade::controls
