// Ending a product's program by force, with real programs.
#include "base/Log.h"
#include "support/LogCatcher.h"
#include "support/Packages.h"
#include "support/SampleProgram.h"
#include "upgrade/BoxScript.h"
#include "upgrade/ForcedQuit.h"
#include "upgrade/SilentRequests.h"
#include "widgets/MessageText.h"
#include <QElapsedTimer>
#include <QTemporaryDir>
#include <QTest>
#include <csignal>
#include <sys/stat.h>

class tst_silent_forced_quit : public QObject
{
    Q_OBJECT
private slots:
    void init();
    void endsTheProgramAndNothingElse();
    void namesThatEndNothing();
    void upgradesNow();
    void taskkill();
    void cleanup() { CVisualizedManager::FreeInstance(); }

private:
    QString in(const QString &name) const { return m_folder->filePath(name); }
    void addTaskkill(const QByteArray &script) const;

    std::unique_ptr<QTemporaryDir> m_folder;
    const QByteArray m_path = qgetenv("PATH");
};

void tst_silent_forced_quit::init()
{
    m_folder = std::make_unique<QTemporaryDir>();
    ::chmod(qPrintable(m_folder->path()), 0755); // for another user's program
    qputenv("PATH", m_path);
}

void tst_silent_forced_quit::endsTheProgramAndNothingElse()
{
    const QString name("样例程序-sample-program");
    SampleProgram wanted(in(name)), twin(in(name)), longer(in(name + "2"));
    SampleProgram other(in("样例程序-SAMPLE-program")); // the same to a name cut to 15 bytes
    SampleProgram replaced(in("replaced")), literal(in("replaced (deleted)"));
    QVERIFY(QFile::remove(in("replaced"))); // as an update does
    constexpr uid_t Nobody = 65534;
    std::unique_ptr<SampleProgram> foreign;
    if (::geteuid() == 0)
        foreign = std::make_unique<SampleProgram>(in(name), Nobody);
    forcedquit::endProgram(name, 30000);
    QTRY_VERIFY(!wanted.isAlive() && !twin.isAlive());
    QVERIFY(longer.isAlive() && other.isAlive());
    QVERIFY(!foreign || foreign->isAlive());
    forcedquit::endProgram("replaced", 30000);
    QTRY_VERIFY(!replaced.isAlive());
    QVERIFY(literal.isAlive());
    forcedquit::endProgram(QFileInfo(QCoreApplication::applicationFilePath()).fileName(), 30000); // spares itself
}

void tst_silent_forced_quit::namesThatEndNothing()
{
    addTaskkill("#!/bin/sh\necho \"$@\" >" + in("said").toUtf8() + "\n");
    for (const QString &name :
         {QString(), QString("bin/sample-program"), QString(".."), QString("."), QString("bin\\sample-program"),
          QString("*"), QString("sample-program") + QChar(0), QString(5000, 'x')}) {
        const LogCatcher log;
        forcedquit::endProgram(name, 30000);
        QCOMPARE(log.texts(QtWarningMsg),
                 QStringList("不强制退出软件进程，程序名称无效：“" + vtlog::oneLine(messagetext::brief(name)) + "”"));
    }
    QVERIFY(!QFile::exists(in("said")));
}

// From the question to the end of the program and the next attempt.
void tst_silent_forced_quit::upgradesNow()
{
    SampleProgram program(in("sample-program")), other(in("sample-program2"));
    packages::writeFile(in("huge.ini"), "[General]\nExeName=sample-program\n" + QByteArray(8 * 1024 * 1024, '#'));
    packages::writeFile(in("path.ini"), "[General]\nExeName=bin/sample-program\n");
    packages::writeFile(in("bytes.ini"), QByteArray("\0\xff[[ExeName", 12));
    packages::writeFile(in("good.ini"), "[General]\nSoftwareName=甲\nExeName=sample-program\n");
    QCOMPARE(::mkfifo(qPrintable(in("pipe")), 0600), 0);
    const silent::LongWork longWork;
    for (const QVariant &settings :
         {QVariant(), QVariant(QVariantList{1}), QVariant(in("none")), QVariant(in(".")), QVariant(in("pipe")),
          QVariant(in("huge.ini")), QVariant(in("path.ini")), QVariant(in("bytes.ini")), QVariant(in("good.ini"))}) {
        QVERIFY(program.isAlive()); // only the last one may end it
        const LogCatcher log;
        CInstallSilentPatchDlg dialog(silent::request("甲", {{"软件注册表路径", settings}}),
                                      CVisualizedManager::GetInstance(), nullptr);
        BoxScript boxes({BoxScript::pressing("立即升级")});
        dialog.OnTimeOut();
        QVERIFY(boxes.isDone() && dialog.isVisible());
        QTRY_COMPARE(silent::workers(log), 2);
    }
    QTRY_VERIFY(!program.isAlive());
    QVERIFY(other.isAlive());
}

void tst_silent_forced_quit::addTaskkill(const QByteArray &script) const
{
    QVERIFY(packages::writeFile(in("path/taskkill"), script));
    QFile::setPermissions(in("path/taskkill"), QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    qputenv("PATH", in("path").toLocal8Bit() + ':' + m_path);
}

void tst_silent_forced_quit::taskkill()
{
    addTaskkill("#!/bin/sh\nfor word; do echo \"<$word>\"; done >" + in("said").toUtf8() + "\n");
    forcedquit::endProgram("sample program", 30000);
    QCOMPARE(packages::readFile(in("said")), QByteArray("</f>\n</im>\n<sample program>\n"));
    addTaskkill("#!/bin/sh\necho $$ >" + in("pid").toUtf8() + "\nexec sleep 600\n");
    int ticks = 0;
    QTimer alive;
    connect(&alive, &QTimer::timeout, this, [&] { ++ticks; });
    alive.start(10);
    QElapsedTimer timer;
    timer.start();
    const LogCatcher log;
    forcedquit::endProgram("sample-program", 1000);
    QVERIFY(timer.elapsed() >= 1000 && ticks > 3); // windows stay alive meanwhile
    const pid_t slow = packages::readFile(in("pid")).trimmed().toInt();
    QVERIFY(slow > 0 && ::kill(slow, SIGKILL) == 0); // it went on
    addTaskkill("#!/no/such/interpreter\n");
    forcedquit::endProgram("sample-program", 30000);
    QVERIFY(timer.elapsed() < 20000);
    const QStringList warnings = log.texts(QtWarningMsg);
    QVERIFY(warnings.size() == 2 && warnings.first().startsWith("等待taskkill结束超时"));
    QVERIFY(warnings.last().startsWith("taskkill无法启动"));
}

QTEST_MAIN(tst_silent_forced_quit)
#include "tst_silent_forced_quit.moc"
