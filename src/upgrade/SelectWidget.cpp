#include "upgrade/SelectWidget.h"
#include <QEvent>

namespace {
// Look
QString rowSheet()
{
    return QStringLiteral("background-color:#fbfdff;border:none;border-radius:5px;");
}

QString rowSelectedSheet()
{
    return QStringLiteral("background-color:#F7F8FC;border:1px solid rgb(48,134,213);border-radius:5px;");
}
} // namespace

CSelectWidget::CSelectWidget(QWidget *row)
    : QWidget(row)
{
    setAttribute(Qt::WA_StyledBackground); // a plain widget paints no sheet
    setAttribute(Qt::WA_TransparentForMouseEvents);
    row->installEventFilter(this);
}

// One rule for all rows: a sheet on each of them costs more than the rest of the row.
QString CSelectWidget::sheet()
{
    return QStringLiteral("CSelectWidget{%1}").arg(rowSheet());
}

bool CSelectWidget::eventFilter(QObject *watched, QEvent *event)
{
    if (event->type() == QEvent::MouseButtonPress)
        setStyleSheet(rowSelectedSheet());
    else if (event->type() == QEvent::FocusOut)
        setStyleSheet(rowSheet());
    return QWidget::eventFilter(watched, event);
}
