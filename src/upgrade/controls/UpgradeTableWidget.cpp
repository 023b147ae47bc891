#include "upgrade/controls/UpgradeTableWidget.h"
#include "tarn/keys/UpgradeKeys.h"
#include "upgrade/UpgradeCalls.h"
#include "upgrade/controls/SoftInfoItem.h"
#include "upgrade/controls/UpgradeProgress.h"
#include "upgrade/operate/UpgradeDataRefresh.h"
#include "widgets/BringToFront.h"
#include "widgets/CustomMessageBox.h"
#include "widgets/Look.h"
#include "widgets/ShownText.h"
#include <QHeaderView>
#include <QHoverEvent>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QScrollBar>
#include <QSet>
#include <algorithm>
#include <utility>

using namespace tarn::visualized;

namespace upgrade::controls {

namespace {
namespace state = tarn::upgrade::state;

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
    return look::thinScrollBars(QString(), 10, QStringLiteral("transparent"), QStringLiteral("#D5D9DF"), w);
}

QString nameOf(const QVariant &row)
{
    return row.toMap().value(row::SoftName).toString();
}

int statusOf(const QVariant &row)
{
    return row.toMap().value(row::TaskStatus).toInt();
}

QString shownNames(const QStringList &names)
{
    QStringList shown;
    for (const QString &name : names)
        shown.append(text::literal(text::brief(name)));
    return shown.join(QStringLiteral("、"));
}

/// Returns the text for screen readers, which see the items and not the widgets of cells.
class CellItem final : public QTableWidgetItem
{
public:
    QVariant data(int role) const override
    {
        if (role != Qt::AccessibleTextRole)
            return QTableWidgetItem::data(role);
        const QTableWidget *table = tableWidget();
        const auto *cell = table ? dynamic_cast<const LazyCell *>(table->cellWidget(row(), column())) : nullptr;
        return cell ? cell->spokenText() : QString();
    }
};
} // namespace

CUpgradeTableWidget::CUpgradeTableWidget(QWidget *parent)
    : QTableWidget(parent)
    , m_delegate(new CUpgradeTableDelegate(this))
{
    setObjectName(QStringLiteral("upgradeTable"));
    setAccessibleName(QStringLiteral("正在升级的软件"));
    setItemDelegate(m_delegate);
    setHoverRowEnabled(true);
    verticalHeader()->setDefaultSectionSize(look::scaled(30, this));
    InitTableStyleSheets();
    connect(this, &QTableWidget::itemSelectionChanged, this, &CUpgradeTableWidget::followSelection);
}

void CUpgradeTableWidget::InitTableStyleSheets()
{
    setFocusPolicy(Qt::NoFocus);
    setSelectionBehavior(QAbstractItemView::SelectRows);
    setSelectionMode(QAbstractItemView::SingleSelection);
    QPalette white = palette(); // independent of the desktop's colours
    white.setColor(QPalette::Window, Qt::white);
    white.setColor(QPalette::Base, Qt::white);
    setPalette(white);
    setStyleSheet(tableSheet());
    verticalHeader()->setDefaultSectionSize(look::scaled(65, this));
    verticalHeader()->setSectionResizeMode(QHeaderView::Fixed);
    verticalHeader()->setVisible(false);
    setShowGrid(false);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setVerticalScrollMode(QAbstractItemView::ScrollPerPixel);
    verticalScrollBar()->setStyleSheet(scrollBarSheet(this));
    setHoveredRowBorderColor(QColor(QStringLiteral("gainsboro")));
}

void CUpgradeTableWidget::FillTableHeader(const QList<QPair<QString, int>> &columns)
{
    setColumnCount(columns.size());
    for (int column = 0; column < columns.size(); ++column) {
        setHorizontalHeaderItem(column, new QTableWidgetItem(columns.at(column).first));
        setColumnWidth(column, look::scaled(columns.at(column).second, this));
    }
    setEditTriggers(QAbstractItemView::NoEditTriggers);
    QHeaderView *header = horizontalHeader();
    header->setDefaultAlignment(Qt::AlignLeft | Qt::AlignVCenter);
    header->setStretchLastSection(true);
    header->setSectionsClickable(false);
    header->setSectionResizeMode(QHeaderView::Fixed);
    header->setHighlightSections(false);
    header->setMinimumHeight(look::scaled(35, this));
    header->setFont(look::yaHeiZh(12, QFont::Bold, this));
    header->setStyleSheet(headerSheet(this));
}

void CUpgradeTableWidget::setHoverRowEnabled(bool enabled)
{
    viewport()->setAttribute(Qt::WA_Hover, enabled);
    repainted()->hoverEnabled = enabled;
}

void CUpgradeTableWidget::onRefreshUpgradeDtats(QVariant datas)
{
    const QList<QVariant> rows = datas.toList();
    if (rows.isEmpty())
        return;
    const QPointer<CUpgradeTableWidget> self(this);
    QVector<Cells> added;
    QMap<QString, QVariant> cancelled; // by name, removed at once
    QList<QVariant> downloaded;
    QList<QVariant> ended; // removed after the report about the failed ones
    for (const QVariant &row : rows) {
        const QString name = nameOf(row);
        const int status = statusOf(row);
        if (status == state::Downloading || status == state::Downloaded || status == state::Installing) {
            showRow(name, row, &added);
            cancelled.remove(name); // restarted: it keeps its row
            if (status == state::Downloaded)
                downloaded.append(row);
        } else if (cancelled.contains(name) || !m_progressByName.contains(name)) {
            continue;
        } else if (status == state::Cancelled) {
            cancelled.insert(name, row);
        } else if (status == state::DownloadFailed || status == state::InstallFailed || status == state::Installed) {
            ended.append(row);
        }
    }
    insertCells(added); // before any removal: a table that gets a row must not report that it is empty
    deleteRows(cancelled.values());
    startInstallations(downloaded);
    if (self && !errorReportShowing)
        reportAndRemove(ended);
}

void CUpgradeTableWidget::addRows(const QList<QVariant> &rows)
{
    QVector<Cells> added;
    for (const QVariant &row : rows)
        showRow(nameOf(row), row, &added);
    insertCells(added);
    startInstallations(rows);
}

// Cells of a new row are added to the list; insertCells() puts them into the table.
void CUpgradeTableWidget::showRow(const QString &name, const QVariant &row, QVector<Cells> *added)
{
    const QMutexLocker locker(&m_rowsLock);
    CUpgradeProgress *&cell = m_progressByName[name];
    if (cell) {
        cell->setUpgradeInfo(row);
    } else {
        cell = static_cast<CUpgradeProgress *>(createDownloadWidget(row));
        added->append(Cells(createSoftInfoWidget(row), cell));
    }
    cell->hasEnded = false;
}

// All new rows together: the cost of one insertion grows with the number of rows.
void CUpgradeTableWidget::insertCells(const QVector<Cells> &added)
{
    const int before = rowCount();
    setRowCount(before + added.size());
    const QSignalBlocker quiet(model()); // each item would be a changed cell, laid out at once
    for (int i = 0; i < added.size(); ++i) {
        setItem(before + i, 0, new CellItem);
        setItem(before + i, 1, new CellItem);
        setCellWidget(before + i, 0, added.at(i).first);
        setCellWidget(before + i, 1, added.at(i).second);
    }
    executeDelayedItemsLayout(); // now, so that every cell has its place when it is first painted
}

// Comes after the rows are shown, since the call blocks and may ask a question first.
void CUpgradeTableWidget::startInstallations(const QList<QVariant> &rows)
{
    const QPointer<CUpgradeTableWidget> self(this);
    for (auto row = rows.cbegin(); self && row != rows.cend(); ++row) {
        const CUpgradeProgress *progress = m_progressByName.value(nameOf(*row));
        if (progress && progress->status() == state::Downloaded)
            updateRow(*row);
    }
}

void CUpgradeTableWidget::reportAndRemove(QList<QVariant> ended)
{
    const QPointer<CUpgradeTableWidget> self(this);
    QMap<int, QStringList> names; // by status
    for (const QVariant &row : qAsConst(ended)) {
        names[statusOf(row)].append(nameOf(row));
        if (CUpgradeProgress *progress = m_progressByName.value(nameOf(row)))
            progress->hasEnded = true;
    }
    showErrorDialog(names.value(state::DownloadFailed), names.value(state::InstallFailed));
    if (!self)
        return;
    const auto runsAgain = [this](const QVariant &row) {
        const CUpgradeProgress *progress = m_progressByName.value(nameOf(row));
        return progress && !progress->hasEnded;
    };
    ended.erase(std::remove_if(ended.begin(), ended.end(), runsAgain), ended.end());
    deleteRows(ended);
}

void CUpgradeTableWidget::showErrorDialog(const QStringList &downloadFailed, const QStringList &installFailed)
{
    errorReportShowing = true;
    const QPointer<CUpgradeTableWidget> self(this);
    QStringList parts;
    if (!downloadFailed.isEmpty())
        parts << shownNames(downloadFailed) + QStringLiteral("下载出错");
    if (!installFailed.isEmpty())
        parts << shownNames(installFailed) + QStringLiteral("用户取消安装或安装出错");
    if (!parts.isEmpty()) {
        if (m_parentDlg)
            front::raiseOnce(m_parentDlg);
        CstmMessageBox(QStringLiteral("提示"), parts.join(QStringLiteral("；")) + QStringLiteral("。"), eTipNormal,
                       this);
    }
    if (self)
        errorReportShowing = false;
}

void CUpgradeTableWidget::updateRow(const QVariant &row)
{
    if (CUpgradeProgress *progress = m_progressByName.value(nameOf(row)))
        progress->updateUpgradeInfo(row);
}

void CUpgradeTableWidget::deleteRows(const QList<QVariant> &rows)
{
    QSet<const QWidget *> cells;
    for (const QVariant &row : rows) {
        const QMutexLocker locker(&m_rowsLock);
        if (const QWidget *cell = m_progressByName.take(nameOf(row)))
            cells.insert(cell);
    }
    QVector<int> indices; // ascending
    for (int row = 0; !cells.isEmpty() && row < rowCount(); ++row) {
        if (cells.contains(cellWidget(row, 1)))
            indices.append(row);
    }
    if (indices.isEmpty())
        return;
    const int lowest = indices.constFirst();
    for (int row : qAsConst(indices))
        releaseFocus(row);
    while (!indices.isEmpty()) { // neighbouring rows together, the last ones first
        const int last = indices.takeLast();
        int first = last;
        while (!indices.isEmpty() && indices.constLast() == first - 1)
            first = indices.takeLast();
        model()->removeRows(first, last - first + 1);
    }
    if (rowCount() > 0 && !selectionModel()->hasSelection())
        selectionModel()->select(model()->index(std::min(lowest, rowCount() - 1), 0),
                                 QItemSelectionModel::Select | QItemSelectionModel::Rows);
    updateRowIndex();
}

void CUpgradeTableWidget::updateRowIndex()
{
    if (rowCount() == 0)
        emit sigCloseDialog();
}

void CUpgradeTableWidget::onCancelDownload(QVariant info)
{
    // The row that asked can be deleted during the question; the map has all that is needed of it.
    const QString name = info.toMap().value(row::CtrlSoftName).toString();
    if (m_parentDlg) {
        m_parentDlg->showNormal();
        m_parentDlg->activateWindow();
    }
    const int answer =
        CQuestionMessageBox(QStringLiteral("提示"), QStringLiteral("确定要取消升级吗？"), this, QStringLiteral("是"),
                            QStringLiteral("否"), eBoxOrigin::AskedFor, text::brief(name));
    if (answer == 1)
        upgradecalls::stop(__func__, name);
}

void CUpgradeTableWidget::stopAllTask()
{
    for (const bool isInstalling : {false, true}) { // last, since the service answers when their files are back
        for (int row = 0; row < rowCount(); ++row) {
            CUpgradeProgress *progress = progressAt(row);
            if (progress && (progress->status() == state::Installing) == isInstalling)
                progress->cancelDownloadTask();
        }
    }
    setRowCount(0);
    const QMutexLocker locker(&m_rowsLock);
    m_progressByName.clear();
}

QWidget *CUpgradeTableWidget::createSoftInfoWidget(const QVariant &row)
{
    return new CSoftInfoItem(row, viewport());
}

QWidget *CUpgradeTableWidget::createDownloadWidget(const QVariant &row)
{
    auto *progress = new CUpgradeProgress(row, viewport());
    connect(progress, &CUpgradeProgress::cancelDownload, this, &CUpgradeTableWidget::onCancelDownload);
    return progress;
}

CUpgradeProgress *CUpgradeTableWidget::progressAt(int row) const
{
    return qobject_cast<CUpgradeProgress *>(cellWidget(row, 1));
}

bool CUpgradeTableWidget::focusTask(bool next)
{
    const int focused = focusedRow();
    const int step = next ? 1 : -1;
    for (int row = focused >= 0 ? focused + step : (next ? 0 : rowCount() - 1); row >= 0 && row < rowCount();
         row += step) {
        CUpgradeProgress *progress = progressAt(row);
        if (!progress || !progress->canBeCancelled())
            continue;
        scrollTo(model()->index(row, 0));
        progress->focusCancelButton();
        selectRow(row);
        return true;
    }
    return false;
}

int CUpgradeTableWidget::focusedRow() const
{
    const QWidget *focus = window()->focusWidget();
    if (!focus || !viewport()->isAncestorOf(focus))
        return -1;
    return rowAt(focus->mapTo(viewport(), focus->rect().center()).y());
}

// Hiding or deleting the focused button would move the focus to the next row's, where a late key presses it.
void CUpgradeTableWidget::releaseFocus(int row)
{
    const QWidget *cell = cellWidget(row, 1);
    if (cell && cell->isAncestorOf(window()->focusWidget()))
        front::neutralFocus(window());
}

// The focus never stays behind in a row that is not highlighted.
void CUpgradeTableWidget::followSelection()
{
    const QModelIndexList selected = selectionModel()->selectedRows();
    const int focused = focusedRow();
    if (focused < 0 || selected.isEmpty() || selected.constFirst().row() == focused)
        return;
    CUpgradeProgress *progress = progressAt(selected.constFirst().row());
    if (progress && progress->canBeCancelled())
        progress->focusCancelButton();
    else
        releaseFocus(focused);
}

void CUpgradeTableWidget::keyPressEvent(QKeyEvent *event)
{
    if (event->key() == Qt::Key_Down || event->key() == Qt::Key_Up)
        focusTask(event->key() == Qt::Key_Down);
    else
        event->ignore(); // also Tab, which the view would keep from the buttons of its cells
}

bool CUpgradeTableWidget::viewportEvent(QEvent *event)
{
    const QEvent::Type type = event->type();
    const auto enter = [this](const QPoint &pos) { onCellEntered(rowAt(pos.y()), columnAt(pos.x())); };
    if (type == QEvent::MouseMove)
        enter(static_cast<QMouseEvent *>(event)->pos());
    else if (type == QEvent::HoverEnter || type == QEvent::HoverMove)
        enter(static_cast<QHoverEvent *>(event)->pos());
    else if (type == QEvent::Leave || type == QEvent::HoverLeave || type == QEvent::FocusOut)
        onCellEntered(-1, -1);
    return QTableWidget::viewportEvent(event);
}

void CUpgradeTableWidget::onCellEntered(int row, int column)
{
    const QPoint entered(column, row);
    if (m_hoveredCell == entered)
        return;
    const QPoint left = std::exchange(m_hoveredCell, entered);
    emit sigCellLeave(left.y(), left.x());
    repainted()->hoveredRow = row;
}

} // namespace upgrade::controls
