// The upgrade service's part of a silent patch; the visualized service is played by the test.
#include "services/InstalledSoftware.h"
#include "services/UpgradeService.h"
#include "support/CallContext.h"
#include "support/Packages.h"
#include "support/SampleProgram.h"
#include "tarn/keys/UpgradeKeys.h"
#include "tarn/link/MessageWire.h"
#include "tarn/link/UpgradeWire.h"
#include <QTemporaryDir>
#include <QTest>
#include <cstdio>
#include <stdexcept>

using namespace tarn;
using rpc::Bag;
using rpc::CallResult;
namespace key = tarn::upgrade::key;
namespace wire = tarn::link::wire;

namespace {

const QString Product = QStringLiteral("绘图");

} // namespace

class TestSilentPatch final : public QObject
{
    Q_OBJECT
private slots:
    void init()
    {
        m_service.reset();
        m_shown.clear();
        m_queries = 0;
        m_state = [] { return 1; };
        m_directory = std::make_unique<QTemporaryDir>();
        m_product = packages::install(m_directory->filePath("apps"), Product, "1.9"); // with the patch 1.0.1
        offer(packages::archive({{"bin/program", "patched"}}), R"(,"release":{"version":"2.0"})");
        const services::UpgradePaths paths{m_directory->filePath("catalogue.json"), m_directory->filePath("apps")};
        m_service = services::makeUpgradeService(m_directory->path(), paths,
                                                 [this](const QString &, const Bag &bag) { return present(bag); });
    }

    void downloadsShowsInstallsAndFollows()
    {
        m_state = [this] { return m_shown.isEmpty() ? 99 : 1; }; // first the end of an earlier patch
        const CallResult result = patch();
        QVERIFY2(result.accepted, qPrintable(result.errorText));
        const QVariantMap expected{
            {wire::Shown, true}, {wire::ShowError, QString()}, {key::SilentState, 1}, {key::NewVersion, "1.9.5"}};
        QCOMPARE(result.output.values, expected);
        QCOMPARE(m_shown.size(), 1);
        QVERIFY(!m_shown.first().take("package").toByteArray().isEmpty());
        m_shown.first().remove(key::LocalFile);
        QCOMPARE(m_shown.first(), (QVariantMap{{key::SoftwareName, Product},
                                               {key::SettingsPath, m_product + "/installation.ini"},
                                               {key::InstallDir, m_product},
                                               {key::Restart, false}}));
        QVERIFY(m_queries >= 2);
        QCOMPARE(patchVersion(), QString("1.9.5"));
        QCOMPARE(packages::readFile(m_product + "/bin/program"), QByteArray("patched"));
        QVERIFY(patch().errorText.contains("there is no patch"));

        init();
        m_state = nullptr; // works without a window
        QCOMPARE(patch().output.values.value(wire::ShowError), QVariant("no service"));
        QCOMPARE(patchVersion(), QString("1.9.5"));
    }

    void refusals()
    {
        for (const QVariant &name : {QVariant(), QVariant(5), QVariant(QString(10000, 'x'))})
            QCOMPARE(invoke(wire::method::PatchSilently, {{key::SoftwareName, name}}).retCode,
                     int(upgrade::code::InvalidArgs));
        packages::writeFile(m_directory->filePath("patch.tar.gz"), "other bytes");
        QVERIFY(!patch().accepted && m_shown.isEmpty());
        offer("no archive");
        QVERIFY(patch().errorText.contains("unpacked"));
        packages::writeFile(m_directory->filePath("catalogue.json"), "{");
        QVERIFY(patch().errorText.contains("catalogue"));
        QCOMPARE(m_shown.size(), 1);
        QCOMPARE(patchVersion(), QString("1.0.1"));
    }

    void failuresOfTheWindow()
    {
        for (const int failing : {1, 2}) { // the answer to the show itself, or to a query after it
            init();
            m_state = [this, failing] { return m_queries == failing && m_shown.size() == 1 ? 99 : 1; };
            const CallResult failed = patch();
            QVERIFY(failed.errorText.contains("no such package"));
            QCOMPARE(failed.output.values.value(key::SilentState), QVariant(99));
            QCOMPARE(stateOfTask(), int(upgrade::state::Cancelled));
        }
        CallContext context;
        context.hasEnded = [this] { return m_shown.size() == 2; };
        QVERIFY(!patch(context).accepted); // the caller ends
        QCOMPARE(patchVersion(), QString("1.0.1"));
        m_state = [this] { return patchVersion() == "1.9.5" ? 99 : 1; };
        QCOMPARE(patch().output.values.value(key::SilentState), QVariant(99)); // too late to undo anything
        QCOMPARE(patchVersion(), QString("1.9.5"));

        init();
        m_state = [this] { return patchVersion() == "1.9.5" ? throw std::runtime_error("no answer") : 1; };
        QVERIFY(patch().accepted);
    }

    void otherTasksAreLeftAlone()
    {
        offer("p", R"(,"release":{"version":"2.0","package":{"url":"http://127.0.0.1:9/none","size":1,"sha256":")" +
                       QByteArray(64, 'a') + "\"}}");
        QVERIFY(invoke("StartDownload", {{key::Software, QVariantMap{{key::NewVersion, "2.0"}}}}).accepted);
        QVERIFY(patch().errorText.contains("another task"));

        // One with the same patch is joined, but not stopped when the caller ends.
        init();
        const QVariantMap wanted{{key::Patch, QVariantMap{{key::NewVersion, "1.9.5"}}}};
        QVERIFY(invoke("StartDownload", wanted).accepted);
        m_shown.clear(); // of the window with the tasks
        CallContext context;
        context.hasEnded = [this] { return !m_shown.isEmpty(); };
        const CallResult joined = patch(context);
        QVERIFY2(joined.errorText.contains("no longer waits"), qPrintable(joined.errorText));
        QCOMPARE(stateOfTask(), int(upgrade::state::Downloaded));
        QVERIFY(patch().accepted); // also one that an interrupted call has left
        QCOMPARE(patchVersion(), QString("1.9.5"));
    }

    void programsOutsideAreNotTheProducts()
    {
        SampleProgram shared(m_directory->filePath("shared"));
        QVERIFY(QFile::remove(m_product + "/bin/program"));
        QVERIFY(QFile::link(m_directory->filePath("shared"), m_product + "/bin/program"));
        QVERIFY(patch({}, true).accepted);
        QVERIFY(!shared.waitForFinished(100));

        // But one whose file was replaced, as an update does, is.
        init();
        QVERIFY(QFile::remove(m_product + "/bin/program"));
        SampleProgram old(m_product + "/bin/program"), literal(m_product + "/bin/program (deleted)");
        QVERIFY(packages::writeFile(m_product + "/bin/new", "new"));
        QCOMPARE(::rename(qPrintable(m_product + "/bin/new"), qPrintable(m_product + "/bin/program")), 0);
        QVERIFY(patch().errorText.contains("the product is running"));
        QVERIFY(patch({}, true).accepted);
        QTRY_VERIFY(!old.isAlive());
        QVERIFY(literal.isAlive());
    }

private:
    CallResult present(const Bag &bag)
    {
        CallResult result;
        if (!m_state) {
            result.error = {rpc::RpcError::NoHub, "no service"};
            return result;
        }
        const bool query = bag.values.value(key::QueryOnly).toBool();
        m_queries += query ? 1 : 0;
        if (!query) {
            m_shown << bag.values;
            m_shown.last().insert("package", packages::readFile(bag.values.value(key::LocalFile).toString()));
        }
        result.accepted = true;
        result.output.values.insert(key::SilentState, m_state());
        return result;
    }

    void offer(const QByteArray &package, const QByteArray &further = {})
    {
        packages::writeFile(m_directory->filePath("patch.tar.gz"), package);
        packages::writeFile(m_directory->filePath("catalogue.json"),
                            "{\"products\":[{\"name\":\"" + Product.toUtf8() +
                                "\",\"patches\":[{\"version\":\"1.9.5\",\"for\":\"1.9\",\"package\":{\"url\":"
                                "\"patch.tar.gz\",\"size\":" +
                                QByteArray::number(package.size()) + ",\"sha256\":\"" +
                                packages::sha256(package).toLatin1() + "\"}}]" + further + "}]}");
    }

    CallResult patch(const CallContext &context = {}, bool killRunning = false)
    {
        return invoke(wire::method::PatchSilently, {{wire::KillRunning, killRunning}}, context);
    }
    CallResult invoke(const QString &method, QVariantMap values = {}, const CallContext &context = {})
    {
        if (!values.contains(key::SoftwareName))
            values.insert(key::SoftwareName, Product);
        return m_service->invoke(method, {values, {}}, context);
    }
    int stateOfTask()
    {
        const QVariantList tasks = invoke("QueryTaskInfos").output.values.value(key::TaskInfoList).toList();
        return tasks.value(0).toMap().value(key::Status).toInt();
    }
    QString patchVersion() const
    {
        return services::readInstalledSoftware(m_directory->filePath("apps")).value(Product).patchVersion;
    }

    std::unique_ptr<QTemporaryDir> m_directory;
    QSharedPointer<rpc::IInvocable> m_service;
    QString m_product; // its folder
    QList<QVariantMap> m_shown;
    int m_queries = 0;
    std::function<int()> m_state; // of the window; null: the visualized service does not run
};

QTEST_GUILESS_MAIN(TestSilentPatch)
#include "tst_SilentPatch.moc"
