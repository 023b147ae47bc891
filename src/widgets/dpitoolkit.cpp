#include "widgets/dpitoolkit.h"
#include "widgets/Placement.h"
#include <QApplication>
#include <QScreen>
#include <QWidget>

using namespace tarn::visualized;

namespace Utils {

int DpiToolkit::getDPI(const QWidget *w)
{
    if (QCoreApplication::testAttribute(Qt::AA_Use96Dpi))
        return placement::DesignDpi;
    const QScreen *screen = placement::screenOf(w);
    return screen ? placement::roundHalfUp(screen->logicalDotsPerInch()) : placement::DesignDpi;
}

int DpiToolkit::dpiScaled(int value, const QWidget *w)
{
    return placement::scaled(value, getDPI(w));
}

} // namespace Utils
