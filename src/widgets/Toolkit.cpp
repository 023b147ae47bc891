#include "widgets/Toolkit.h"
#include "base/Log.h"
#include "widgets/ForeignWindow.h"
#include "widgets/Picture.h"
#include "widgets/Placement.h"
#include "widgets/dpitoolkit.h"
#include <QGuiApplication>
#include <QIcon>
#include <QLabel>
#include <QScreen>
#include <QWindow>

using namespace tarn::visualized;

namespace ServiceVisualized {

double CToolkit::GetDpiRate(QWidget *)
{
    return qGuiApp ? std::max(1.0, qGuiApp->devicePixelRatio()) : 1.0;
}

void CToolkit::UpdateWidthAndHeight(QWidget *w, int &width, int &height)
{
    const QSize available = placement::availableFor(w).size();
    width = std::min(Utils::DpiToolkit::dpiScaled(width, w), available.width());
    height = std::min(Utils::DpiToolkit::dpiScaled(height, w), available.height());
}

void CToolkit::SetDlgToScreenCenter(QWidget *dlg, QScreen *screen)
{
    if (!screen)
        screen = QGuiApplication::primaryScreen();
    if (!dlg || !screen)
        return;
    const QPoint position = placement::screenCentre(screen->availableGeometry(), dlg->geometry());
    dlg->move(position);
    VT_LOG(debug) << QStringLiteral("移动窗口(%1)位置到：QPoint(%2,%3)")
                         .arg(QString::fromLatin1(dlg->metaObject()->className()), QString::number(position.x()),
                              QString::number(position.y()));
}

void CToolkit::MoveToParentCenter(QWidget *dlg, void *parentWindow, int offset)
{
    if (!dlg || !parentWindow)
        return;
    const double ratio = GetDpiRate(dlg);
    QRect parent;
    const foreign::Read read = foreign::readWindow(reinterpret_cast<quintptr>(parentWindow), &parent);
    if (read == foreign::Read::NoDisplay)
        VT_LOG(critical) << QStringLiteral("XOpenDisplay error.");
    else if (read == foreign::Read::NoAttributes)
        VT_LOG(warning) << QStringLiteral("XGetWindowAttributes error");
    else if (read == foreign::Read::NoTranslation)
        VT_LOG(warning) << QStringLiteral("XTranslateCoordinates error");
    if (read != foreign::Read::Ok)
        return;
    VT_LOG(info) << QStringLiteral("DPI:%1 L:%2 T:%3")
                        .arg(QString::number(ratio), QString::number(parent.x()), QString::number(parent.y()));
    // Qt scales the size of a screen, not its origin.
    QPoint origin;
    double scale = ratio;
    const QList<QScreen *> screens = QGuiApplication::screens();
    for (const QScreen *screen : screens) {
        const QRect area = screen->geometry();
        if (QRect(area.topLeft(), area.size() * screen->devicePixelRatio()).contains(parent.center())) {
            origin = area.topLeft();
            scale = std::max(1.0, screen->devicePixelRatio());
        }
    }
    dlg->setGeometry(placement::overForeign(parent.translated(-origin), scale, placement::settledSize(dlg), offset)
                         .translated(origin));
}

void CToolkit::SetLabelIconPicture(QLabel *label, const QIcon &icon, const QSize &size)
{
    if (!label)
        return;
    QWindow *window = label->window()->windowHandle();
    label->setPixmap(window ? icon.pixmap(window, size) : icon.pixmap(size));
}

void CToolkit::SetLabelIconPicture(QLabel *label, const QString &path, const QSize &size)
{
    if (label)
        label->setPixmap(picture::load(path, size, label->devicePixelRatioF()));
}

} // namespace ServiceVisualized
