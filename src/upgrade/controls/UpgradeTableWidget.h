#pragma once
#include <QMap>
#include <QMutex>
#include <QPair>
#include <QPointer>
#include <QSet>
#include <QTableWidget>
#include <QVariant>

namespace upgrade::controls {

class CUpgradeProgress;
class CUpgradeTableDelegate;

/// The running upgrade tasks: one row per product, merged from the pictures that the refresher brings. GUI thread.
///
/// A merge can show questions and a report, whose event loops bring further merges, a closing window or the end of this
/// table. So every picture has a number, and what a merge still wants to do after such a loop holds only as far as no
/// newer picture says otherwise.
class CUpgradeTableWidget final : public QTableWidget
{
    Q_OBJECT
public:
    explicit CUpgradeTableWidget(QWidget *parent = nullptr);

    int getTaskInfoCount() const { return rowCount(); }

    void FillTableHeader(const QList<QPair<QString, int>> &columns); ///< header text and width in design pixels
    void setParentDlg(QWidget *dlg) { m_parentDlg = dlg; }           ///< brought up by reports and questions
    void setHoverRowEnabled(bool enabled);
    void setAlwaysMouseTracking(bool tracking);
    void setHoveredRowForeground(const QBrush &brush);
    void setHoveredRowBackground(const QBrush &brush);
    void setHoveredRowBorderColor(const QColor &color);

    // Display rows (RowKeys.h); rows of unknown names are ignored by update and delete.
    void addRows(const QList<QVariant> &rows);
    void deleteRows(const QList<QVariant> &rows);
    void addRow(const QVariant &row); ///< updates the row if the product has one
    void updateRow(const QVariant &row);
    void deleteRow(const QVariant &row);
    void updateRowIndex(); ///< emits sigCloseDialog() if no row is left
    void stopAllTask();    ///< asks the service to stop every task and empties the table; no sigCloseDialog()
    void showErrorDialog(const QStringList &downloadFailed, const QStringList &installFailed);

    QWidget *createSoftInfoWidget(const QVariant &row);
    QWidget *createDownloadWidget(const QVariant &row);

public slots:
    void onRefreshUpgradeDtats(QVariant datas); // the misspelt name is the system's own
    void onCellEntered(int row, int column);
    void onCancelDownload(QVariant info);

signals:
    void sigCellLeave(int row, int column);
    void sigCloseDialog();

protected:
    bool viewportEvent(QEvent *event) override;
    void scrollContentsBy(int dx, int dy) override;
    void resizeEvent(QResizeEvent *event) override;
    void showEvent(QShowEvent *event) override;

private:
    struct Merge; ///< what one picture asks for

    void InitTableStyleSheets();
    void sortIn(const QVariant &row, Merge *merge);
    void takeLiveRow(const QString &name, const QVariant &row, Merge *merge);
    void startInstallations(const Merge &merge);
    void reportAndRemove(Merge *merge);
    void dropOvertaken(Merge *merge) const;

    void place(const QString &name, const QVariant &row);
    void unplace(const QString &name);
    void flush();
    void removeUnplaced();
    void insertPlaced();
    void keepRowSelected(int row);
    CUpgradeProgress *progressOf(const QString &name) const;

    void updateSeenRows();
    void setRowSeen(int row, bool seen);
    void updateHoveredRow(int row);

    CUpgradeTableDelegate *m_delegate = nullptr;
    QMap<QString, QWidget *> m_progressByName; ///< the row's identity: its widget in column 1
    QMap<QString, int> m_rowByName;
    QMutex m_rowsLock; ///< guards the two maps; never held where a window can be shown
    bool errorReportShowing = false;
    QPointer<QWidget> m_parentDlg;

    quint64 m_picture = 0; ///< number of the newest picture of the tasks; an emptied table counts as one
    QMap<int, QPair<QWidget *, QWidget *>> m_placed; ///< cells of rows that are still to be inserted, by row
    QSet<int> m_unplaced;                            ///< rows that are still to be removed or not to be inserted
    int m_firstSeen = 0;
    int m_lastSeen = -1;
    QPoint m_hoveredCell{-1, -1}; ///< column, row
};

} // namespace upgrade::controls
