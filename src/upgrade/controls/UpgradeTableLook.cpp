#include "upgrade/controls/UpgradeTableLook.h"
#include "widgets/Look.h"
#include <QHeaderView>
#include <QScrollBar>
#include <QTableWidget>

namespace upgrade::controls::tablelook {

namespace {
// Metrics (design pixels at 96 DPI)
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
    return look::thinScrollBars(QString(), ScrollBarWidth, QStringLiteral("transparent"), QStringLiteral("#D5D9DF"), w);
}
} // namespace

void prepare(QTableWidget *table)
{
    table->setFocusPolicy(Qt::NoFocus);
    table->setTabKeyNavigation(false); // the view would keep the Tab of its cells' buttons
    table->setSelectionBehavior(QAbstractItemView::SelectRows);
    table->setSelectionMode(QAbstractItemView::SingleSelection);
    QPalette white = table->palette(); // independent of the desktop's colours
    white.setColor(QPalette::Window, Qt::white);
    white.setColor(QPalette::Base, Qt::white);
    table->setPalette(white);
    table->setStyleSheet(tableSheet());
    table->verticalHeader()->setDefaultSectionSize(look::scaled(RowHeight, table));
    table->verticalHeader()->setSectionResizeMode(QHeaderView::Fixed);
    table->verticalHeader()->setVisible(false);
    table->setShowGrid(false);
    table->setVerticalScrollBarPolicy(Qt::ScrollBarAsNeeded);
    table->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    table->setVerticalScrollMode(QAbstractItemView::ScrollPerPixel);
    table->verticalScrollBar()->setStyleSheet(scrollBarSheet(table));
    table->horizontalScrollBar()->setStyleSheet(scrollBarSheet(table));
}

void prepareHeader(QTableWidget *table, const QList<QPair<QString, int>> &columns)
{
    table->setColumnCount(columns.size());
    for (int column = 0; column < columns.size(); ++column) {
        auto *text = new QTableWidgetItem(columns.at(column).first);
        text->setTextAlignment(Qt::AlignLeft | Qt::AlignVCenter);
        table->setHorizontalHeaderItem(column, text);
        table->setColumnWidth(column, look::scaled(columns.at(column).second, table));
    }
    table->setEditTriggers(QAbstractItemView::NoEditTriggers);
    QHeaderView *header = table->horizontalHeader();
    header->setStretchLastSection(true);
    header->setSectionsClickable(false);
    header->setSectionResizeMode(QHeaderView::Fixed);
    header->setHighlightSections(false);
    header->setMinimumHeight(look::scaled(HeaderHeight, table));
    header->setFont(look::yaHeiZh(12, QFont::Bold, table));
    header->setStyleSheet(headerSheet(table));
}

} // namespace upgrade::controls::tablelook
