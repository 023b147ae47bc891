// Ending a product's program by force, with real programs: copies of "sleep" under names of the test's own.
#include "frame/VisualizedManager.h"
#include "support/LogCatcher.h"
#include "support/Packages.h"
#include "upgrade/BoxScript.h"
#include "upgrade/ForcedQuit.h"
#include "upgrade/SilentRequests.h"
#include <QElapsedTimer>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>
#include <sys/stat.h>
#include <unistd.h>

namespace {
constexpr uid_t Nobody = 65534;

class Program final : public QProcess
{
public:
    Program(const QTemporaryDir &folder, const QString &name, uid_t user = ::geteuid())
        : m_user(user)
    {
        const QString file = folder.filePath(name);
        QFile::copy("/bin/sleep", file);
        start(file, {"600"});
        waitForStarted();
    }
    ~Program() override
    {
        kill();
        waitForFinished();
    }
    bool isAlive()
    {
        QCoreApplication::processEvents();
        return state() == Running;
    }

protected:
    void setupChildProcess() override
    {
        if (m_user != ::geteuid() && ::setuid(m_user) != 0)
            ::_exit(1);
    }

private:
    const uid_t m_user;
};
} // namespace

class tst_silent_forced_quit : public QObject
{
    Q_OBJECT
private slots:
    void init();
    void cleanup();

    void endsTheProgramAndNothingElse();
    void endsADeletedProgram();
    void sparesItself();
    void namesThatEndNothing_data();
    void namesThatEndNothing();
    void upgradesNow();
    void settingsThatEndNothing_data();
    void settingsThatEndNothing();
    void callsTaskkillWhereThereIsOne();
    void doesNotWaitForTaskkillForEver();

private:
    void addTaskkill(const QByteArray &script);

    std::unique_ptr<QTemporaryDir> m_folder;
    QByteArray m_path;
};

void tst_silent_forced_quit::init()
{
    m_folder = std::make_unique<QTemporaryDir>();
    ::chmod(m_folder->path().toLocal8Bit().constData(), 0755); // for another user's program
    m_path = qgetenv("PATH");
}

void tst_silent_forced_quit::cleanup()
{
    qputenv("PATH", m_path);
    CVisualizedManager::FreeInstance();
}

void tst_silent_forced_quit::endsTheProgramAndNothingElse()
{
    Program wanted(*m_folder, "样例程序-sample-program");
    Program twin(*m_folder, "样例程序-sample-program");
    Program longer(*m_folder, "样例程序-sample-program2");
    Program other(*m_folder, "样例程序-SAMPLE-program"); // the same to a name cut to 15 bytes
    QVERIFY(wanted.isAlive() && twin.isAlive() && longer.isAlive() && other.isAlive());
    std::unique_ptr<Program> foreign;
    if (::geteuid() == 0)
        foreign = std::make_unique<Program>(*m_folder, "样例程序-sample-program", Nobody);
    QElapsedTimer timer;
    timer.start();
    forcedquit::endProgram("样例程序-sample-program", 30000);
    QVERIFY(timer.elapsed() < 10000);
    QVERIFY(!wanted.isAlive() && !twin.isAlive());
    QVERIFY(longer.isAlive() && other.isAlive());
    QVERIFY(!foreign || foreign->isAlive());
}

void tst_silent_forced_quit::endsADeletedProgram()
{
    Program program(*m_folder, "deleted-program");
    Program literal(*m_folder, "deleted-program (deleted)");
    QVERIFY(program.isAlive() && literal.isAlive());
    QVERIFY(QFile::remove(m_folder->filePath("deleted-program"))); // as an update does
    forcedquit::endProgram("deleted-program", 30000);
    QTRY_VERIFY(!program.isAlive());
    QVERIFY(literal.isAlive());
}

void tst_silent_forced_quit::sparesItself()
{
    const LogCatcher log;
    const QString self = QFileInfo(QCoreApplication::applicationFilePath()).fileName();
    forcedquit::endProgram(self, 30000);
    QVERIFY(log.has(QtWarningMsg, "不强制退出本进程：" + self));
}

void tst_silent_forced_quit::namesThatEndNothing_data()
{
    QTest::addColumn<QString>("name");
    QTest::newRow("empty") << QString();
    QTest::newRow("path") << QString("bin/sample-program");
    QTest::newRow("above") << QString("..");
    QTest::newRow("here") << QString(".");
    QTest::newRow("other path") << QString("bin\\sample-program");
    QTest::newRow("pattern") << QString("*");
    QTest::newRow("zero") << QString("sample-program") + QChar(0);
}

void tst_silent_forced_quit::namesThatEndNothing()
{
    QFETCH(QString, name);
    addTaskkill("#!/bin/sh\necho \"$@\" >" + m_folder->filePath("said").toUtf8() + "\n");
    const LogCatcher log;
    Program program(*m_folder, "sample-program");
    forcedquit::endProgram(name, 30000);
    QVERIFY(program.isAlive() && !QFile::exists(m_folder->filePath("said")));
    QCOMPARE(log.texts(QtWarningMsg), QStringList("不强制退出软件进程，程序名称无效：“" + name + "”"));
}

// From the question to the end of the program and the next attempt.
void tst_silent_forced_quit::upgradesNow()
{
    Program program(*m_folder, "sample-program");
    Program other(*m_folder, "sample-program2");
    const QString settings = m_folder->filePath("installation.ini");
    packages::writeFile(settings, "[General]\nSoftwareName=甲\nExeName=sample-program\n");
    const silent::LongWork longWork;
    const LogCatcher log;
    CInstallSilentPatchDlg dialog(silent::request("甲", {{"软件注册表路径", settings}}),
                                  CVisualizedManager::GetInstance(), nullptr);
    BoxScript boxes({BoxScript::pressing("立即升级")});
    dialog.OnTimeOut();
    QVERIFY(boxes.isDone() && dialog.isVisible());
    QVERIFY(!program.isAlive() && other.isAlive());
    QTRY_COMPARE(log.texts(QtDebugMsg).filter("静默补丁安装：软件名称：").size(), 2);
}

void tst_silent_forced_quit::settingsThatEndNothing_data()
{
    QTest::addColumn<QVariant>("path");
    QTest::addColumn<QByteArray>("content");
    QTest::newRow("none") << QVariant() << QByteArray();
    QTest::newRow("another type") << QVariant(QVariantList{1}) << QByteArray();
    QTest::newRow("missing") << QVariant("missing.ini") << QByteArray();
    QTest::newRow("directory") << QVariant(".") << QByteArray();
    QTest::newRow("pipe") << QVariant("pipe") << QByteArray();
    QTest::newRow("no name") << QVariant("a.ini") << QByteArray("[General]\nVersion=1\n");
    QTest::newRow("a path") << QVariant("a.ini") << QByteArray("[General]\nExeName=bin/sample-program\n");
    QTest::newRow("bytes") << QVariant("a.ini") << QByteArray("\0\xff[[ExeName", 12);
    QTest::newRow("huge") << QVariant("a.ini")
                          << "[General]\nExeName=sample-program\n" + QByteArray(8 * 1024 * 1024, '#');
}

void tst_silent_forced_quit::settingsThatEndNothing()
{
    QFETCH(QVariant, path);
    QFETCH(QByteArray, content);
    Program program(*m_folder, "sample-program");
    ::mkfifo(m_folder->filePath("pipe").toLocal8Bit().constData(), 0600);
    if (!content.isEmpty())
        packages::writeFile(m_folder->filePath(path.toString()), content);
    if (path.type() == QVariant::String)
        path = m_folder->filePath(path.toString());
    const silent::LongWork longWork;
    const LogCatcher log;
    CInstallSilentPatchDlg dialog(silent::request("甲", {{"软件注册表路径", path}}), CVisualizedManager::GetInstance(),
                                  nullptr);
    BoxScript boxes({BoxScript::pressing("立即升级")});
    dialog.OnTimeOut();
    QVERIFY(boxes.isDone() && program.isAlive());
    QCOMPARE(log.texts(QtWarningMsg).filter("程序名称无效").size(), 1);
}

void tst_silent_forced_quit::addTaskkill(const QByteArray &script)
{
    const QString file = m_folder->filePath("path/taskkill");
    QVERIFY(packages::writeFile(file, script));
    QVERIFY(QFile::setPermissions(file, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner));
    qputenv("PATH", m_folder->filePath("path").toLocal8Bit() + ':' + m_path);
}

void tst_silent_forced_quit::callsTaskkillWhereThereIsOne()
{
    addTaskkill("#!/bin/sh\nfor word; do echo \"<$word>\"; done >" + m_folder->filePath("said").toUtf8() + "\n");
    Program program(*m_folder, "sample program");
    forcedquit::endProgram("sample program", 30000);
    QCOMPARE(packages::readFile(m_folder->filePath("said")), QByteArray("</f>\n</im>\n<sample program>\n"));
    QVERIFY(program.isAlive()); // that is taskkill's business then
}

void tst_silent_forced_quit::doesNotWaitForTaskkillForEver()
{
    addTaskkill("#!/bin/sh\nexec sleep 600\n");
    int ticks = 0;
    QTimer alive;
    connect(&alive, &QTimer::timeout, this, [&] { ++ticks; });
    alive.start(10);
    QElapsedTimer timer;
    timer.start();
    forcedquit::endProgram("sample-program", 300);
    QVERIFY(timer.elapsed() >= 300 && timer.elapsed() < 20000);
    QVERIFY(ticks > 3); // windows stay alive meanwhile
    addTaskkill("not a program");
    forcedquit::endProgram("sample-program", 30000);
    QVERIFY(timer.elapsed() < 20000);
}

QTEST_MAIN(tst_silent_forced_quit)
#include "tst_silent_forced_quit.moc"
