#pragma once
#include "upgrade/controls/UpgradeTableDelegate.h"
#include <QHash>
#include <QMutex>
#include <QPointer>
#include <QTableWidget>

namespace upgrade::controls {

class CUpgradeProgress;

/// The running upgrade tasks: one row per product, merged from the polls of the refresher. GUI thread.
///
/// A merge can show questions and a report. Their event loops run further merges, close the window or delete this table.
/// After such a loop a merge leaves alone the products of which a newer poll reported another state.
class CUpgradeTableWidget final : public QTableWidget
{
    Q_OBJECT
public:
    explicit CUpgradeTableWidget(QWidget *parent = nullptr);

    int getTaskInfoCount() const { return rowCount(); }

    void FillTableHeader(const QList<QPair<QString, int>> &columns); ///< header text and width in design pixels
    void setParentDlg(QWidget *dlg) { m_parentDlg = dlg; }           ///< raised for reports and questions
    void setHoverRowEnabled(bool enabled);
    void setAlwaysMouseTracking(bool tracking)
    {
        setMouseTracking(tracking);
        viewport()->update();
    }
    void setHoveredRowForeground(const QBrush &brush) { repainted()->hoveredForeground = brush; }
    void setHoveredRowBackground(const QBrush &brush) { repainted()->hoveredBackground = brush; }
    void setHoveredRowBorderColor(const QColor &color) { repainted()->borderColor = color; }

    // Display rows (UpgradeDataRefresh.h); rows of unknown names are ignored by update and delete.
    void addRows(const QList<QVariant> &rows); ///< updates the rows that exist; installs the finished downloads
    void deleteRows(const QList<QVariant> &rows);
    void addRow(const QVariant &row) { addRows({row}); }
    void updateRow(const QVariant &row);
    void deleteRow(const QVariant &row) { deleteRows({row}); }
    void updateRowIndex(); ///< emits sigCloseDialog() if no row is left
    void stopAllTask();    ///< asks the service to stop every task and empties the table; no sigCloseDialog()
    void showErrorDialog(const QStringList &downloadFailed, const QStringList &installFailed);

    QWidget *createSoftInfoWidget(const QVariant &row);
    QWidget *createDownloadWidget(const QVariant &row);

    /// Moves the focus to the cancel button of the next or previous row that has one, starting at the focused row, or
    /// without one before the first or after the last row. False when there is no such row.
    bool focusTask(bool next);

public slots:
    void onRefreshUpgradeDtats(QVariant datas); // the misspelt name is the system's own
    void onCellEntered(int row, int column);
    void onCancelDownload(QVariant info);

signals:
    void sigCellLeave(int row, int column);
    void sigCloseDialog();

protected:
    bool viewportEvent(QEvent *event) override;
    void keyPressEvent(QKeyEvent *event) override;

private slots:
    void followSelection();

private:
    using Cells = QPair<QWidget *, QWidget *>; ///< of one row

    CUpgradeTableDelegate *repainted() ///< schedules a repaint of the table and returns its delegate
    {
        viewport()->update();
        return m_delegate;
    }
    void InitTableStyleSheets();
    void showRow(const QString &name, const QVariant &row, QVector<Cells> *added);
    void insertCells(const QVector<Cells> &added);
    void startInstallations(const QList<QVariant> &rows);
    void reportAndRemove(QList<QVariant> ended);
    CUpgradeProgress *progressAt(int row) const;
    int focusedRow() const; ///< -1 if the focus is outside of the rows
    void releaseFocus(int row);

    CUpgradeTableDelegate *m_delegate = nullptr;
    QHash<QString, CUpgradeProgress *> m_progressByName; ///< the widgets in column 1
    QMutex m_rowsLock;                                   ///< guards the map; never held where a window can be shown
    bool errorReportShowing = false;
    QPointer<QWidget> m_parentDlg;
    QPoint m_hoveredCell{-1, -1}; ///< column, row
};

} // namespace upgrade::controls
