// Ending a product's program by force, with real programs.
#include "support/Packages.h"
#include "support/SampleProgram.h"
#include "upgrade/ForcedQuit.h"
#include <QElapsedTimer>
#include <QTemporaryDir>
#include <QTest>
#include <memory>
#include <sys/stat.h>

using namespace tarn::visualized;

class tst_silent_forced_quit : public QObject
{
    Q_OBJECT
private slots:
    void init();
    void endsTheProgramAndNothingElse();
    void taskkill();

private:
    QString in(const QString &name) const { return m_folder->filePath(name); }

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
    SampleProgram replaced(in("replaced"));
    QVERIFY(QFile::remove(in("replaced"))); // as an update does
    constexpr uid_t Nobody = 65534;
    std::unique_ptr<SampleProgram> foreign;
    if (::geteuid() == 0)
        foreign = std::make_unique<SampleProgram>(in(name), Nobody);
    forcedquit::endProgram("C:\\Program Files\\bin/" + name, 30000);
    QTRY_VERIFY(!wanted.isAlive() && !twin.isAlive());
    QVERIFY(longer.isAlive() && other.isAlive());
    QVERIFY(!foreign || foreign->isAlive());
    forcedquit::endProgram("replaced", 30000);
    QTRY_VERIFY(!replaced.isAlive());
    forcedquit::endProgram(QFileInfo(QCoreApplication::applicationFilePath()).fileName(), 30000); // spares itself
}

void tst_silent_forced_quit::taskkill()
{
    const auto install = [this](const QByteArray &script) {
        QVERIFY(packages::writeFile(in("path/taskkill"), script));
        QFile::setPermissions(in("path/taskkill"), QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
        qputenv("PATH", in("path").toLocal8Bit() + ':' + m_path);
    };
    install("#!/bin/sh\nfor word; do echo \"<$word>\"; done >>" + in("said").toUtf8() + "\n");
    for (const QString &name : {QString(), QString("bin/"), QString("*"), QString("bin/a?"), QString("a") + QChar(0)})
        forcedquit::endProgram(name, 30000);
    forcedquit::endProgram("sample program", 30000);
    QCOMPARE(packages::readFile(in("said")), QByteArray("</f>\n</im>\n<sample program>\n"));
    install("#!/no/such/interpreter\n");
    QElapsedTimer timer;
    timer.start();
    forcedquit::endProgram("sample-program", 30000);
    QVERIFY(timer.elapsed() < 20000);
}

QTEST_MAIN(tst_silent_forced_quit)
#include "tst_silent_forced_quit.moc"
