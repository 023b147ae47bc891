// The silent patch installation: its dialog, alone and owned by the manager, its thread, and the forced quit.
#include "frame/VisualizedOperateManager.h"
#include "support/BoxScript.h"
#include "support/NoticeData.h"
#include "support/OwnProcess.h"
#include "support/Packages.h"
#include "support/SampleProgram.h"
#include "upgrade/ProcessChecker.h"
#include "upgrade/Requests.h"
#include "upgrade/SilentInstallThread.h"
#include <QMovie>
#include <QScreen>
#include <QSemaphore>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <sys/stat.h>
#include <unistd.h>

using request::LongWork;
using request::patch;
using request::sendPatch;

namespace {
constexpr auto endProgram = &CInstallSilentPatchDlg::endProgram;

CVisualizedManager *manager()
{
    return CVisualizedManager::GetInstance();
}

QList<CInstallSilentPatchDlg *> visibleDialogs()
{
    return notice::visibleWindows<CInstallSilentPatchDlg>();
}

// The number of workers that have run; each logs one debug line.
int workers(const LogCatcher &log)
{
    return log.texts(QtDebugMsg).filter("静默补丁安装：软件名称：").size();
}

// The ways in which the window of 甲 ends.
const std::function<void()> Ends[] = {[] { delete visibleDialogs().constFirst(); },
                                      [] { visibleDialogs().constFirst()->close(); },
                                      [] { sendPatch(patch("甲")); }, // another one takes its place
                                      &CVisualizedManager::FreeInstance};

// The operation's answer to an RPC thread.
int query(const QString &name)
{
    const auto output = args::output<args::PatchOut>();
    CVisualizedOperateManager().showSilentPatchInstallDialog(
        args::input<args::PatchIn>({{"软件名称", name}, {"是否静默补丁安装状态获取", true}}), output);
    return output->GetValue("静默补丁安装状态").toInt();
}

// How often the thread emits its end.
int announcements(CSilentInstallThread &thread)
{
    const QSignalSpy finished(&thread, &CSilentInstallThread::installFinished);
    const QSignalSpy timedOut(&thread, &CSilentInstallThread::checkExeTimeOut);
    thread.start();
    thread.wait(); // the spies are written on the thread
    return finished.count() + 100 * timedOut.count();
}
} // namespace

class tst_silent : public QObject
{
    Q_OBJECT
private slots:
    void cleanup()
    {
        qputenv("PATH", m_path);
        CVisualizedManager::FreeInstance(); // also while workers run
        QVERIFY(visibleDialogs().isEmpty());
    }

    void showsWhatRunsAndIgnoresEscape()
    {
        const LongWork longWork;
        CInstallSilentPatchDlg dialog(patch("云杉绘图"), manager(), nullptr);
        const int children = dialog.findChildren<QObject *>().size();
        dialog.InitDialog(); // the manager's call does nothing
        QCOMPARE(dialog.findChildren<QObject *>().size(), children);
        QVERIFY(dialog.isVisible() && dialog.minimumSize() == dialog.maximumSize());
        QVERIFY(!dialog.testAttribute(Qt::WA_QuitOnClose)); // else it would end the host, as the last window
        const QRect screen = QGuiApplication::primaryScreen()->availableGeometry();
        QVERIFY((dialog.geometry().center() - screen.center()).manhattanLength() <= 2);
        QCOMPARE(dialog.findChild<QMovie *>()->state(), QMovie::Running);
        QTest::keyClick(&dialog, Qt::Key_Escape);
        QVERIFY(dialog.isVisible());
        const QString name = QString("<h1>甲\n乙\n丙").append(QString(200000, QChar(0x4E2D)));
        const CInstallSilentPatchDlg hostile(patch(name), manager(), nullptr);
        const auto *shown = hostile.findChild<QLabel *>("progressText");
        QVERIFY(hostile.size() == QSize(400, 60) && shown->textFormat() == Qt::PlainText);
        QVERIFY(shown->text().startsWith("<h1>甲 乙") && shown->text().endsWith("正在安装更新，请稍候..."));
    }

    void withoutANameNothingBegins()
    {
        manager()->setSilentPatchInstallState("", 2);
        for (const auto &input : {patch({}), patch(QVariantMap{{"a", 1}}), QSharedPointer<args::PatchIn>()}) {
            const LogCatcher log;
            CInstallSilentPatchDlg dialog(input, manager(), nullptr);
            QVERIFY(!dialog.isVisible() && workers(log) == 0);
            QCOMPARE(log.find("静默补丁安装时获取软件名称失败").function, QString("StartInstall"));
            sendPatch(input);
            QVERIFY(visibleDialogs().isEmpty());
        }
        QCOMPARE(manager()->getSilentPatchInstallState(""), 2); // not set to 1
    }

    void withoutAManagerItCloses()
    {
        const LogCatcher log;
        const CInstallSilentPatchDlg dialog(patch("甲"), nullptr, nullptr);
        QVERIFY(dialog.isVisible());
        QTRY_VERIFY(!dialog.isVisible());
        QCOMPARE(log.texts(QtCriticalMsg), QStringList{"静默补丁安装线程获取参数失败"});
    }

    // The system's own worker never asks this question; another one may.
    void retries()
    {
        const LongWork longWork;
        const LogCatcher log;
        const QString name("<a href=\"https://x\">&lt;</a>");
        QVERIFY(::mkfifo(qPrintable(in("store.pipe")), 0600) == 0); // opening it would wait for a writer
        CInstallSilentPatchDlg dialog(patch(name, {{"软件注册表路径", in("store.pipe")}}), manager(), nullptr);
        BoxScript boxes({[&](QDialog *box) {
                             QCOMPARE(box->findChild<QLabel *>("messageText")->textFormat(), Qt::PlainText);
                             dialog.OnTimeOut(); // one question at a time
                             BoxScript::press(box, "重试");
                         },
                         BoxScript::pressing("立即升级"),
                         [&](QDialog *box) {
                             QVERIFY(dialog.isVisible() && dialog.close());
                             QVERIFY(!box->isVisible());
                         }});
        QTRY_COMPARE(workers(log), 1); // else the retry interrupts it before it begins
        dialog.OnTimeOut();
        QTRY_COMPARE(workers(log), 2);
        QVERIFY(log.texts(QtWarningMsg).isEmpty());
        dialog.OnTimeOut();
        QTRY_COMPARE(workers(log), 3);
        QCOMPARE(log.texts(QtWarningMsg), QStringList{"不强制退出软件进程，程序名称无效：“”"});
        QCOMPARE(query(name), 1);
        dialog.OnTimeOut();
        dialog.StartInstall(); // does nothing any more
        QVERIFY(boxes.isDone() && workers(log) == 3);
        QCOMPARE(boxes.texts.first().remove(QChar(0x200B)), // where lines may break
                 "检测到软件进程“" + name +
                     "”仍在运行，您可点击“重试”等待程序退出，或选择“立即升级”强制退出软件并立即升级。");
    }

    void deathsUnderTheQuestion()
    {
        for (const auto &end : Ends) {
            const LongWork longWork;
            const LogCatcher log;
            sendPatch(patch("甲"));
            const QPointer<CInstallSilentPatchDlg> dialog = visibleDialogs().value(0);
            BoxScript boxes({[&](QDialog *opened) {
                const QPointer<QDialog> box(opened);
                end();
                QTRY_VERIFY(!box || !box->isVisible());
            }});
            dialog->OnTimeOut();
            request::processDeletions();
            QVERIFY(boxes.isDone() && !dialog && !QApplication::activeModalWidget());
            const int open = visibleDialogs().size();
            CVisualizedManager::FreeInstance();
            QVERIFY(workers(log) <= 1 + open);
        }
    }

    void sameNameTwice()
    {
        const LongWork longWork;
        sendPatch(patch("甲", {{"升级文件在本地的路径", "/none"}}));
        const QPointer<CInstallSilentPatchDlg> first = visibleDialogs().value(0);
        sendPatch(patch("甲"));
        const QPointer<CInstallSilentPatchDlg> second = visibleDialogs().value(0);
        QVERIFY(first && !first->isVisible() && second != first);
        QCOMPARE(query("甲"), 1);
        first->close(); // again: the name belongs to the second one now
        sendPatch(patch("甲"));
        QVERIFY(!second->isVisible());
        QCOMPARE(visibleDialogs().size(), 1);
        request::processDeletions();
        QVERIFY(!first && !second);
    }

    void judges()
    {
        const QString missing("静默补丁安装线程未找到补丁包文件");
        const QString nameless("静默补丁安装线程获取软件名称为空");
        QVERIFY(packages::writeFile(in("patch"), "x") && QFile::link(in("patch"), in("link")));
        QVERIFY(QFile::link("/none", in("dangling")) && ::mkfifo(qPrintable(in("pipe")), 0600) == 0);
        const struct
        {
            QVariant name, file;
            QString line;
        } cases[] = {{"甲", in("patch"), {}},
                     {"甲", in("link"), {}},
                     {{}, in("patch"), nameless},
                     {QVariantList{1}, in("patch"), nameless},
                     {"甲", QVariantMap{{"a", 1}}, missing},
                     {"甲", in("dangling"), missing},
                     {"甲", m_folder.path(), missing},
                     {"甲", in("pipe"), missing}};
        for (const auto &one : cases) {
            const LogCatcher log;
            CSilentInstallThread thread(patch(one.name, {{"升级文件在本地的路径", one.file}}), manager());
            QCOMPARE(announcements(thread), 1);
            QCOMPARE(manager()->getSilentPatchInstallState(one.name.toString()), one.line.isEmpty() ? 1 : 99);
            QCOMPARE(log.texts(QtCriticalMsg), one.line.isEmpty() ? QStringList() : QStringList{one.line});
            QCOMPARE(log.find(one.line).function, one.line.isEmpty() ? QString() : QString("run"));
        }
        const LogCatcher log;
        const QString noArguments("静默补丁安装线程获取参数失败");
        CSilentInstallThread noRequest(nullptr, manager());
        CSilentInstallThread noManager(patch("甲"), nullptr);
        CSilentInstallThread interrupted(patch(""), manager());
        interrupted.InterruptTask();
        for (CSilentInstallThread *thread : {&noRequest, &noManager, &interrupted})
            QCOMPARE(announcements(*thread), 1);
        QCOMPARE(log.texts(QtCriticalMsg), (QStringList{noArguments, noArguments}));
    }

    // A host's log may wait for the GUI thread while that interrupts the worker.
    void logsOutsideTheLock()
    {
        static QSemaphore logging, interrupted;
        static std::atomic_bool inTime;
        CSilentInstallThread thread(patch(""), manager());
        const auto handler = [](QtMsgType type, const QMessageLogContext &, const QString &) {
            if (type != QtCriticalMsg)
                return;
            logging.release();
            inTime = interrupted.tryAcquire(1, 5000);
        };
        const QtMessageHandler before = qInstallMessageHandler(handler);
        thread.start();
        logging.acquire();
        thread.InterruptTask();
        interrupted.release();
        thread.wait();
        qInstallMessageHandler(before);
        QVERIFY(inTime);
    }

    // A path on a file system that has stopped answering: its worker hangs, the window and the host do not.
    void hangingWorkerHoldsNothing()
    {
        struct HangingRequest final : args::PatchIn
        {
            using args::PatchIn::PatchIn;
            QSemaphore hanging, released;
            std::atomic_bool hangs{true};
            QVariant GetValue(const QString &key) override
            {
                if (!hangs || QThread::currentThread() == qApp->thread() || key != "升级文件在本地的路径")
                    return args::PatchIn::GetValue(key);
                hanging.release();
                released.tryAcquire(1, 20000);
                return "/none";
            }
        };
        const LogCatcher log;
        for (const auto &end : Ends) {
            auto slow = QSharedPointer<HangingRequest>::create(patch("甲")->bag());
            QElapsedTimer timer;
            timer.start();
            sendPatch(slow);
            slow->hanging.acquire();
            end();
            QVERIFY2(timer.elapsed() < 10000, qPrintable(QString::number(timer.elapsed())));
            QTRY_VERIFY(visibleDialogs().isEmpty());
            manager()->setSilentPatchInstallState("甲", 2);
            slow->released.release();
            const QWeakPointer<HangingRequest> alive(slow);
            slow.reset();
            QTRY_VERIFY(!alive); // the worker has ended and deleted itself
            QCOMPARE(manager()->getSilentPatchInstallState("甲"), 2);
        }
        // A retry forgets it, too: its late failure does not replace the state.
        const LongWork longWork;
        auto slow = QSharedPointer<HangingRequest>::create(patch("甲")->bag());
        CInstallSilentPatchDlg dialog(slow, manager(), nullptr);
        slow->hanging.acquire();
        slow->hangs = false;
        const int before = workers(log);
        const int whileItHangs = own::threads();
        const BoxScript boxes({"重试"});
        dialog.OnTimeOut();
        QTRY_VERIFY(workers(log) > before); // the next one has found its patch
        slow->released.release();
        QTRY_VERIFY(own::threads() < whileItHangs);
        QCOMPARE(query("甲"), 1);
        QVERIFY(!log.has("静默补丁安装线程未找到补丁包文件")); // a failure that no window asks for any more
    }

    void checker()
    {
        CProcessChecker checker;
        const QSignalSpy lost(&checker, &CProcessChecker::processNoFind);
        qint64 used = 1000;
        connect(
            &checker, &QThread::finished, &checker, [&used] { used = own::processorMs(); }, Qt::DirectConnection);
        checker.start();
        QVERIFY(!checker.wait(450)); // two periods, most of which it sleeps
        checker.stop();
        QVERIFY(checker.wait(10000) && lost.isEmpty());
        QVERIFY2(used < 50, qPrintable(QString::number(used)));
        CProcessChecker stoppedByItsEnd;
        stoppedByItsEnd.start();
    }

    void quitEndsTheProgramAndNothingElse()
    {
        const QString run = QFileInfo(m_folder.path()).fileName(); // no other run on this machine has such names
        const QString name = "样例程序-sample-" + run;
        SampleProgram wanted(in(name)), twin(in(name)), longer(in(name + "2"));
        SampleProgram other(in(QString(name).replace("mple", "MPLE"))); // the same to a name cut to 15 bytes
        SampleProgram replaced(in("replaced-" + run));
        QVERIFY(QFile::remove(in("replaced-" + run))); // as an update does
        ::chmod(qPrintable(m_folder.path()), 0755);
        constexpr uid_t Nobody = 65534;
        std::unique_ptr<SampleProgram> foreign;
        if (::geteuid() == 0)
            foreign = std::make_unique<SampleProgram>(in(name), Nobody);
        QVERIFY(
            packages::writeFile(in("store.ini"), "[General]\nExeName=C:\\\\Program, Files\\\\bin/" + name.toUtf8()));
        const LongWork longWork;
        CInstallSilentPatchDlg dialog(patch("甲", {{"软件注册表路径", in("store.ini")}}), manager(), nullptr);
        BoxScript boxes({BoxScript::pressing("立即升级")});
        dialog.OnTimeOut();
        QTRY_VERIFY(!wanted.isAlive() && !twin.isAlive());
        QVERIFY(longer.isAlive() && other.isAlive() && (!foreign || foreign->isAlive()));
        endProgram("replaced-" + run, 30000);
        QTRY_VERIFY(!replaced.isAlive());
    }

    // By a copy of this program, whose name no other run has.
    void quitSparesTheCaller()
    {
        const QFileInfo self(QCoreApplication::applicationFilePath());
        if (self.fileName() != "tst_silent")
            return endProgram(self.fileName(), 30000);
        const QString copy = in("caller-" + QFileInfo(m_folder.path()).fileName());
        QVERIFY(QFile::copy(self.filePath(), copy));
        QCOMPARE(QProcess::execute(copy, {"quitSparesTheCaller"}), 0);
    }

    void taskkill()
    {
        const auto install = [this](const QByteArray &script) {
            QVERIFY(packages::writeFile(in("path/taskkill"), script));
            QFile::setPermissions(in("path/taskkill"), QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
            qputenv("PATH", in("path").toLocal8Bit() + ':' + m_path);
        };
        install("#!/bin/sh\nfor word; do echo \"<$word>\"; done >>" + in("said").toUtf8() + "\n");
        for (const QString &name :
             {QString(), QString("bin/"), QString("*"), QString("bin/a?"), QString("a") + QChar(0)})
            endProgram(name, 30000);
        endProgram("sample program", 30000);
        QCOMPARE(packages::readFile(in("said")), QByteArray("</f>\n</im>\n<sample program>\n"));
        QElapsedTimer timer;
        timer.start();
        install("#!/no/such/interpreter\n");
        endProgram("sample-program", 30000);
        install("#!/bin/sh\nexec sleep 60\n");
        endProgram("sample-program", 100);
        QVERIFY(timer.elapsed() < 20000);
    }

private:
    QString in(const QString &name) const { return m_folder.filePath(name); }

    const QTemporaryDir m_folder;
    const QByteArray m_path = qgetenv("PATH");
};

QTEST_MAIN(tst_silent)
#include "tst_silent.moc"
