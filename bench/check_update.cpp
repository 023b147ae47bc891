// check_update: the check-update prompt and the update notes, beside a bare dialog. Orders, one a line; times are
// milliseconds from the posted request, mapping is what the X server tells:
//   prompt ROWS    time to mapping, time until all its rows are there
//   bare           time to mapping of an empty dialog of the prompt's size and flags
//   notes BYTES    time to mapping, time until the first text is there, time until all of it is, longest event on the GUI
//                  thread from the request on
// It loads no client library: nothing is asked of a service here.

#include "Mapping.h"
#include "TimedApplication.h"
#include "frame/ManagerAccess.h"
#include "frame/VisualizedManager.h"
#include "tarn/core/BagArgs.h"
#include "tarn/upgrade/IUpgradeServiceArgs.h"
#include "upgrade/CUpdateItem.h"
#include "upgrade/CheckUpdateDial.h"
#include "upgrade/UpdateExplainDial.h"

#include <QTemporaryDir>
#include <QTextBlock>
#include <QTextBrowser>

#include <iostream>
#include <memory>
#include <sstream>
#include <utility>

namespace {

QVariantMap record(const QString &name, const QString &notes = {})
{
    return {{"软件名称", name},
            {"exe所在路径", "/bin/sh"},
            {"软件", QVariantMap{{"软件名称", name},
                                 {"升级版本", "2.0"},
                                 {"发布日期", "2026-05-01 10:00:00"},
                                 {"软件升级说明文件所在路径", notes}}}};
}

QSharedPointer<IUpgaredSoftInfoService_InputParam> request(const QVariantList &records)
{
    auto input = QSharedPointer<tarn::core::InputListArgs<IUpgaredSoftInfoService_InputParam>>::create();
    input->SetValueList(records);
    return input;
}

std::string prompt(XWatch &watch, int rows)
{
    QVariantList records;
    for (int i = 0; i < rows; ++i)
        records << record(QStringLiteral("产品%1").arg(i));
    const int64_t begin = nowNs();
    CManagerAccess::post(CVisualizedEvents::eShowAutoCheckUpdateDialog,
                         std::make_unique<CAutoCheckUpdateEveData>(request(records)));
    const double mapped = mappingAfter(watch, begin, QSize(410, 320));
    const int shown = std::min(rows, 200); // further products have no row
    waitUntil([&] { return theWindow<CCheckUpdateDial>()->findChildren<CUpdateItem *>().size() == shown; });
    const double complete = since(begin, nowNs());
    closeAll(watch);
    std::ostringstream out;
    out << mapped << ' ' << std::max(mapped, complete);
    return out.str();
}

std::string bare(XWatch &watch)
{
    const int64_t begin = nowNs();
    auto dialog = std::make_unique<QDialog>(nullptr, Qt::Tool | Qt::FramelessWindowHint);
    dialog->setAttribute(Qt::WA_ShowWithoutActivating);
    dialog->setFixedSize(410, 320);
    dialog->move(1180, 570);
    dialog->show();
    const double mapped = mappingAfter(watch, begin, QSize(410, 320));
    dialog.reset();
    closeAll(watch);
    return std::to_string(mapped);
}

QString notesFile(const QTemporaryDir &folder, int bytes)
{
    const QString path = folder.filePath(QStringLiteral("notes%1.html").arg(bytes));
    QFile file(path);
    if (!file.exists() && file.open(QIODevice::WriteOnly)) {
        const QByteArray line = QStringLiteral("<p><b>改进</b>：%1</p>\n")
                                    .arg(QStringLiteral("打开图纸的速度，以及 many more 的细节。").repeated(5))
                                    .toUtf8();
        file.write(line.repeated(bytes / line.size()) + "<p>END</p>");
    }
    return path;
}

std::string notes(XWatch &watch, TimedApplication &application, const QString &file)
{
    const auto input = request({record(QStringLiteral("产品"), file)});
    application.longestNs = 0;
    const int64_t begin = nowNs();
    CManagerAccess::post(CVisualizedEvents::eShowUpgradeExplainDialog, std::make_unique<CUpgradeExplainEveData>(input));
    const double mapped = mappingAfter(watch, begin, QSize(800, 500));
    auto *browser = theWindow<CUpdateExplainDial>()->findChild<QTextBrowser *>();
    waitUntil([&] { return !browser->document()->isEmpty(); });
    const double first = since(begin, nowNs());
    waitUntil([&] { return browser->document()->lastBlock().text() == QLatin1String("END"); });
    const double there = since(begin, nowNs());
    qreal height = -1; // the layout continues in small steps; all of them count
    waitUntil([&] {
        const qreal now = browser->document()->size().height();
        return now > 0 && std::exchange(height, now) == now;
    });
    const double longest = since(0, application.longestNs);
    closeAll(watch);
    std::ostringstream out;
    out << mapped << ' ' << first << ' ' << there << ' ' << longest;
    return out.str();
}

} // namespace

int main(int argc, char **argv)
{
    if (!qEnvironmentVariableIsSet("QT_XCB_GL_INTEGRATION"))
        qputenv("QT_XCB_GL_INTEGRATION", "none"); // as the host does
    qInstallMessageHandler([](QtMsgType, const QMessageLogContext &, const QString &) {});
    TimedApplication application(argc, argv);
    QApplication::setQuitOnLastWindowClosed(false);
    XWatch watch;
    const QTemporaryDir folder;
    if (!watch.start())
        return 1;
    std::cout << "ready" << std::endl;
    for (std::string line; std::getline(std::cin, line);) {
        std::istringstream words(line);
        std::string order;
        int number = 0;
        words >> order >> number;
        if (order == "prompt")
            std::cout << prompt(watch, number) << std::endl;
        else if (order == "notes")
            std::cout << notes(watch, application, notesFile(folder, number)) << std::endl;
        else
            std::cout << bare(watch) << std::endl;
    }
}
