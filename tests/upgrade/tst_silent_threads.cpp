// The two threads of the silent patch installation. TARN_SILENT_CYCLES for a longer run.
#include "frame/VisualizedManager.h"
#include "support/LogCatcher.h"
#include "support/SampleProgram.h"
#include "upgrade/ProcessChecker.h"
#include "upgrade/SilentInstallThread.h"
#include "upgrade/SilentRequests.h"
#include <QElapsedTimer>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <sys/stat.h>

using silent::request;

namespace {
CVisualizedManager *manager()
{
    return CVisualizedManager::GetInstance();
}

// How often its end is announced; not by a spy, which hears it in the sender's thread.
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
    void endsUnderItsOwnAnnouncement();
    void filesInUse();
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

// The owner drops the thread as soon as it hears of the end, while run() still has some way to go.
void tst_silent_threads::endsUnderItsOwnAnnouncement()
{
    const int cycles = qMax(500, qEnvironmentVariableIntValue("TARN_SILENT_CYCLES"));
    for (int i = 0; i < cycles; ++i) {
        auto thread = QSharedPointer<CSilentInstallThread>::create(request("丙"), manager());
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

void tst_silent_threads::filesInUse()
{
    QTemporaryDir folder;
    const QString file = folder.filePath("program");
    CSilentInstallThread thread(nullptr, nullptr);
    QVERIFY(!thread.IsExeFileUsing(file) && !QFile::exists(file));
    {
        SampleProgram running(file);
        QTRY_VERIFY(thread.IsExeFileUsing(file));
    }
    QVERIFY(!thread.IsExeFileUsing(file));
    QVERIFY(QFile::setPermissions(file, QFile::ReadOwner));
    QVERIFY(thread.IsExeFileUsing(file) || ::geteuid() == 0); // who may write anything
}

void tst_silent_threads::checker()
{
    qint64 fastest = 1000; // the best of five, since the machine may be busy with other things
    for (int i = 0; i < 5; ++i) {
        CProcessChecker checker;
        QSignalSpy gone(&checker, &CProcessChecker::processNoFind);
        QEventLoop untilStarted;
        connect(&checker, &QThread::started, &untilStarted, &QEventLoop::quit);
        checker.setProcessName("no-such-program");
        QCOMPARE(checker.getProcessName(), QString("no-such-program"));
        checker.start();
        untilStarted.exec();
        QVERIFY(i > 0 || !gone.wait(450)); // two periods
        QElapsedTimer timer;
        timer.start();
        checker.stop();
        QVERIFY(checker.wait(10000));
        fastest = qMin(fastest, timer.elapsed());
    }
    QVERIFY2(fastest <= 25, qPrintable(QString::number(fastest)));
    CProcessChecker stoppedByItsEnd;
    stoppedByItsEnd.start();
}

QTEST_MAIN(tst_silent_threads)
#include "tst_silent_threads.moc"
