#include "widgets/TextMenu.h"
#include "widgets/Look.h"
#include <QMenu>
#include <QScrollBar>
#include <QTextEdit>

namespace tarn::visualized {
namespace {

void showMenu(QTextEdit *view, const QPoint &position)
{
    const bool selected = view->textCursor().hasSelection();
    if (!selected && !view->anchorAt(position).isEmpty())
        return;
    QMenu *menu = look::newMenu(view);
    menu->setAttribute(Qt::WA_DeleteOnClose);
    menu->addAction(QStringLiteral("复制"), view, &QTextEdit::copy)->setEnabled(selected);
    menu->addAction(QStringLiteral("全选"), view, &QTextEdit::selectAll)->setEnabled(!view->document()->isEmpty());
    menu->popup(view->viewport()->mapToGlobal(position));
}

} // namespace

void addTextMenu(QTextEdit *view)
{
    view->setContextMenuPolicy(Qt::CustomContextMenu);
    QObject::connect(view, &QWidget::customContextMenuRequested, view,
                     [view](const QPoint &position) { showMenu(view, position); });
    removeScrollBarMenus(view);
}

// Prevented and not merely switched off: else the text would show its menu for them.
void removeScrollBarMenus(QAbstractScrollArea *area)
{
    area->verticalScrollBar()->setContextMenuPolicy(Qt::PreventContextMenu);
    area->horizontalScrollBar()->setContextMenuPolicy(Qt::PreventContextMenu);
}

} // namespace tarn::visualized
