// The upgrade table's rows: placing and removing many at once, and building only the cells that are seen.
#include "upgrade/controls/SoftInfoItem.h"
#include "upgrade/controls/UpgradeProgress.h"
#include "upgrade/controls/UpgradeTableWidget.h"
#include "upgrade/operate/RowKeys.h"
#include <QHash>
#include <QResizeEvent>
#include <algorithm>

namespace upgrade::controls {

namespace {
constexpr int RowsBeforeShown = 16; // built before the table is on the screen: more than the window shows
} // namespace

QWidget *CUpgradeTableWidget::createSoftInfoWidget(const QVariant &row)
{
    return new CSoftInfoItem(row, viewport(), CSoftInfoItem::Build::WhenSeen);
}

QWidget *CUpgradeTableWidget::createDownloadWidget(const QVariant &row)
{
    auto *progress = new CUpgradeProgress(row, viewport(), CUpgradeProgress::Build::WhenSeen);
    connect(progress, &CUpgradeProgress::cancelDownload, this, &CUpgradeTableWidget::onCancelDownload);
    return progress;
}

// Rows are collected and inserted together: the cost of one insertion grows with the number of rows that are there.
void CUpgradeTableWidget::place(const QString &name, const QVariant &row)
{
    const QMutexLocker locker(&m_rowsLock);
    const int index = m_placed.isEmpty() ? rowCount() : m_placed.lastKey() + 1;
    QWidget *progress = createDownloadWidget(row);
    m_placed.insert(index, {createSoftInfoWidget(row), progress});
    m_progressByName.insert(name, progress);
    m_rowByName.insert(name, index);
}

void CUpgradeTableWidget::unplace(const QString &name)
{
    const QMutexLocker locker(&m_rowsLock);
    const auto row = m_rowByName.find(name);
    if (row == m_rowByName.end())
        return;
    m_unplaced.insert(*row);
    m_rowByName.erase(row);
    m_progressByName.remove(name);
}

void CUpgradeTableWidget::flush()
{
    const bool renumber = !m_unplaced.isEmpty();
    if (!renumber && m_placed.isEmpty())
        return;
    insertPlaced();
    removeUnplaced();
    if (renumber)
        updateRowIndex();
    updateSeenRows();
}

void CUpgradeTableWidget::insertPlaced()
{
    const auto placed = m_placed;
    m_placed.clear();
    setRowCount(rowCount() + placed.size());
    for (auto it = placed.cbegin(); it != placed.cend(); ++it) {
        setCellWidget(it.key(), 0, it->first);
        setCellWidget(it.key(), 1, it->second);
    }
}

void CUpgradeTableWidget::removeUnplaced()
{
    QList<int> rows = m_unplaced.values();
    m_unplaced.clear();
    std::sort(rows.begin(), rows.end());
    int lowest = -1;
    while (!rows.isEmpty()) {
        const int last = rows.takeLast();
        int first = last;
        while (!rows.isEmpty() && rows.constLast() == first - 1)
            first = rows.takeLast();
        model()->removeRows(first, last - first + 1);
        lowest = first;
    }
    if (lowest >= 0)
        keepRowSelected(lowest);
}

void CUpgradeTableWidget::keepRowSelected(int row)
{
    if (rowCount() == 0 || selectionModel()->hasSelection())
        return;
    const QModelIndex index = model()->index(std::min(row, rowCount() - 1), 0);
    selectionModel()->select(index, QItemSelectionModel::Select | QItemSelectionModel::Rows);
}

void CUpgradeTableWidget::updateRowIndex()
{
    if (rowCount() == 0) {
        emit sigCloseDialog();
        return;
    }
    const QMutexLocker locker(&m_rowsLock);
    QHash<QWidget *, QString> names;
    names.reserve(m_progressByName.size());
    for (auto it = m_progressByName.cbegin(); it != m_progressByName.cend(); ++it)
        names.insert(it.value(), it.key());
    m_rowByName.clear();
    for (int row = 0; row < rowCount(); ++row) {
        const auto name = names.constFind(cellWidget(row, 1));
        if (name != names.cend())
            m_rowByName.insert(*name, row);
    }
}

void CUpgradeTableWidget::updateSeenRows()
{
    const int firstBefore = m_firstSeen;
    const int lastBefore = m_lastSeen;
    m_firstSeen = isVisible() ? std::max(0, rowAt(0)) : 0;
    const int bottom = isVisible() ? rowAt(viewport()->height() - 1) : RowsBeforeShown - 1;
    m_lastSeen = std::min(bottom < 0 ? rowCount() - 1 : bottom, rowCount() - 1);
    for (int row = firstBefore; row <= std::min(lastBefore, rowCount() - 1); ++row) {
        if (row < m_firstSeen || row > m_lastSeen)
            setRowSeen(row, false);
    }
    for (int row = m_firstSeen; row <= m_lastSeen; ++row)
        setRowSeen(row, true);
}

void CUpgradeTableWidget::setRowSeen(int row, bool seen)
{
    if (auto *info = qobject_cast<CSoftInfoItem *>(cellWidget(row, 0)))
        info->setSeen(seen);
    if (auto *progress = qobject_cast<CUpgradeProgress *>(cellWidget(row, 1)))
        progress->setSeen(seen);
}

void CUpgradeTableWidget::scrollContentsBy(int dx, int dy)
{
    QTableWidget::scrollContentsBy(dx, dy);
    updateSeenRows();
}

void CUpgradeTableWidget::resizeEvent(QResizeEvent *event)
{
    QTableWidget::resizeEvent(event);
    updateSeenRows();
}

void CUpgradeTableWidget::showEvent(QShowEvent *event)
{
    QTableWidget::showEvent(event);
    updateSeenRows();
}

} // namespace upgrade::controls
