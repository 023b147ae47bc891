#pragma once
#include <QList>
#include <QPair>
#include <QString>

class QTableWidget;

/// The upgrade table's static look: sheets, sizes, scroll bars. GUI thread.
namespace upgrade::controls::tablelook {

void prepare(QTableWidget *table);
/// @param columns header text and width in design pixels
void prepareHeader(QTableWidget *table, const QList<QPair<QString, int>> &columns);

} // namespace upgrade::controls::tablelook
