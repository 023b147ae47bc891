#include "e2e/Session.h"

#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonObject>
#include <QTest>

namespace {

const QString Product = QStringLiteral("青石排版"); // its patch is 3.1.0.2
const QString Program = QStringLiteral("bluestone-sample");

// Stands for a product's program, with a name and a file of its own.
class Running final : public QProcess
{
public:
    explicit Running(const QString &file)
    {
        QFile::copy(QStringLiteral("/bin/sleep"), file);
        start(file, {QStringLiteral("600")});
        waitForStarted();
    }
    ~Running() override
    {
        kill();
        waitForFinished();
    }
    bool isAlive()
    {
        QCoreApplication::processEvents();
        return state() == QProcess::Running;
    }
};

} // namespace

// A silent patch with real processes, from the command line to the installed file.
class TestSilentPatch final : public QObject
{
    Q_OBJECT
private slots:
    void init();
    void installsThePatch();
    void runningProductsAreRefusedOrEnded();
    void failuresAreToldOnce();
    void wrongUsage();
    void cleanup();

private:
    QString silent(const QStringList &arguments, int expected); // what tarnctl says
    QJsonObject show(const QVariantMap &values);
    int query();
    QString inProduct(const QString &name) const { return m_session->path("bin/apps/bluestone/" + name); }
    QByteArray description() const;

    std::unique_ptr<Session> m_session;
};

void TestSilentPatch::init()
{
    m_session = std::make_unique<Session>();
    QVERIFY(m_session->startHost());
    QVERIFY2(m_session->waitReady(), qPrintable(m_session->hostLog()));
}

QString TestSilentPatch::silent(const QStringList &arguments, int expected)
{
    const Session::Result result = m_session->tarnctl(QStringList{"upgrade", "silent"} + arguments);
    const QString said = QString::fromUtf8(result.output + result.errors);
    if (result.exitCode != expected)
        qWarning("tarnctl ended with %d: %s", result.exitCode, qPrintable(said));
    return result.exitCode == expected ? said : QString();
}

QJsonObject TestSilentPatch::show(const QVariantMap &values)
{
    const QByteArray json = QJsonDocument(QJsonObject::fromVariantMap(values)).toJson(QJsonDocument::Compact);
    return m_session->tarnctl({"call", "showSilentPatchInstallDialog", QString::fromUtf8(json)}).json().toObject();
}

int TestSilentPatch::query()
{
    const QJsonObject answer = show({{"软件名称", Product}, {"是否静默补丁安装状态获取", true}});
    return answer.value("values").toObject().value("静默补丁安装状态").toInt();
}

QByteArray TestSilentPatch::description() const
{
    QFile file(inProduct("installation.ini"));
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

void TestSilentPatch::installsThePatch()
{
    QVERIFY(!description().contains("3.1.0.2"));
    QCOMPARE(silent({Product}, 0), QString("shown: yes\nstate of the window: 1\ninstalled: 3.1.0.2\n"));
    QVERIFY(description().contains("PatchVersion=3.1.0.2"));
    QVERIFY(QFile::exists(inProduct("bluestone-patch-3.1.0.2.version")));
    const QString log = m_session->hostLog();
    QVERIFY(!log.contains("静默补丁安装线程未找到补丁包文件"));
    QCOMPARE(query(), 1);
    QVERIFY(silent({Product}, 1).contains("there is no patch"));
    QVERIFY(m_session->hostRuns()); // its only window has closed
}

void TestSilentPatch::runningProductsAreRefusedOrEnded()
{
    m_session->writeBinFile("apps/bluestone/installation.ini",
                            "[General]\nSoftwareName=" + Product.toUtf8() +
                                "\nVersion=3.1.0\nSoftBytes=64\nExeName=" + Program.toUtf8() + "\n");
    Running program(inProduct(Program));
    Running copy(inProduct(Program + "2"));
    Running elsewhere(m_session->path(Program));
    QVERIFY(program.isAlive() && copy.isAlive() && elsewhere.isAlive());
    QVERIFY(silent({Product}, 1).contains("the product is running"));
    QVERIFY(program.isAlive() && !description().contains("3.1.0.2"));
    QVERIFY(silent({"--kill-running", Product}, 0).contains("installed: 3.1.0.2"));
    QTRY_VERIFY(!program.isAlive());
    QVERIFY(copy.isAlive() && elsewhere.isAlive());
    QVERIFY(description().contains("PatchVersion=3.1.0.2"));
}

void TestSilentPatch::failuresAreToldOnce()
{
    QCOMPARE(query(), 1);
    const QJsonObject answer = show({{"软件名称", Product}, {"升级文件在本地的路径", "/no/such.package"}});
    QVERIFY(answer.value("accepted").toBool());
    QCOMPARE(answer.value("retCode").toInt(), 1000);
    QVERIFY(QTest::qWaitFor([&] { return query() == 99; }, 20000)); // an answer that must not be asked for twice
    QCOMPARE(query(), 1);
    QVERIFY(m_session->hostLog().contains("静默补丁安装线程未找到补丁包文件"));
    QVERIFY(m_session->hostRuns());
}

void TestSilentPatch::wrongUsage()
{
    QVERIFY(silent({"无此产品"}, 1).contains("there is no patch"));
    QVERIFY(!silent({}, 2).isEmpty());
    QVERIFY(!silent({"--nonsense", Product}, 2).isEmpty());
    // Without the user interface the patch is installed all the same.
    QCOMPARE(m_session->stopHost(), 0);
    QProcess hub;
    QVERIFY(m_session->startHub(&hub));
    QTRY_VERIFY_WITH_TIMEOUT(m_session->tarnctl({"upgrade", "status"}).exitCode == 0, 20000);
    QVERIFY(silent({Product}, 0).contains("shown: no"));
    QVERIFY(description().contains("PatchVersion=3.1.0.2"));
    hub.terminate();
    QVERIFY(hub.waitForFinished());
}

void TestSilentPatch::cleanup()
{
    if (m_session->hostRuns())
        QCOMPARE(m_session->stopHost(), 0);
}

QTEST_GUILESS_MAIN(TestSilentPatch)
#include "tst_silent_patch.moc"
