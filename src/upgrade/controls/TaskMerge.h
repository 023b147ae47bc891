#pragma once
#include <QList>
#include <QMap>
#include <QStringList>
#include <QVariant>

class QWidget;

namespace upgrade::controls {

/// The tasks of one poll, sorted by the table's answer to them. Rows are display rows (RowKeys.h). Pure data.
struct TaskMerge
{
    /// @param shown the products that have a row, by name; the end of any other product's task is ignored
    TaskMerge(const QList<QVariant> &rows, const QMap<QString, QWidget *> &shown);

    QList<QVariant> live;              ///< downloading, downloaded or installing: shown
    QMap<QString, QVariant> cancelled; ///< by name, removed at once
    QList<QVariant> ended;             ///< removed after the report about the failed ones among them
};

/// The names of the rows in this state.
QStringList namesIn(int status, const QList<QVariant> &rows);
/// The report about failed tasks, ready for a message box; empty without names.
QString failureReport(const QStringList &downloadFailed, const QStringList &installFailed);

} // namespace upgrade::controls
