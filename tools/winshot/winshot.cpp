// winshot ROLE FILE.png [TIMEOUT_MS [OTHER_ID]]: waits for a visible window with this role (other than OTHER_ID), until it
// is drawn and its picture rests, saves the picture and prints the window's id. Exit 1: no such window in time.
// winshot --close ID: asks that window to close.

#include "support/XClients.h"
#include "winshot/Screenshot.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QTextStream>
#include <QThread>

namespace {

constexpr unsigned long PauseMs = 80;

bool isBlank(const QImage &image)
{
    const QRgb first = image.pixel(0, 0);
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x) {
            if (image.pixel(x, y) != first)
                return false;
        }
    }
    return true;
}

// The picture of the window once two looks in a row agree and show something; null when the time is over.
QImage restingPicture(const QString &role, quint32 notThis, int timeoutMs, quint32 *id)
{
    QElapsedTimer timer;
    timer.start();
    QImage last;
    while (timer.elapsed() < timeoutMs) {
        const XClient client = xclients::byRole(role, notThis);
        const QImage picture = client.isNull() ? QImage() : screenshot::window(client.id);
        if (!picture.isNull() && picture == last && !isBlank(picture)) {
            *id = client.id;
            return picture;
        }
        last = picture;
        QThread::msleep(PauseMs);
    }
    return {};
}

} // namespace

int main(int argc, char **argv)
{
    const QCoreApplication application(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    if (arguments.size() == 3 && arguments.at(1) == QLatin1String("--close")) {
        xclients::requestClose(arguments.at(2).toUInt());
        return 0;
    }
    if (arguments.size() < 3) {
        QTextStream(stderr) << "usage: winshot ROLE FILE.png [TIMEOUT_MS [OTHER_ID]] | winshot --close ID\n";
        return 2;
    }
    const int timeoutMs = arguments.size() > 3 ? arguments.at(3).toInt() : 10000;
    quint32 id = 0;
    const QImage picture = restingPicture(arguments.at(1), arguments.value(4).toUInt(), timeoutMs, &id);
    if (!screenshot::save(picture, arguments.at(2)))
        return 1;
    QTextStream(stdout) << id << '\n';
    return 0;
}
