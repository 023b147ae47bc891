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
    TaskMerge() = default;
    /// @param shown the products that have a row, by name; the end of any other product's task is ignored
    TaskMerge(const QList<QVariant> &rows, const QMap<QString, QWidget *> &shown);

    QList<QVariant> live;       ///< downloading, downloaded or installing: shown
    QList<QVariant> cancelled;  ///< removed at once
    QList<QVariant> ended;      ///< removed after the report about the failed ones among them
    QStringList downloadFailed; ///< names
    QStringList installFailed;  ///< names
};

/// The report about failed tasks, ready for a message box; empty without names.
QString failureReport(const QStringList &downloadFailed, const QStringList &installFailed);

} // namespace upgrade::controls
