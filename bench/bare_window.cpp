// bare_window: a Qt Widgets process with nothing in it, to compare with. Orders, one a line:
//   show WIDTH HEIGHT   posts an event that makes and shows a frameless window in the lower right corner; answers with the
//                       CLOCK_MONOTONIC nanoseconds of the posting
//   hide                deletes the window; "ok"

#include "Latencies.h"

#include <QApplication>
#include <QScreen>
#include <QWidget>

#include <iostream>
#include <memory>
#include <sstream>
#include <thread>

namespace {

std::unique_ptr<QWidget> makeWindow(const QSize &size)
{
    auto window = std::make_unique<QWidget>(nullptr, Qt::Tool | Qt::FramelessWindowHint);
    window->setAttribute(Qt::WA_ShowWithoutActivating);
    window->setWindowRole(QStringLiteral("BareWindow"));
    window->setFixedSize(size);
    const QRect area = QGuiApplication::primaryScreen()->availableGeometry();
    window->move(area.right() - 10 - size.width(), area.bottom() - 10 - size.height());
    window->show();
    return window;
}

void readOrders(std::unique_ptr<QWidget> *window)
{
    for (std::string line; std::getline(std::cin, line);) {
        std::istringstream words(line);
        std::string order;
        int width = 0, height = 0;
        words >> order;
        if (order == "show" && words >> width >> height) {
            std::cout << Latencies::now() << std::endl;
            QMetaObject::invokeMethod(
                qApp,
                [window, width, height] {
                    *window = makeWindow({width, height});
                },
                Qt::QueuedConnection);
        } else {
            QMetaObject::invokeMethod(
                qApp, [window] { window->reset(); }, Qt::BlockingQueuedConnection);
            std::cout << "ok" << std::endl;
        }
    }
    QMetaObject::invokeMethod(qApp, &QCoreApplication::quit, Qt::QueuedConnection);
}

} // namespace

int main(int argc, char **argv)
{
    if (!qEnvironmentVariableIsSet("QT_XCB_GL_INTEGRATION"))
        qputenv("QT_XCB_GL_INTEGRATION", "none"); // as the host does
    QApplication application(argc, argv);
    QApplication::setQuitOnLastWindowClosed(false);
    std::unique_ptr<QWidget> window;
    std::thread reader(readOrders, &window);
    std::cout << "ready" << std::endl;
    const int code = QApplication::exec();
    reader.join();
    return code;
}
