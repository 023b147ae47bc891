#include "e2e/Session.h"
#include "support/Packages.h"
#include "support/SampleProgram.h"

#include <QJsonObject>
#include <QTest>

// A silent patch with real processes, from the command line to the installed file.
class TestSilentPatch final : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase();
    void failuresAreToldOnce();
    void runningProductsAreRefusedOrEnded();

private:
    QString silent(const QStringList &arguments, int expected); // what tarnctl says
    int stateOf(const QString &request);
    int query();
    QString in(const QString &name) const { return m_session.path("bin/apps/bluestone/" + name); }
    QByteArray description() const { return packages::readFile(in("installation.ini")); }

    const QString m_product = QStringLiteral("青石排版"); // its patch is 3.1.0.2
    Session m_session;
};

void TestSilentPatch::initTestCase()
{
    QVERIFY(m_session.startHost());
    QVERIFY2(m_session.waitReady(), qPrintable(m_session.hostLog()));
}

QString TestSilentPatch::silent(const QStringList &arguments, int expected)
{
    const Session::Result result = m_session.tarnctl(QStringList{"upgrade", "silent"} + arguments);
    const QString said = QString::fromUtf8(result.output + result.errors);
    return result.exitCode == expected ? said : QStringLiteral("%1 %2").arg(result.exitCode).arg(said);
}

int TestSilentPatch::stateOf(const QString &request)
{
    const QJsonObject answer = m_session.tarnctl({"call", "showSilentPatchInstallDialog", request}).json().toObject();
    return answer.value("values").toObject().value("静默补丁安装状态").toInt();
}

int TestSilentPatch::query()
{
    return stateOf("{\"软件名称\":\"" + m_product + "\",\"是否静默补丁安装状态获取\":true}");
}

void TestSilentPatch::failuresAreToldOnce()
{
    const QString json = "{\"软件名称\":\"" + m_product + "\",\"升级文件在本地的路径\":\"/no/such.package\"}";
    QCOMPARE(query(), 1);
    const int told = stateOf(json);                                               // by the show itself, if it is quick
    QVERIFY(told == 99 || QTest::qWaitFor([&] { return query() == 99; }, 20000)); // must not be asked for twice
    QCOMPARE(query(), 1);
}

void TestSilentPatch::runningProductsAreRefusedOrEnded()
{
    QVERIFY(packages::writeFile(in("installation.ini"), "[General]\nSoftwareName=" + m_product.toUtf8() +
                                                            "\nVersion=3.1.0\nExeName=bluestone-sample\n"));
    SampleProgram program(in("bluestone-sample")), copy(in("bluestone-sample2"));
    SampleProgram elsewhere(m_session.path("bluestone-sample"));
    QVERIFY(silent({m_product}, 1).contains("the product is running"));
    // The online-upgrade window, which installs whatever has been downloaded, is open meanwhile.
    QCOMPARE(m_session.tarnctl({"upgrade", "start", "远帆仿真"}).exitCode, 0);
    QVERIFY(program.isAlive() && !description().contains("3.1.0.2"));
    QCOMPARE(silent({"--kill-running", m_product}, 0),
             QString("shown: yes\nstate of the window: 1\ninstalled: 3.1.0.2\n"));
    QTRY_VERIFY(!program.isAlive());
    QVERIFY(copy.isAlive() && elsewhere.isAlive());
    QVERIFY(description().contains("PatchVersion=3.1.0.2"));
    QVERIFY(QFile::exists(in("bluestone-patch-3.1.0.2.version")));
    QCOMPARE(m_session.hostLog().count("静默补丁安装线程未找到补丁包文件"), 1); // of the test before
    QCOMPARE(query(), 1);
    QVERIFY(silent({m_product}, 1).contains("there is no patch"));
    QVERIFY(silent({}, 2).contains("PRODUCT is missing"));
    QVERIFY(m_session.hostRuns()); // though its only window has closed
    QCOMPARE(m_session.stopHost(), 0);
}

QTEST_GUILESS_MAIN(TestSilentPatch)
#include "tst_silent_patch.moc"
