// The silent patch installation dialog, alone and in the manager's hands.
#include "frame/VisualizedManager.h"
#include "frame/VisualizedOperateManager.h"
#include "support/LogCatcher.h"
#include "upgrade/BoxScript.h"
#include "upgrade/SilentRequests.h"
#include <QDir>
#include <QMovie>
#include <QRandomGenerator>
#include <QScreen>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <thread>
#include <vector>

using silent::LongWork;
using silent::request;
using silent::send;
using silent::visibleDialogs;

namespace {
CVisualizedManager *manager()
{
    return CVisualizedManager::GetInstance();
}

// What the operation answers, as an RPC thread asks it.
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

// One debug line per worker.
int workers(const LogCatcher &log)
{
    return log.texts(QtDebugMsg).filter("静默补丁安装：软件名称：").size();
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

// Which answer a sequence of calls for one name must get.
class StateModel
{
public:
    void set(int state) { m_state = state; }
    int query()
    {
        const int state = m_state;
        if (state != 1)
            m_state = 1;
        return state;
    }

private:
    int m_state = 1;
};
} // namespace

class tst_silent_dialog : public QObject
{
    Q_OBJECT
private slots:
    void cleanup();

    void looks();
    void longAndHostileNames_data();
    void longAndHostileNames();
    void builtOnce();
    void escapeIsSwallowed();
    void withoutANameNothingBegins();
    void retries();
    void deathsUnderTheQuestion_data();
    void deathsUnderTheQuestion();
    void sameNameTwice();
    void manyNamesAtOnce();
    void hostOutlivesItsLastWindow();
    void showAndFinishInRow();
    void statesFollowTheModel();
    void failuresAreToldOnceToTheirThread();
    void teardownWhileItWorks();
};

void tst_silent_dialog::cleanup()
{
    CVisualizedManager::FreeInstance();
    QVERIFY(visibleDialogs().isEmpty());
}

void tst_silent_dialog::looks()
{
    const LongWork longWork;
    CInstallSilentPatchDlg dialog(request("云杉绘图"), manager(), nullptr);
    QVERIFY(dialog.isVisible());
    QCOMPARE(dialog.size(), QSize(400, 60));
    QCOMPARE(dialog.minimumSize(), dialog.maximumSize());
    QCOMPARE(int(dialog.windowFlags() & (Qt::WindowType_Mask | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint)),
             int(Qt::Dialog | Qt::FramelessWindowHint));
    QCOMPARE(dialog.objectName(), QString("CInstallSilentPatchDlg"));
    QCOMPARE(dialog.windowRole(), QString("CInstallSilentPatchDlg"));
    QVERIFY(!dialog.windowTitle().isEmpty() && !dialog.testAttribute(Qt::WA_QuitOnClose));
    const QRect screen = QGuiApplication::primaryScreen()->availableGeometry();
    QVERIFY((dialog.geometry().center() - screen.center()).manhattanLength() <= 2);
    QCOMPARE(dialog.styleSheet(), QString("background-color:#F8F8F8;"));
    const auto *panel = dialog.findChild<QFrame *>("progressPanel");
    QCOMPARE(panel->styleSheet(), QString("border:1px solid #D9D9D9;background-color:transparent;"));
    QCOMPARE(panel->geometry(), dialog.rect());
    QCOMPARE(panel->layout()->contentsMargins(), QMargins(20, 10, 20, 10));
    const auto *text = panel->findChild<QLabel *>("progressText");
    QCOMPARE(text->text(), QString("云杉绘图正在安装更新，请稍候..."));
    QCOMPARE(text->styleSheet(), QString("color:#454D5A;border:none;"));
    QCOMPARE(text->font().family(), QString("Microsoft YaHei"));
    QCOMPARE(text->font().pixelSize(), 12);
    const auto *animation = panel->findChild<QLabel *>("progressAnimation");
    QCOMPARE(animation->movie()->fileName(), QString(":/image/progress.gif"));
    QCOMPARE(animation->movie()->state(), QMovie::Running);
    QCOMPARE(animation->movie()->currentPixmap().size(), animation->size());
    QVERIFY(text->geometry().right() < animation->geometry().left());
    const QImage picture = dialog.grab().toImage();
    QCOMPARE(picture.pixelColor(0, 30), QColor("#D9D9D9"));
    QCOMPARE(picture.pixelColor(10, 30), QColor("#F8F8F8"));
    const QPoint corner = animation->geometry().topLeft();
    QCOMPARE(picture.pixelColor(corner), QColor("#F8F8F8")); // no frame of its own
}

void tst_silent_dialog::longAndHostileNames_data()
{
    QTest::addColumn<QString>("name");
    QTest::newRow("two lines") << QString("面向多学科协同设计的结构与流体联合分析平台（教学版）");
    QTest::newRow("endless") << QString(200000, QChar(0x4E2D));
    QTest::newRow("markup") << QString("<h1>甲</h1><img src=/etc/passwd>");
    QTest::newRow("placeholders") << QString("%1%2%n");
    QTest::newRow("lines") << QString("甲\n乙\n丙\n丁");
}

void tst_silent_dialog::longAndHostileNames()
{
    QFETCH(QString, name);
    const LongWork longWork;
    CInstallSilentPatchDlg dialog(request(name), manager(), nullptr);
    const auto *text = dialog.findChild<QLabel *>("progressText");
    QCOMPARE(text->textFormat(), Qt::PlainText);
    QCOMPARE(dialog.size(), QSize(400, 60));
    QVERIFY(text->text().count(QChar('\n')) <= 1);
    QVERIFY(text->text().startsWith(name.at(0)));
}

void tst_silent_dialog::builtOnce()
{
    const LogCatcher log;
    CInstallSilentPatchDlg dialog(request("甲"), manager(), nullptr);
    const int children = dialog.findChildren<QObject *>().size();
    dialog.InitDialog();
    dialog.InitDialog();
    QCOMPARE(dialog.findChildren<QObject *>().size(), children);
    QTRY_VERIFY(!dialog.isVisible()); // closed by its worker
    QCOMPARE(workers(log), 1);
    QCOMPARE(query("甲"), 1);
    dialog.StartInstall(); // too late
    QCOMPARE(workers(log), 1);
}

void tst_silent_dialog::escapeIsSwallowed()
{
    const LongWork longWork;
    CInstallSilentPatchDlg dialog(request("甲"), manager(), nullptr);
    QTest::keyClick(&dialog, Qt::Key_Escape);
    QVERIFY(dialog.isVisible());
    QVERIFY(dialog.findChildren<QAbstractButton *>().isEmpty());
}

void tst_silent_dialog::withoutANameNothingBegins()
{
    const QString line("静默补丁安装时获取软件名称失败");
    manager()->setSilentPatchInstallState("", 2);
    for (const QVariant &name : {QVariant(), QVariant(""), QVariant(QVariantMap{{"a", 1}})}) {
        const LogCatcher log;
        CInstallSilentPatchDlg dialog(request(name), manager(), nullptr);
        QVERIFY(!dialog.isVisible());
        QCOMPARE(log.texts(QtCriticalMsg), QStringList{line});
        QCOMPARE(log.find(line).function, QString("StartInstall"));
        send(request(name));
        QCOMPARE(workers(log), 0);
    }
    CInstallSilentPatchDlg withoutRequest(nullptr, manager(), nullptr);
    QVERIFY(!withoutRequest.isVisible());
    QCOMPARE(manager()->getSilentPatchInstallState(""), 2); // not set to 1
}

void tst_silent_dialog::retries()
{
    const LongWork longWork;
    const LogCatcher log;
    CInstallSilentPatchDlg dialog(request("云杉绘图"), manager(), nullptr);
    manager()->setSilentPatchInstallState("云杉绘图", 99);
    BoxScript boxes({[&](QDialog *box) {
                         QCOMPARE(box->windowTitle(), QString("提示"));
                         QVERIFY(box->parentWidget() == &dialog && box->isModal());
                         dialog.OnTimeOut(); // one question at a time
                         BoxScript::press(box, "重试");
                     },
                     [](QDialog *box) { box->reject(); }});
    dialog.OnTimeOut();
    QTRY_COMPARE(workers(log), 2);
    QCOMPARE(query("云杉绘图"), 1);
    dialog.OnTimeOut(); // closing the box is the same
    QTRY_COMPARE(workers(log), 3);
    QVERIFY(boxes.isDone() && dialog.isVisible());
    QCOMPARE(boxes.texts.first(), QString("检测到软件进程“云杉绘图”仍在运行，您可点击“重试”等待程序退出，"
                                          "或选择“立即升级”强制退出软件并立即升级。"));
}

void tst_silent_dialog::deathsUnderTheQuestion_data()
{
    QTest::addColumn<int>("death");
    QTest::newRow("deleted") << 0;
    QTest::newRow("closed") << 1;
    QTest::newRow("replaced") << 2;
    QTest::newRow("service ends") << 3;
}

void tst_silent_dialog::deathsUnderTheQuestion()
{
    QFETCH(int, death);
    const LongWork longWork;
    const LogCatcher log;
    send(request("甲"));
    const QPointer<CInstallSilentPatchDlg> dialog = visibleDialogs().value(0);
    QVERIFY(dialog);
    BoxScript boxes({[&](QDialog *opened) {
        const QPointer<QDialog> box(opened);
        if (death == 0)
            delete dialog;
        else if (death == 1)
            dialog->close();
        else if (death == 2)
            send(request("甲"));
        else
            CVisualizedManager::FreeInstance();
        QTRY_VERIFY(!box || !box->isVisible());
    }});
    dialog->OnTimeOut();
    processDeletions();
    QVERIFY(boxes.isDone() && !dialog && !QApplication::activeModalWidget());
    CVisualizedManager::FreeInstance(); // ends the workers
    QVERIFY2(workers(log) <= (death == 2 ? 2 : 1), qPrintable(log.texts().join('\n')));
}

void tst_silent_dialog::sameNameTwice()
{
    QTemporaryDir folder;
    const LongWork longWork;
    const LogCatcher log;
    send(request("甲", {{"升级文件在本地的路径", folder.filePath("missing")}}));
    const QPointer<CInstallSilentPatchDlg> first = visibleDialogs().value(0);
    send(request("甲"));
    QVERIFY(first && !first->isVisible());
    const QPointer<CInstallSilentPatchDlg> second = visibleDialogs().value(0);
    QVERIFY(second && second != first);
    QVERIFY(log.has(QtCriticalMsg, "静默补丁安装线程未找到补丁包文件")); // the first worker has ended
    QCOMPARE(query("甲"), 1);                                            // and said so before the second began
    first->close();                                                      // late: the name is the second's now
    send(request("甲 "));
    QCOMPARE(visibleDialogs().size(), 2);
    send(request("甲"));
    QVERIFY(!second->isVisible());
    QCOMPARE(visibleDialogs().size(), 2);
    processDeletions();
    QVERIFY(!first && !second);
}

void tst_silent_dialog::manyNamesAtOnce()
{
    const LogCatcher log;
    const int threads = threadsOfThisProcess();
    QStringList names{"Draw", "draw", "DRAW", " draw", "draw ", "dr aw", " "};
    while (names.size() < 100)
        names << QStringLiteral("产品%1").arg(names.size());
    {
        const LongWork longWork;
        for (const QString &name : names)
            send(request(name, name.size() % 2 ? QVariantMap{} : QVariantMap{{"升级文件在本地的路径", "/none"}}));
        QCOMPARE(visibleDialogs().size(), names.size());
        processDeletions();
        QCOMPARE(visibleDialogs().size(), names.size());
        QTRY_COMPARE(threadsOfThisProcess(), threads); // ended workers are kept, their threads are not
        for (CInstallSilentPatchDlg *dialog : visibleDialogs())
            dialog->close();
    }
    QCOMPARE(workers(log), names.size());
    for (const QString &name : names) {
        QCOMPARE(query(name), name.size() % 2 ? 1 : 99);
        QCOMPARE(query(name), 1);
    }
}

void tst_silent_dialog::hostOutlivesItsLastWindow()
{
    QSignalSpy lastClosed(qGuiApp, &QGuiApplication::lastWindowClosed);
    send(request("甲"));
    QTRY_VERIFY(visibleDialogs().isEmpty());
    processDeletions();
    QCOMPARE(lastClosed.count(), 0);
}

// TARN_SILENT_CYCLES for a longer run.
void tst_silent_dialog::showAndFinishInRow()
{
    const int cycles = qMax(500, qEnvironmentVariableIntValue("TARN_SILENT_CYCLES"));
    QPointer<CInstallSilentPatchDlg> dialog;
    for (int i = 0; i < cycles; ++i) {
        send(request(QString::number(i % 7)));
        dialog = visibleDialogs().value(0);
        QVERIFY(dialog);
        QEventLoop loop;
        connect(dialog, &QObject::destroyed, &loop, &QEventLoop::quit);
        loop.exec();
        QVERIFY(!dialog);
    }
}

// Every call is made by another thread, one after the other in an order of chance.
void tst_silent_dialog::statesFollowTheModel()
{
    constexpr int Threads = 4;
    constexpr int Calls = 2000; // of each
    const quint32 seed = QRandomGenerator::global()->generate();
    manager();
    QMutex turn;
    QMap<QString, StateModel> model;
    QStringList wrong;
    std::vector<std::thread> threads;
    for (quint32 t = 0; t < Threads; ++t) {
        threads.emplace_back([&, t] {
            QRandomGenerator random(seed + t);
            for (int i = 0; i < Calls; ++i) {
                const QString name = QStringList{"甲", "乙", "甲 "}.at(random.bounded(3));
                const int call = random.bounded(5);
                const QMutexLocker locker(&turn);
                if (call < 3) {
                    const int state = QList<int>{1, 2, 99}.at(call);
                    manager()->setSilentPatchInstallState(name, state);
                    model[name].set(state);
                } else if (query(name) != model[name].query()) {
                    wrong << QStringLiteral("%1, call %2 of thread %3").arg(name).arg(i).arg(t);
                }
            }
        });
    }
    for (std::thread &thread : threads)
        thread.join();
    QVERIFY2(wrong.isEmpty(), qPrintable(QStringLiteral("seed %1: %2").arg(seed).arg(wrong.join("; "))));
}

// All at the same time and without a lock of the test's own: meant for the thread sanitizer too.
void tst_silent_dialog::failuresAreToldOnceToTheirThread()
{
    constexpr int Threads = 4;
    constexpr int Rounds = 25;
    manager();
    std::atomic<int> running{Threads};
    std::atomic<int> told{0};
    std::atomic<int> repeated{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < Threads; ++t) {
        threads.emplace_back([&, t] {
            const QString name = QString::number(t);
            for (int i = 0; i < Rounds; ++i) {
                ask({{"软件名称", name}, {"升级文件在本地的路径", "/none"}});
                ask({{"软件名称", "别的"}, {"升级文件在本地的路径", "/none"}});
                while (query(name) == 1)
                    std::this_thread::yield();
                ++told;
                repeated += query(name) != 1;
            }
            --running;
        });
    }
    QTRY_COMPARE_WITH_TIMEOUT(running.load(), 0, 60000);
    for (std::thread &thread : threads)
        thread.join();
    QCOMPARE(told.load(), Threads * Rounds);
    QCOMPARE(repeated.load(), 0);
    QTRY_VERIFY(visibleDialogs().isEmpty());
}

void tst_silent_dialog::teardownWhileItWorks()
{
    for (int i = 0; i < 50; ++i) {
        send(request("甲"));
        send(request("乙"));
        CVisualizedManager::FreeInstance();
        QVERIFY(visibleDialogs().isEmpty());
    }
}

QTEST_MAIN(tst_silent_dialog)
#include "tst_silent_dialog.moc"
