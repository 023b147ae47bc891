// The silent patch installation dialog, alone and owned by the manager. TARN_SILENT_CYCLES for a longer run.
#include "frame/VisualizedOperateManager.h"
#include "upgrade/BoxScript.h"
#include "upgrade/SilentRequests.h"
#include <QDir>
#include <QMovie>
#include <QRandomGenerator>
#include <QScreen>
#include <thread>
#include <vector>

using silent::LongWork;
using silent::request;
using silent::send;
using silent::visibleDialogs;

namespace {
const QVariantMap NoPatch{{"升级文件在本地的路径", "/none"}};

CVisualizedManager *manager()
{
    return CVisualizedManager::GetInstance();
}

// The operation's answer to an RPC thread.
int ask(const QVariantMap &values)
{
    const auto output = args::output<args::PatchOut>();
    CVisualizedOperateManager().showSilentPatchInstallDialog(args::input<args::PatchIn>(values), output);
    return output->GetValue("静默补丁安装状态").toInt();
}

int query(const QString &name)
{
    return ask({{"软件名称", name}, {"是否静默补丁安装状态获取", true}});
}

int threadsOfThisProcess()
{
    return QDir("/proc/self/task").entryList(QDir::Dirs | QDir::NoDotAndDotDot).size();
}

void processDeletions()
{
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    QCoreApplication::processEvents();
}
} // namespace

class tst_silent_dialog : public QObject
{
    Q_OBJECT
private slots:
    void cleanup();
    void looks();
    void oneWorkerHoweverOftenItIsBuilt();
    void withoutANameNothingBegins();
    void retries();
    void deathsUnderTheQuestion();
    void sameNameTwice();
    void manyNamesAtOnce();
    void showAndFinishInRow();
};

void tst_silent_dialog::cleanup()
{
    CVisualizedManager::FreeInstance(); // also while workers run
    QVERIFY(visibleDialogs().isEmpty());
}

void tst_silent_dialog::looks()
{
    const LongWork longWork;
    CInstallSilentPatchDlg dialog(request("云杉绘图"), manager(), nullptr);
    QVERIFY(dialog.isVisible() && dialog.minimumSize() == dialog.maximumSize());
    QVERIFY(!dialog.testAttribute(Qt::WA_QuitOnClose)); // else it would end the host, as the last window
    QCOMPARE(dialog.size(), QSize(400, 60));
    QCOMPARE(dialog.windowRole(), QString("CInstallSilentPatchDlg"));
    const QRect screen = QGuiApplication::primaryScreen()->availableGeometry();
    QVERIFY((dialog.geometry().center() - screen.center()).manhattanLength() <= 2);
    QCOMPARE(dialog.findChild<QLabel *>("progressText")->text(), QString("云杉绘图正在安装更新，请稍候..."));
    const auto *animation = dialog.findChild<QLabel *>("progressAnimation");
    QCOMPARE(animation->movie()->state(), QMovie::Running);
    QCOMPARE(animation->movie()->currentPixmap().size(), animation->size());
    QCOMPARE(dialog.grab().toImage().pixelColor(animation->geometry().topLeft()), QColor("#F8F8F8")); // no own frame
    QTest::keyClick(&dialog, Qt::Key_Escape);
    QVERIFY(dialog.isVisible());
    for (const QString &name : {QString(200000, QChar(0x4E2D)), QString("<h1>甲</h1>"), QString("甲\n乙\n丙\n丁")}) {
        CInstallSilentPatchDlg hostile(request(name), manager(), nullptr);
        const auto *shown = hostile.findChild<QLabel *>("progressText");
        QVERIFY(hostile.size() == QSize(400, 60) && shown->textFormat() == Qt::PlainText);
        QVERIFY(shown->text().startsWith(name.at(0)) && shown->text().count('\n') <= 1);
        QVERIFY(shown->text().remove('\n').endsWith("正在安装更新，请稍候..."));
        QVERIFY(shown->toolTip().size() < 1500 && shown->accessibleName().size() < 1500);
    }
}

void tst_silent_dialog::oneWorkerHoweverOftenItIsBuilt()
{
    const LogCatcher log;
    CInstallSilentPatchDlg dialog(request("甲"), manager(), nullptr);
    const int children = dialog.findChildren<QObject *>().size();
    dialog.InitDialog();
    QCOMPARE(dialog.findChildren<QObject *>().size(), children);
    QTRY_VERIFY(!dialog.isVisible()); // closed by its worker
    dialog.StartInstall();            // does nothing any more
    QCOMPARE(silent::workers(log), 1);
}

void tst_silent_dialog::withoutANameNothingBegins()
{
    const QString line("静默补丁安装时获取软件名称失败");
    manager()->setSilentPatchInstallState("", 2);
    for (const auto &input : {request({}), request(QVariantMap{{"a", 1}}), QSharedPointer<args::PatchIn>()}) {
        const LogCatcher log;
        CInstallSilentPatchDlg dialog(input, manager(), nullptr);
        QVERIFY(!dialog.isVisible() && silent::workers(log) == 0);
        QCOMPARE(log.find(line).function, QString("StartInstall"));
        send(input);
        QVERIFY(visibleDialogs().isEmpty());
    }
    QCOMPARE(manager()->getSilentPatchInstallState(""), 2); // not set to 1
}

// The system's own worker never asks this question; another one may.
void tst_silent_dialog::retries()
{
    const LongWork longWork;
    const LogCatcher log;
    const QString name("<a href=\"https://x\">&lt;</a>");
    CInstallSilentPatchDlg dialog(request(name), manager(), nullptr);
    BoxScript boxes({[&](QDialog *box) {
                         QCOMPARE(box->findChild<QLabel *>("messageText")->textFormat(), Qt::PlainText);
                         dialog.OnTimeOut(); // one question at a time
                         BoxScript::press(box, "重试");
                     },
                     [&](QDialog *box) {
                         QVERIFY(dialog.isVisible() && dialog.close());
                         QVERIFY(!box->isVisible());
                     }});
    dialog.OnTimeOut();
    QTRY_COMPARE(silent::workers(log), 2);
    QCOMPARE(query(name), 1);
    dialog.OnTimeOut();
    QVERIFY(boxes.isDone() && silent::workers(log) == 2);
    QCOMPARE(boxes.texts.first().remove(QChar(0x200B)), // where lines may break
             "检测到软件进程“" + name +
                 "”仍在运行，您可点击“重试”等待程序退出，或选择“立即升级”强制退出软件并立即升级。");
}

void tst_silent_dialog::deathsUnderTheQuestion()
{
    QPointer<CInstallSilentPatchDlg> dialog;
    const std::vector<std::function<void()>> deaths{[&] { delete dialog; }, [&] { dialog->close(); },
                                                    [] { send(request("甲")); }, &CVisualizedManager::FreeInstance};
    for (const auto &die : deaths) {
        const LongWork longWork;
        const LogCatcher log;
        send(request("甲"));
        dialog = visibleDialogs().value(0);
        BoxScript boxes({[&](QDialog *opened) {
            const QPointer<QDialog> box(opened);
            die();
            QTRY_VERIFY(!box || !box->isVisible());
        }});
        dialog->OnTimeOut();
        processDeletions();
        QVERIFY(boxes.isDone() && !dialog && !QApplication::activeModalWidget());
        const int open = visibleDialogs().size();
        CVisualizedManager::FreeInstance();
        QVERIFY(silent::workers(log) <= 1 + open);
    }
}

void tst_silent_dialog::sameNameTwice()
{
    const LongWork longWork;
    send(request("甲", NoPatch));
    const QPointer<CInstallSilentPatchDlg> first = visibleDialogs().value(0);
    send(request("甲"));
    const QPointer<CInstallSilentPatchDlg> second = visibleDialogs().value(0);
    QVERIFY(first && !first->isVisible() && second != first);
    QCOMPARE(query("甲"), 1);
    first->close(); // again: the name belongs to the second one now
    send(request("甲"));
    QVERIFY(!second->isVisible());
    QCOMPARE(visibleDialogs().size(), 1);
    processDeletions();
    QVERIFY(!first && !second);
}

void tst_silent_dialog::manyNamesAtOnce()
{
    const LogCatcher log;
    const int threads = threadsOfThisProcess();
    QStringList names{"Draw", "draw", " draw", "draw ", "dr aw", " "};
    while (names.size() < 32)
        names << QString::number(names.size());
    const LongWork longWork;
    for (const QString &name : qAsConst(names))
        send(request(name, name.size() % 2 ? QVariantMap() : NoPatch));
    QCOMPARE(visibleDialogs().size(), names.size());
    QTRY_VERIFY(threadsOfThisProcess() <= threads); // no thread outlives its work
    QCOMPARE(silent::workers(log), names.size());
    for (const QString &name : qAsConst(names))
        QVERIFY(query(name) == (name.size() % 2 ? 1 : 99) && query(name) == 1);
}

void tst_silent_dialog::showAndFinishInRow()
{
    const int cycles = qMax(500, qEnvironmentVariableIntValue("TARN_SILENT_CYCLES"));
    for (int i = 0; i < cycles; ++i) {
        send(request(QString::number(i % 7)));
        QEventLoop loop;
        connect(visibleDialogs().value(0), &QObject::destroyed, &loop, &QEventLoop::quit);
        loop.exec();
    }
}

QTEST_MAIN(tst_silent_dialog)
#include "tst_silent_dialog.moc"
