// cloud_login: the sign-in dialog beside a bare one, and the GUI while a sign-in is being checked. Orders, one a line; times
// are milliseconds, mapping is what the X server tells:
//   dialog      from the posted request to the mapping; the service answers at once
//   bare        mapping of an empty dialog of the same size and flags
//   calls       the service calls that opening a dialog makes, alone
//   signin MS   presses the sign-in button; the service takes as long. Intervals between the ticks of a timer of 10 ms
//               meanwhile: how many, median, 99 of 100, longest
// It loads a client library without services.

#include "Mapping.h"
#include "frame/ManagerAccess.h"
#include "frame/VisualizedManager.h"
#include "frame/VtServiceClient.h"
#include "login/CloudCalls.h"
#include "login/YunLoginDlg.h"
#include "support/FakeClient.h"
#include "tarn/cloud/ICloudLoginNotify.h"
#include "tarn/core/BagArgs.h"

#include <QApplication>
#include <QLineEdit>
#include <QPushButton>
#include <QTimer>

#include <algorithm>
#include <iostream>
#include <memory>
#include <sstream>
#include <vector>

namespace {

constexpr int TickMs = 10;

void endRound(XWatch &watch)
{
    closeAll(watch);
    FakeClient::fake().reset();
}

void ask()
{
    auto input = QSharedPointer<tarn::core::InputArgs<ICloudService_InputArgs>>::create();
    CManagerAccess::post(CVisualizedEvents::eShowCloudLoginDialog,
                         std::make_unique<CCloudLoginEventData>(input, nullptr, false, 0));
}

double dialog(XWatch &watch, const QSize &size)
{
    const int64_t begin = nowNs();
    ask();
    const double mapped = mappingAfter(watch, begin, size);
    endRound(watch);
    return mapped;
}

double bare(XWatch &watch, const QSize &size)
{
    const int64_t begin = nowNs();
    auto window = std::make_unique<QDialog>(nullptr, Qt::Dialog | Qt::FramelessWindowHint);
    window->setFixedSize(size);
    window->show();
    const double mapped = mappingAfter(watch, begin, size);
    window.reset();
    endRound(watch);
    return mapped;
}

double calls()
{
    using namespace tarn::visualized;
    const int64_t begin = nowNs();
    call(service::cloud(), &ICloudServiceAssistant::GetLoginState, {});
    call(service::cloud(), &ICloudServiceAssistant::GetMemoryLoginInfo, {});
    for (int i = 0; i < 3; ++i)
        call(service::cloud(), &ICloudServiceAssistant::GetLinkAddress, {});
    return since(begin, nowNs());
}

std::string signIn(XWatch &watch, int milliseconds)
{
    FakeAnswer slow{4000};
    slow.delayMs = milliseconds;
    FakeClient::fake().queue(QStringLiteral("LoginByAccount"), slow);
    ask();
    waitUntil([] { return theWindow<CYunLoginDialog>() && theWindow<CYunLoginDialog>()->isVisible(); });
    for (const char *field : {"accountEdit", "passwordEdit"})
        theWindow<CYunLoginDialog>()->findChild<QLineEdit *>(QLatin1String(field))->setText(QStringLiteral("zhang"));
    std::vector<double> ticks;
    int64_t last = nowNs();
    QTimer timer;
    timer.setTimerType(Qt::PreciseTimer);
    QObject::connect(&timer, &QTimer::timeout, [&] {
        const int64_t now = nowNs();
        ticks.push_back(since(last, now));
        last = now;
    });
    timer.start(TickMs);
    theWindow<CYunLoginDialog>()->findChild<QPushButton *>(QStringLiteral("accountLoginButton"))->click();
    timer.stop();
    endRound(watch);
    std::sort(ticks.begin(), ticks.end());
    std::ostringstream out;
    out << ticks.size() << ' ' << ticks[ticks.size() / 2] << ' ' << ticks[ticks.size() * 99 / 100] << ' '
        << ticks.back();
    return out.str();
}

} // namespace

int main(int argc, char **argv)
{
    if (!qEnvironmentVariableIsSet("QT_XCB_GL_INTEGRATION"))
        qputenv("QT_XCB_GL_INTEGRATION", "none"); // as the host does
    FakeClient::install();
    qInstallMessageHandler([](QtMsgType, const QMessageLogContext &, const QString &) {});
    const QApplication application(argc, argv);
    QApplication::setQuitOnLastWindowClosed(false);
    XWatch watch;
    if (!watch.start())
        return 1;
    const QSize size = CYunLoginDialog().size();
    std::cout << "ready" << std::endl;
    for (std::string line; std::getline(std::cin, line);) {
        std::istringstream words(line);
        std::string order;
        int number = 0;
        words >> order >> number;
        if (order == "dialog")
            std::cout << dialog(watch, size) << std::endl;
        else if (order == "calls")
            std::cout << calls() << std::endl;
        else if (order == "signin")
            std::cout << signIn(watch, number) << std::endl;
        else
            std::cout << bare(watch, size) << std::endl;
    }
}
