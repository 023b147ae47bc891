// The two threads of the silent patch installation.
#include "frame/VisualizedManager.h"
#include "support/Args.h"
#include "support/LogCatcher.h"
#include "upgrade/ProcessChecker.h"
#include "upgrade/SilentInstallThread.h"
#include <QElapsedTimer>
#include <QEventLoop>
#include <QFile>
#include <QProcess>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <sys/stat.h>
#include <unistd.h>

namespace {
const QString Name = QStringLiteral("软件名称");
const QString Patch = QStringLiteral("升级文件在本地的路径");

CVisualizedManager *manager()
{
    return CVisualizedManager::GetInstance();
}

// Runs it to its end. How often that was announced, in the thread of the receiver; not by a spy, which hears it in the
// sender's.
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
    void judges_data();
    void judges();
    void judgesNothing();
    void endsUnderItsOwnAnnouncement();
    void filesInUse();
    void checkerFindsEverythingRunning();
    void checkerStops();
    void cleanupTestCase() { CVisualizedManager::FreeInstance(); }
};

void tst_silent_threads::judges_data()
{
    QTest::addColumn<QVariant>("name");
    QTest::addColumn<QVariant>("patch");
    QTest::addColumn<int>("state"); // of that name afterwards
    QTest::addColumn<QString>("line");
    const auto missing = QStringLiteral("静默补丁安装线程未找到补丁包文件");
    const auto nameless = QStringLiteral("静默补丁安装线程获取软件名称为空");
    QTest::newRow("well") << QVariant("甲") << QVariant("patch.tar") << 1 << QString();
    QTest::newRow("link") << QVariant("甲") << QVariant("link") << 1 << QString();
    QTest::newRow("no name") << QVariant() << QVariant("patch.tar") << 99 << nameless;
    QTest::newRow("name of another type") << QVariant(QVariantList{1}) << QVariant("patch.tar") << 99 << nameless;
    QTest::newRow("no path") << QVariant("甲") << QVariant() << 99 << missing;
    QTest::newRow("path of another type") << QVariant("甲") << QVariant(QVariantMap{{"a", 1}}) << 99 << missing;
    QTest::newRow("missing file") << QVariant("甲") << QVariant("nothing") << 99 << missing;
    QTest::newRow("directory") << QVariant("甲") << QVariant(".") << 99 << missing;
    QTest::newRow("pipe") << QVariant("甲") << QVariant("pipe") << 99 << missing;
    QTest::newRow("dangling link") << QVariant("甲") << QVariant("dangling") << 99 << missing;
}

void tst_silent_threads::judges()
{
    QFETCH(QVariant, name);
    QFETCH(QVariant, patch);
    QFETCH(QString, line);
    QTemporaryDir folder;
    QFile file(folder.filePath("patch.tar"));
    QVERIFY(file.open(QIODevice::WriteOnly));
    QVERIFY(QFile::link(file.fileName(), folder.filePath("link")) && QFile::link("/none", folder.filePath("dangling")));
    QCOMPARE(::mkfifo(folder.filePath("pipe").toLocal8Bit().constData(), 0600), 0);
    if (patch.type() == QVariant::String)
        patch = folder.filePath(patch.toString());
    const LogCatcher log;
    CSilentInstallThread thread(args::input<args::PatchIn>({{Name, name}, {Patch, patch}}), manager());
    QCOMPARE(announcements(thread), 1);
    QTEST(manager()->getSilentPatchInstallState(name.toString()), "state");
    QCOMPARE(log.texts(QtCriticalMsg), line.isEmpty() ? QStringList() : QStringList{line});
    if (!line.isEmpty())
        QCOMPARE(log.find(line).function, QStringLiteral("run"));
}

void tst_silent_threads::judgesNothing()
{
    const QString line = QStringLiteral("静默补丁安装线程获取参数失败");
    const LogCatcher log;
    CSilentInstallThread noRequest(nullptr, manager());
    CSilentInstallThread noManager(args::input<args::PatchIn>(), nullptr);
    CSilentInstallThread interrupted(args::input<args::PatchIn>({{Name, "乙"}}), manager());
    interrupted.InterruptTask();
    for (CSilentInstallThread *thread : {&noRequest, &noManager, &interrupted})
        QCOMPARE(announcements(*thread), 1);
    QCOMPARE(log.texts(QtCriticalMsg), (QStringList{line, line}));
    QCOMPARE(manager()->getSilentPatchInstallState("乙"), 1);
}

// The owner drops the thread as soon as it hears of the end, while run() still has some way to go. TARN_SILENT_CYCLES
// for a longer run.
void tst_silent_threads::endsUnderItsOwnAnnouncement()
{
    const auto request = args::input<args::PatchIn>({{Name, "丙"}, {Patch, QCoreApplication::applicationFilePath()}});
    const int cycles = qMax(500, qEnvironmentVariableIntValue("TARN_SILENT_CYCLES"));
    for (int i = 0; i < cycles; ++i) {
        auto thread = QSharedPointer<CSilentInstallThread>::create(request, manager());
        QEventLoop loop;
        connect(thread.data(), &CSilentInstallThread::installFinished, &loop, [&] {
            thread.reset();
            loop.quit();
        });
        connect(
            thread.data(), &CSilentInstallThread::installFinished, thread.data(), [] { ::usleep(300); },
            Qt::DirectConnection);
        thread->start();
        loop.exec();
        QVERIFY(!thread);
    }
}

void tst_silent_threads::filesInUse()
{
    QTemporaryDir folder;
    const QString program = folder.filePath("program");
    CSilentInstallThread thread(nullptr, nullptr);
    QVERIFY(!thread.IsExeFileUsing(program));
    QVERIFY(!QFile::exists(program));
    QVERIFY(QFile::copy("/bin/sleep", program));
    QVERIFY(QFile::setPermissions(program, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner));
    QVERIFY(!thread.IsExeFileUsing(program));
    QProcess running;
    running.start(program, {"60"});
    QVERIFY(running.waitForStarted());
    QTRY_VERIFY(thread.IsExeFileUsing(program));
    running.kill();
    QVERIFY(running.waitForFinished());
    QVERIFY(!thread.IsExeFileUsing(program));
    QVERIFY(QFile::setPermissions(program, QFile::ReadOwner));
    if (::geteuid() != 0) // who may write anything
        QVERIFY(thread.IsExeFileUsing(program));
}

void tst_silent_threads::checkerFindsEverythingRunning()
{
    CProcessChecker checker;
    QSignalSpy gone(&checker, &CProcessChecker::processNoFind);
    checker.setProcessName(QStringLiteral("no-such-program"));
    QCOMPARE(checker.getProcessName(), QStringLiteral("no-such-program"));
    QVERIFY(checker.processIsExit(checker.getProcessName()));
    checker.start();
    QVERIFY(!gone.wait(500)); // two periods and a half
    QVERIFY(checker.isRunning());
}

void tst_silent_threads::checkerStops()
{
    qint64 fastest = 1000;
    for (int i = 0; i < 5; ++i) { // the best of five, since the machine may be busy with other things
        CProcessChecker checker;
        QEventLoop untilStarted;
        connect(&checker, &QThread::started, &untilStarted, &QEventLoop::quit);
        checker.start();
        untilStarted.exec();
        QElapsedTimer timer;
        timer.start();
        checker.stop();
        QVERIFY(checker.wait(10000));
        fastest = qMin(fastest, timer.elapsed());
    }
    QVERIFY2(fastest <= 25, qPrintable(QString::number(fastest)));
    CProcessChecker neverStarted;
    CProcessChecker stoppedByItsEnd;
    stoppedByItsEnd.start();
}

QTEST_MAIN(tst_silent_threads)
#include "tst_silent_threads.moc"
