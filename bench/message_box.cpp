// message_box: opens windows of one kind in this process and measures them. Orders, one a line; the answer is two numbers,
// the milliseconds from the call to the mapping and, where half of the window was drawn within the wait, to that:
//   bare       a QDialog with the flags and the size of a notice and nothing in it
//   notice     a message box          question   a question box
//   window     an empty dialog brought to the front on its QWindow
//   widget     the same with the same steps on its QWidget

#include "XWatch.h"
#include "widgets/BringToFront.h"
#include "widgets/CustomMessageBox.h"

#include <QApplication>
#include <QWindow>

#include <iostream>
#include <memory>
#include <string>

using namespace tarn::visualized;

namespace {

constexpr int WaitMs = 3000;

QString text()
{
    return QStringLiteral("软件管理由岚川软件助手提供，请先安装最新版本岚川软件助手。");
}

std::unique_ptr<QDialog> bare()
{
    static const QSize size = CustomMessageBox(QString(), text(), eTipNormal, nullptr).size();
    auto dialog = std::make_unique<QDialog>(nullptr, Qt::Dialog | Qt::FramelessWindowHint);
    dialog->setFixedSize(size);
    return dialog;
}

void frontByWidget(QWidget *window)
{
    window->setWindowFlag(Qt::WindowStaysOnTopHint, true);
    window->show();
    window->setWindowFlag(Qt::WindowStaysOnTopHint, false);
    window->show();
    window->raise();
    window->activateWindow();
}

std::unique_ptr<QDialog> open(const std::string &kind)
{
    std::unique_ptr<QDialog> dialog;
    if (kind == "notice")
        dialog = std::make_unique<CustomMessageBox>(QStringLiteral("提示"), text(), eTipNormal, nullptr);
    else if (kind == "question")
        dialog = std::make_unique<QuestionMessageBox>(QStringLiteral("提示"), text(), nullptr);
    else
        dialog = bare();
    if (kind == "window")
        front::raiseOnce(dialog.get());
    else if (kind == "widget")
        frontByWidget(dialog.get());
    else
        dialog->show();
    return dialog;
}

// The window that stays: bringing up by the widget makes two.
double measure(XWatch &watch, const std::string &kind, double *drawn)
{
    bare(); // the reference size is known before the clock runs
    watch.reset();
    const int64_t start = nowNs();
    const std::unique_ptr<QDialog> dialog = open(kind);
    const auto isBig = [&](const XWindowRecord &window) {
        return window.width >= dialog->width() && window.unmapped == 0 && window.mapped > start;
    };
    XWindowRecord found;
    while (!watch.waitFor([&](const XWindowRecord &window) { return isBig(window) && window.painted > start; }, &found,
                          1) &&
           nowNs() - start < WaitMs * 1000000LL)
        QCoreApplication::processEvents();
    *drawn = double(found.painted - start) / 1e6;
    const double mapped = double(found.mapped - start) / 1e6;
    dialog->close();
    for (int64_t end = nowNs() + 60 * 1000000LL; nowNs() < end;) // the window manager's own cleaning up
        QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
    return mapped;
}

} // namespace

int main(int argc, char **argv)
{
    QApplication application(argc, argv);
    QApplication::setQuitOnLastWindowClosed(false);
    XWatch watch;
    if (!watch.start())
        return 1;
    std::cout << "ready" << std::endl;
    for (std::string kind; std::getline(std::cin, kind);) {
        double drawn = 0;
        const double mapped = measure(watch, kind, &drawn);
        std::cout << mapped << ' ' << drawn << std::endl;
    }
    return 0;
}
