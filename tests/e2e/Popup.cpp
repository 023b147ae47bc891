#include "e2e/Popup.h"

#include "support/Screenshot.h"
#include "support/XInput.h"

#include <QTest>

namespace {

bool isLinkColour(QRgb pixel)
{
    return qBlue(pixel) > 150 && qRed(pixel) < 90 && qGreen(pixel) < 140;
}

} // namespace

XClient popup::waitFor(quint32 notThis, int timeoutMs)
{
    XClient client;
    QImage last;
    const bool up = QTest::qWaitFor(
        [&] {
            client = xclients::byRole(Role, notThis);
            const QImage now = client.isNull() ? QImage() : screenshot::window(client.id);
            const bool rests = !now.isNull() && now == last;
            last = now;
            return rests;
        },
        timeoutMs);
    return up ? client : XClient();
}

bool popup::waitGone(quint32 id, int timeoutMs)
{
    return QTest::qWaitFor(
        [id] {
            for (const XClient &client : xclients::all()) {
                if (client.id == id)
                    return false;
            }
            return true;
        },
        timeoutMs);
}

QPoint popup::linkAt(const XClient &client)
{
    const QImage picture = screenshot::window(client.id);
    QRect ink;
    for (int y = picture.height() / 2; y < picture.height(); ++y) { // the link's row is the last one
        for (int x = 0; x < picture.width(); ++x) {
            if (isLinkColour(picture.pixel(x, y)))
                ink |= QRect(x, y, 1, 1);
        }
    }
    return ink.isEmpty() ? QPoint() : client.geometry.topLeft() + ink.center();
}

XClient popup::waitForWindow(const QString &role)
{
    XClient client;
    const auto isUp = [&] { return !(client = xclients::byRole(role)).isNull(); };
    return QTest::qWaitFor(isUp, 20000) ? client : XClient();
}

void popup::click(XInput *input, const XClient &window, const QPoint &place)
{
    const QPoint at = window.geometry.topLeft() + place;
    input->click(at.x(), at.y());
}
