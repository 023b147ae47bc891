#include "widgets/Placement.h"
#include <QGuiApplication>
#include <QScreen>
#include <QWidget>
#include <QWindow>
#include <algorithm>
#include <cmath>
#include <limits>

namespace placement {

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

QPoint screenCentre(const QRect &available, const QRect &dialog)
{
    return QPoint(((available.right() - available.left()) - (dialog.right() - dialog.left())) / 2,
                  ((available.bottom() - available.top()) - (dialog.bottom() - dialog.top())) / 2);
}

QRect overForeign(const ForeignGeometry &parent, double ratio, const QSize &dialog, int offset)
{
    const int left = roundHalfUp(parent.x / ratio);
    const int top = roundHalfUp(parent.y / ratio);
    const int x = left + (int(parent.width / ratio) - dialog.width()) / 2 - offset;
    const int y = top + (int(parent.height / ratio) - dialog.height()) / 2 - offset;
    return QRect(QPoint(x, y), dialog);
}

} // namespace placement
