#include "upgrade/controls/CustomScrollarea.h"
#include "widgets/Look.h"
#include <QEvent>
#include <QScrollBar>

using namespace tarn::visualized;

namespace upgrade::controls {

namespace {
// Look
QString areaSheet(const QWidget *w)
{
    const QString name = QStringLiteral("upgrade--controls--CCustomScrollArea");
    return name + QStringLiteral("{border:none;background-color:transparent;}") +
           look::thinScrollBars(name, 10, QStringLiteral("#f0f0f0"), QStringLiteral("#c8ccd2"), w);
}
} // namespace

CCustomScrollArea::CCustomScrollArea(QWidget *parent, QWidget *content)
    : QScrollArea(parent)
{
    InitScrollArea();
    setWidget(content);
}

void CCustomScrollArea::InitScrollArea()
{
    setWidgetResizable(true);
    setFocusPolicy(Qt::NoFocus);
    setStyleSheet(areaSheet(this));
}

bool CCustomScrollArea::eventFilter(QObject *watched, QEvent *event)
{
    const auto isOnEdge = [&](const QWidget *bar, Qt::CursorShape shape) {
        return watched == bar && event->type() == QEvent::MouseButtonPress && bar->cursor().shape() == shape;
    };
    if (!watched || !event || isOnEdge(verticalScrollBar(), Qt::SizeVerCursor) ||
        isOnEdge(horizontalScrollBar(), Qt::SizeHorCursor))
        return true;
    return QScrollArea::eventFilter(watched, event);
}

} // namespace upgrade::controls
