#include "widgets/Placement.h"
#include "widgets/Toolkit.h"
#include <QGuiApplication>
#include <QScreen>
#include <QWidget>
#include <QWindow>
#include <algorithm>
#include <cmath>
#include <limits>

namespace tarn::visualized::placement {
namespace {

QScreen *nearestScreen(const QPoint &point)
{
    if (QScreen *under = QGuiApplication::screenAt(point))
        return under;
    const auto distance = [&point](const QScreen *screen) {
        const QRect area = screen->geometry();
        return qAbs(qint64(point.x()) - qBound(area.left(), point.x(), area.right())) +
               qAbs(qint64(point.y()) - qBound(area.top(), point.y(), area.bottom()));
    };
    const QList<QScreen *> screens = QGuiApplication::screens();
    const auto nearest =
        std::min_element(screens.cbegin(), screens.cend(),
                         [&](const QScreen *one, const QScreen *other) { return distance(one) < distance(other); });
    return nearest == screens.cend() ? nullptr : *nearest;
}

} // namespace

int roundHalfUp(double value)
{
    constexpr double Lowest = std::numeric_limits<int>::min();
    constexpr double Highest = std::numeric_limits<int>::max();
    return static_cast<int>(std::clamp(std::floor(value + 0.5), Lowest, Highest));
}

int scaled(int value, int dpi)
{
    return roundHalfUp(dpi / double(DesignDpi) * value);
}

QScreen *screenOf(const QWidget *w)
{
    const QWindow *window = w ? w->window()->windowHandle() : nullptr;
    return window ? window->screen() : QGuiApplication::primaryScreen();
}

QRect availableFor(const QWidget *w)
{
    const QScreen *screen = screenOf(w);
    return screen ? screen->availableGeometry() : QRect();
}

QRect inside(const QRect &window, const QRect &area)
{
    const auto fitted = [](int position, int length, int from, int room) {
        return qMax(from, qMin(position, from + room - length));
    };
    return QRect(QPoint(fitted(window.x(), window.width(), area.x(), area.width()),
                        fitted(window.y(), window.height(), area.y(), area.height())),
                 window.size());
}

QSize settledSize(const QWidget *window)
{
    return window->size().expandedTo(window->minimumSize()).boundedTo(window->maximumSize());
}

void keepOnScreen(QWidget *window)
{
    placeOnScreen(window, window->frameGeometry());
}

void placeOnScreen(QWidget *window, const QRect &place)
{
    const QScreen *screen = nearestScreen(place.center());
    window->move(screen ? inside(place, screen->availableGeometry()).topLeft() : place.topLeft());
}

void centreOnPrimary(QWidget *window)
{
    ServiceVisualized::CToolkit::SetDlgToScreenCenter(window);
    const QScreen *screen = QGuiApplication::primaryScreen();
    if (screen && !screen->availableGeometry().contains(window->geometry()))
        window->move(window->pos() + screen->availableGeometry().topLeft());
}

QPoint screenCentre(const QRect &available, const QRect &dialog)
{
    return QPoint(((available.right() - available.left()) - (dialog.right() - dialog.left())) / 2,
                  ((available.bottom() - available.top()) - (dialog.bottom() - dialog.top())) / 2);
}

QRect overForeign(const QRect &parent, double ratio, const QSize &dialog, int offset)
{
    const int x = roundHalfUp(parent.x() / ratio) + (int(parent.width() / ratio) - dialog.width()) / 2 - offset;
    const int y = roundHalfUp(parent.y() / ratio) + (int(parent.height() / ratio) - dialog.height()) / 2 - offset;
    return QRect(QPoint(x, y), dialog);
}

} // namespace tarn::visualized::placement
