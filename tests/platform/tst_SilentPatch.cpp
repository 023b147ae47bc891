// The upgrade service's part of a silent patch; the visualized service is played by the test.
#include "InstalledSoftware.h"
#include "UpgradeService.h"
#include "support/Packages.h"
#include "tarn/link/MessageWire.h"
#include "tarn/link/UpgradeWire.h"
#include "tarn/upgrade/UpgradeKeys.h"
#include <QTemporaryDir>
#include <QTest>

using namespace tarn;
using rpc::Bag;
using rpc::CallResult;
using services::UpgradeService;
namespace key = tarn::upgrade::key;
namespace code = tarn::upgrade::code;
namespace wire = tarn::link::wire;

namespace {

const QString Product = QStringLiteral("绘图");

struct Context final : rpc::ICallContext
{
    std::function<bool()> gone = [] { return false; };
    bool isCancelled() const override { return gone(); }
};

CallResult stateAnswer(int state)
{
    CallResult result;
    result.accepted = true;
    result.retCode = code::Ok;
    result.output.values.insert(key::SilentState, state);
    return result;
}

} // namespace

class TestSilentPatch final : public QObject
{
    Q_OBJECT
private slots:
    void init();

    void downloadsShowsInstallsAndFollows();
    void patchBesideANewVersion();
    void goesOnWithoutAWindow();
    void badPackageIsNotInstalled();
    void failureOfTheWindowEndsIt();
    void lateFailureDoesNotUndoIt();
    void otherTasksAreLeftAlone();
    void callerWhoGoesEndsIt();
    void programsOutsideAreNotTheProducts();
    void refusesWhatIsWrong();

private:
    void offer(const QByteArray &further = {}, const QByteArray &sha256 = {});
    CallResult patch(const Context &context = {});
    QString patchVersion() const;
    int taskState();

    std::unique_ptr<QTemporaryDir> m_directory;
    std::unique_ptr<UpgradeService> m_service;
    QString m_product; // its folder
    QByteArray m_package;
    QList<QVariantMap> m_shown;
    int m_queries = 0;
    std::function<CallResult()> m_query; // what the state is asked to be
};

void TestSilentPatch::init()
{
    m_service.reset();
    m_shown.clear();
    m_queries = 0;
    m_query = [] { return stateAnswer(1); };
    m_directory = std::make_unique<QTemporaryDir>();
    m_product = packages::install(m_directory->filePath("apps"), Product, "1.9");
    m_package = packages::archive({{"bin/program", "patched"}});
    packages::writeFile(m_directory->filePath("patch.tar.gz"), m_package);
    offer();
    const services::UpgradePaths paths{m_directory->filePath("catalogue.json"), m_directory->filePath("apps")};
    m_service = std::make_unique<UpgradeService>(
        m_directory->path(), paths, [this](const QString &operation, const Bag &bag) -> CallResult {
            if (operation != "showSilentPatchInstallDialog")
                return {};
            if (bag.values.value(key::QueryOnly).toBool()) {
                ++m_queries;
                return m_query();
            }
            m_shown.append(bag.values);
            m_shown.last().insert("was there", QFile::exists(bag.values.value(key::LocalFile).toString()));
            return stateAnswer(99); // what an earlier installation has left
        });
}

void TestSilentPatch::offer(const QByteArray &further, const QByteArray &sha256)
{
    const QByteArray sum = sha256.isEmpty() ? packages::sha256(m_package).toLatin1() : sha256;
    packages::writeFile(m_directory->filePath("catalogue.json"),
                        "{\"products\":[{\"name\":\"" + Product.toUtf8() +
                            "\",\"patches\":[{\"version\":\"1.9.5\",\"for\":\"1.9\",\"package\":{\"url\":"
                            "\"patch.tar.gz\",\"size\":" +
                            QByteArray::number(m_package.size()) + ",\"sha256\":\"" + sum + "\"}}]" + further + "}]}");
}

CallResult TestSilentPatch::patch(const Context &context)
{
    return m_service->invoke(wire::method::PatchSilently, {{{key::SoftwareName, Product}}, {}}, context);
}

QString TestSilentPatch::patchVersion() const
{
    const auto installed = services::readInstalledSoftware(m_directory->filePath("apps"));
    return installed.size() == 1 ? installed.first().patchVersion : QString();
}

int TestSilentPatch::taskState()
{
    const CallResult result = m_service->invoke("QueryTaskInfos", {}, Context());
    const QVariantList tasks = result.output.values.value(key::TaskInfoList).toList();
    return tasks.isEmpty() ? 0 : tasks.first().toMap().value(key::Status).toInt();
}

void TestSilentPatch::downloadsShowsInstallsAndFollows()
{
    const CallResult result = patch();
    QVERIFY2(result.accepted, qPrintable(result.errorText));
    QCOMPARE(result.retCode, int(code::Ok));
    QCOMPARE(
        result.output.values,
        (QVariantMap{
            {wire::Shown, true}, {wire::ShowError, QString()}, {key::SilentState, 1}, {key::NewVersion, "1.9.5"}}));
    QCOMPARE(m_shown.size(), 1);
    QVariantMap shown = m_shown.first();
    QVERIFY(shown.take(key::LocalFile).toString().startsWith(m_directory->path()));
    QCOMPARE(shown, (QVariantMap{{key::SoftwareName, Product},
                                 {key::SettingsPath, m_product + "/installation.ini"},
                                 {key::InstallDir, m_product},
                                 {key::Restart, false},
                                 {"was there", true}}));
    QVERIFY(m_queries >= 2);
    QCOMPARE(patchVersion(), QString("1.9.5"));
    QCOMPARE(packages::readFile(m_product + "/bin/program"), QByteArray("patched"));
    QVERIFY(patch().errorText.contains("there is no patch"));
}

void TestSilentPatch::patchBesideANewVersion()
{
    offer(R"(,"release":{"version":"2.0"})");
    QVERIFY(patch().accepted);
    QCOMPARE(patchVersion(), QString("1.9.5"));
}

void TestSilentPatch::goesOnWithoutAWindow()
{
    m_service.reset();
    const services::UpgradePaths paths{m_directory->filePath("catalogue.json"), m_directory->filePath("apps")};
    m_service = std::make_unique<UpgradeService>(m_directory->path(), paths, [this](const QString &, const Bag &) {
        CallResult failed;
        failed.error = {rpc::RpcError::NoHub, "nobody there"};
        ++m_queries;
        return failed;
    });
    const CallResult result = patch();
    QVERIFY(result.accepted && !result.output.values.value(wire::Shown).toBool());
    QCOMPARE(result.output.values.value(wire::ShowError), QVariant("nobody there"));
    QCOMPARE(m_queries, 1); // nobody is asked for a state
    QCOMPARE(patchVersion(), QString("1.9.5"));
}

void TestSilentPatch::badPackageIsNotInstalled()
{
    offer({}, QByteArray(64, 'a'));
    QVERIFY(!patch().accepted);
    QVERIFY(m_shown.isEmpty());
    m_package = "no archive";
    packages::writeFile(m_directory->filePath("patch.tar.gz"), m_package);
    offer();
    const CallResult result = patch();
    QVERIFY(!result.accepted && result.errorText.contains("unpacked"));
    QCOMPARE(m_shown.size(), 1);
    QCOMPARE(patchVersion(), QString("1.0.1")); // as it was
}

void TestSilentPatch::failureOfTheWindowEndsIt()
{
    m_query = [this] { return stateAnswer(m_queries == 2 ? 99 : 1); };
    const CallResult result = patch();
    QVERIFY(!result.accepted && result.errorText.contains("no such package"));
    QCOMPARE(result.output.values, QVariantMap());
    QCOMPARE(patchVersion(), QString("1.0.1"));
    QCOMPARE(taskState(), int(tarn::upgrade::state::Cancelled));
}

void TestSilentPatch::lateFailureDoesNotUndoIt()
{
    m_query = [this] { return stateAnswer(patchVersion() == "1.9.5" ? 99 : 1); };
    const CallResult result = patch();
    QVERIFY(result.accepted);
    QCOMPARE(result.output.values.value(key::SilentState), QVariant(99));
}

void TestSilentPatch::otherTasksAreLeftAlone()
{
    offer(R"(,"release":{"version":"2.0","package":{"url":"http://127.0.0.1:9/none","size":1,"sha256":")" +
          QByteArray(64, 'a') + "\"}}");
    const QVariantMap release{{key::SoftwareName, Product}, {key::Software, QVariantMap{{key::NewVersion, "2.0"}}}};
    QVERIFY(m_service->invoke("StartDownload", {release, {}}, Context()).accepted);
    const CallResult result = patch();
    QVERIFY(!result.accepted && result.errorText.contains("another task"));
    QVERIFY(m_shown.isEmpty() && patchVersion() == "1.0.1");
    QVERIFY(taskState() != tarn::upgrade::state::Cancelled);
}

void TestSilentPatch::callerWhoGoesEndsIt()
{
    Context context;
    context.gone = [this] { return !m_shown.isEmpty(); };
    QVERIFY(!patch(context).accepted);
    QCOMPARE(patchVersion(), QString("1.0.1"));
    QCOMPARE(taskState(), int(tarn::upgrade::state::Cancelled));
}

void TestSilentPatch::programsOutsideAreNotTheProducts()
{
    QProcess shared;
    shared.start("/bin/sleep", {"600"});
    QVERIFY(shared.waitForStarted());
    QVERIFY(QFile::remove(m_product + "/bin/program") && QFile::link("/bin/sleep", m_product + "/bin/program"));
    const Bag bag{{{key::SoftwareName, Product}, {wire::KillRunning, true}}, {}};
    QVERIFY(m_service->invoke(wire::method::PatchSilently, bag, Context()).accepted);
    QVERIFY(!shared.waitForFinished(100));
    shared.kill();
    QVERIFY(shared.waitForFinished());
}

void TestSilentPatch::refusesWhatIsWrong()
{
    for (const QVariant &name : {QVariant(), QVariant(5), QVariant(""), QVariant(QString(10000, 'x'))}) {
        const Bag bag{{{key::SoftwareName, name}}, {}};
        QCOMPARE(m_service->invoke(wire::method::PatchSilently, bag, Context()).retCode, int(code::InvalidArgs));
    }
    const Bag unknown{{{key::SoftwareName, "无"}}, {}};
    QCOMPARE(m_service->invoke(wire::method::PatchSilently, unknown, Context()).retCode, int(code::Refused));
    packages::writeFile(m_directory->filePath("catalogue.json"), "{");
    QVERIFY(patch().errorText.contains("catalogue"));
    QVERIFY(m_shown.isEmpty());
}

QTEST_GUILESS_MAIN(TestSilentPatch)
#include "tst_SilentPatch.moc"
