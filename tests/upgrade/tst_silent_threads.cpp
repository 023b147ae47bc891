// The two threads of the silent patch installation. TARN_SILENT_CYCLES for a longer run.
#include "frame/VisualizedManager.h"
#include "support/LogCatcher.h"
#include "upgrade/ProcessChecker.h"
#include "upgrade/SilentInstallThread.h"
#include "upgrade/SilentRequests.h"
#include <QElapsedTimer>
#include <QSemaphore>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <atomic>
#include <functional>
#include <sys/stat.h>
#include <unistd.h>

using silent::request;

namespace {
CVisualizedManager *manager()
{
    return CVisualizedManager::GetInstance();
}

// How often the thread emits its end. A spy would count in the sender's thread.
int announcements(CSilentInstallThread &thread)
{
    int count = 0;
    QEventLoop loop;
    QObject::connect(&thread, &CSilentInstallThread::checkExeTimeOut, &loop, [&] { count += 100; });
    QObject::connect(&thread, &CSilentInstallThread::installFinished, &loop, [&] {
        ++count;
        loop.quit();
    });
    thread.start();
    loop.exec();
    thread.wait();
    QCoreApplication::sendPostedEvents(&loop);
    return count;
}
} // namespace

class tst_silent_threads : public QObject
{
    Q_OBJECT
private slots:
    void judges();
    void logsOutsideTheLock();
    void endsUnderItsOwnAnnouncement();
    void hangingWorkerHoldsNothing();
    void checker();
    void cleanupTestCase() { CVisualizedManager::FreeInstance(); }
};

void tst_silent_threads::judges()
{
    const QString missing("静默补丁安装线程未找到补丁包文件");
    const QString nameless("静默补丁安装线程获取软件名称为空");
    QTemporaryDir folder;
    const auto in = [&](const QString &name) { return folder.filePath(name); };
    QVERIFY(QFile::copy("/bin/sleep", in("patch")) && QFile::link(in("patch"), in("link")));
    QVERIFY(QFile::link("/none", in("dangling")) && ::mkfifo(qPrintable(in("pipe")), 0600) == 0);
    const struct
    {
        QVariant name, patch;
        QString line;
    } cases[] = {{"甲", in("patch"), {}},
                 {"甲", in("link"), {}},
                 {{}, in("patch"), nameless},
                 {QVariantList{1}, in("patch"), nameless},
                 {"甲", {}, missing},
                 {"甲", QVariantMap{{"a", 1}}, missing},
                 {"甲", in("none"), missing},
                 {"甲", in("dangling"), missing},
                 {"甲", folder.path(), missing},
                 {"甲", in("pipe"), missing}};
    for (const auto &one : cases) {
        const LogCatcher log;
        CSilentInstallThread thread(request(one.name, {{"升级文件在本地的路径", one.patch}}), manager());
        QCOMPARE(announcements(thread), 1);
        QCOMPARE(manager()->getSilentPatchInstallState(one.name.toString()), one.line.isEmpty() ? 1 : 99);
        QCOMPARE(log.texts(QtCriticalMsg), one.line.isEmpty() ? QStringList() : QStringList{one.line});
    }
    const LogCatcher log;
    CSilentInstallThread noRequest(nullptr, manager());
    CSilentInstallThread noManager(request("甲"), nullptr);
    CSilentInstallThread interrupted(request(""), manager());
    interrupted.InterruptTask();
    for (CSilentInstallThread *thread : {&noRequest, &noManager, &interrupted})
        QCOMPARE(announcements(*thread), 1);
    QCOMPARE(log.texts(QtCriticalMsg), QStringList({"静默补丁安装线程获取参数失败", "静默补丁安装线程获取参数失败"}));
}

// A host's log may wait for the GUI thread while that interrupts the worker.
void tst_silent_threads::logsOutsideTheLock()
{
    static QSemaphore logging, interrupted;
    static std::atomic_bool inTime;
    CSilentInstallThread thread(request(""), manager());
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

// The owner drops its reference at the signal, while run() has not returned yet.
void tst_silent_threads::endsUnderItsOwnAnnouncement()
{
    const int cycles = qMax(500, qEnvironmentVariableIntValue("TARN_SILENT_CYCLES"));
    for (int i = 0; i < cycles; ++i) {
        auto thread = CSilentInstallThread::create(request("丙"), manager());
        QEventLoop loop;
        connect(thread.data(), &CSilentInstallThread::installFinished, &loop, [&] {
            thread.reset();
            loop.quit();
        });
        const auto delay = [] { ::usleep(300); };
        connect(thread.data(), &CSilentInstallThread::installFinished, thread.data(), delay, Qt::DirectConnection);
        thread->start();
        loop.exec();
    }
}

// A path on a file system that has stopped answering: its worker hangs, the window and the host do not.
void tst_silent_threads::hangingWorkerHoldsNothing()
{
    struct HangingRequest final : args::PatchIn
    {
        using args::PatchIn::PatchIn;
        QSemaphore hanging, released;
        QVariant GetValue(const QString &key) override
        {
            if (QThread::currentThread() == qApp->thread() || key != "升级文件在本地的路径")
                return args::PatchIn::GetValue(key);
            hanging.release();
            released.tryAcquire(1, 20000);
            return "/none";
        }
    };
    const LogCatcher log;
    const std::function<void()> ends[] = {
        [] { silent::visibleDialogs().constFirst()->close(); },
        [] { silent::send(request("甲")); }, // takes the place of the first one
        &CVisualizedManager::FreeInstance,
    };
    for (const auto &end : ends) {
        auto slow = QSharedPointer<HangingRequest>::create(request("甲")->bag());
        QElapsedTimer timer;
        timer.start();
        silent::send(slow);
        slow->hanging.acquire();
        end();
        QVERIFY2(timer.elapsed() < 10000, qPrintable(QString::number(timer.elapsed())));
        QTRY_VERIFY(silent::visibleDialogs().isEmpty());
        manager()->setSilentPatchInstallState("甲", 2);
        slow->released.release();
        const QWeakPointer<HangingRequest> alive(slow);
        slow.reset();
        QTRY_VERIFY(!alive); // the worker has ended and deleted itself
        QCOMPARE(manager()->getSilentPatchInstallState("甲"), 2);
    }
    QVERIFY(!log.has("静默补丁安装线程未找到补丁包文件")); // a failure that no window asks for any more
}

void tst_silent_threads::checker()
{
    CProcessChecker checker;
    QSignalSpy lost(&checker, &CProcessChecker::processNoFind);
    checker.setProcessName("no-such-program");
    checker.start();
    QVERIFY(!lost.wait(450)); // two periods
    checker.stop();
    QVERIFY(checker.wait(10000));
    CProcessChecker stoppedByItsEnd;
    stoppedByItsEnd.start();
}

QTEST_MAIN(tst_silent_threads)
#include "tst_silent_threads.moc"
