#include "services/InstalledSoftware.h"
#include "services/Services.h"
#include "services/UpgradeStore.h"
#include "support/CallContext.h"
#include "support/LogCatcher.h"
#include "support/Packages.h"
#include "support/SampleProgram.h"
#include "tarn/keys/UpgradeKeys.h"
#include "tarn/link/MessageWire.h"
#include "tarn/link/UpgradeWire.h"
#include <QTest>
#include <cstdio>
#include <sodium.h>
#include <stdexcept>
#include <unistd.h>

using namespace tarn;
using rpc::Bag;
using rpc::CallResult;
namespace key = tarn::upgrade::key;
namespace code = tarn::upgrade::code;
namespace state = tarn::upgrade::state;
namespace wire = tarn::link::wire;

namespace {

const QString Product = QStringLiteral("绘图");

QByteArray package(const QByteArray &url, const QByteArray &size = "10", const QByteArray &sum = QByteArray(64, 'a'))
{
    return R"(,"package":{"url":")" + url + R"(","size":)" + size + R"(,"sha256":")" + sum + "\"}";
}

// A request for one version of the product.
QVariantMap wish(const QString &section, const QString &version)
{
    return {{key::SoftwareName, Product}, {section, QVariantMap{{key::NewVersion, version}}}};
}

} // namespace

// What is offered, remembered, started and patched; the visualized service is played by the test.
class TestUpgradeService final : public QObject
{
    Q_OBJECT
private slots:
    void init()
    {
        m_service.reset();
        m_directory = std::make_unique<QTemporaryDir>();
        m_shown.clear();
        m_queries = 0;
        m_answer = {};
        m_answer.accepted = true;
        m_state = [] { return 1; };
        m_product = packages::install(file("apps"), Product, "1.9"); // with the patch 1.0.1
        describe("type", "[General]\nSoftwareName=排版\nVersion=3.0\n\n[Plugins]\nsize=2\n1\\Name=公式\n"
                         "1\\Version=1.0\n2\\Name=词典\n2\\Version=5.0\n");
        offer(R"({"name":"绘图","icon":"i.svg","release":{"version":"1.10","date":"2026-05-01 10:00:00",
                  "notes":"n.html","更多":7)" +
              package("draw") + R"(},"patches":[{"version":"1.9.0.1","for":"1.9","forced":true)" + package("patch") +
              R"(}]},{"name":"排版","release":{"version":"3.0"},"patches":[{"version":"3.0.1","for":"3.0")" +
              package("p") + R"(},{"version":"2.9.9","for":"2.9"}],"plugins":[{"name":"公式","version":"1.2")" +
              package("formula") +
              R"(},{"name":"词典","version":"5.0"},{"name":"未装","version":"1"}]},
                 {"name":"未装","release":{"version":"9"}})");
        start();
    }

    void offersWhatIsNewer()
    {
        const CallResult result = call(wire::method::AnnounceUpdates);
        QVERIFY2(result.accepted, qPrintable(result.errorText));
        QCOMPARE(result.output.values.value(wire::Offered), QVariant(2));
        QCOMPARE(m_shown.size(), 1);
        QCOMPARE(m_shown.first().first, QString("showAutoCheckUpdateDialog"));
        QCOMPARE(m_shown.first().second.list, result.output.list);
        const QVariantMap draw = result.output.list.at(0).toMap();
        const QVariantMap release = draw.value(key::Software).toMap();
        QCOMPARE(draw.value(key::ExePath), QVariant(m_product + "/bin/program"));
        QCOMPARE(draw.value(key::IconPath), QVariant(file("c/i.svg")));
        QCOMPARE(release.value(key::CurrentVersion), QVariant("1.9"));
        QCOMPARE(release.value(key::NotesFile), QVariant(file("c/n.html")));
        QCOMPARE(release.value("更多"), QVariant(7.0)); // unknown keys of the catalogue are passed on
        QCOMPARE(draw.value(key::OldPatch).toMap().value(key::Forced), QVariant(true));
        QVERIFY(!draw.contains(key::Patch));
        const QVariantMap type = result.output.list.at(1).toMap();
        QCOMPARE(type.value(key::Patch).toMap().value(key::NewVersion), QVariant("3.0.1"));
        QCOMPARE(type.value(key::Plugins).toList().size(), 1);
        QVERIFY(!type.contains(key::Software) && !type.contains(key::OldPatch));

        QVERIFY(call(wire::method::AnnounceUpdates, {{wire::Show, false}}).accepted);
        QCOMPARE(m_shown.size(), 1);
        m_answer.accepted = false;
        m_answer.errorText = "no";
        QCOMPARE(call(wire::method::AnnounceUpdates).output.values.value(wire::ShowError), QVariant("no"));

        using services::isNewer;
        QVERIFY(isNewer("1.10", "1.9") && isNewer("1.9.0.1", "1.9") && isNewer("1.9b", "1.9a"));
        for (const QString &same : {QString("1.9"), QString("99999999999.1")}) // beyond int
            QVERIFY(!isNewer(same, same));
        QVERIFY(!isNewer("1.9", "1.10") && !isNewer("1.9.0", "1.9"));
    }

    void ignoredUpdatesStayAway()
    {
        QCOMPARE(offered(), (QStringList{"绘图", "排版"}));
        const auto record = [this](const QString &product) {
            return call("CheckNewVersion", {{key::SoftwareName, product}}).output.list.value(0).toMap();
        };
        // As the prompt sends it: without a version, with a section of the record.
        const auto ignore = [&](const QString &product, const QString &bits, const QString &section) {
            return call("IgnoreUpgrade", {{key::IgnoredName, product},
                                          {key::IgnoredVersion, ""},
                                          {key::Bitness, bits},
                                          {section, record(product).value(section)}})
                .accepted;
        };
        const auto forget = [this](const QVariantMap &values) {
            return call(wire::method::ForgetIgnores, values).output.values.value(wire::Removed).toInt();
        };
        QVERIFY(ignore("绘图", "64", key::Software));
        QCOMPARE(offered(), QStringList{"排版"});
        QVERIFY(ignore("排版", "", key::Plugins));
        QVERIFY(!record("排版").contains(key::Plugins));
        QVERIFY(ignore("排版", "", key::Patch));
        start(); // it is on the disk
        QCOMPARE(offered(), QStringList());
        QCOMPARE(call(wire::method::AnnounceUpdates).output.values.value(wire::Offered), QVariant(0));
        QVERIFY(m_shown.isEmpty());
        QCOMPARE(status().value(wire::Ignores).toList().size(), 3);
        QCOMPARE(forget({{key::SoftwareName, "绘图"}}), 1);
        QCOMPARE(offered(), QStringList{"绘图"});
        QCOMPARE(forget({}), 2);
        QVERIFY(ignore("绘图", "64", key::Software));
        // Version 1.11 is newer than the ignored one, so the service offers it. In a catalogue, null counts as missing.
        offer(
            R"({"name":"绘图","release":{"name":null,"version":"1.11","forced":null,"package":null},"patches":null})");
        QCOMPARE(offered(), QStringList{"绘图"});
    }

    void refusesWhatIsWrong()
    {
        const QVariantMap withoutPackage{{key::SoftwareName, "排版"},
                                         {key::Patch, QVariantMap{{key::NewVersion, "2.9.9"}}}};
        for (const QVariantMap &each :
             {QVariantMap{{key::SoftwareName, Product}}, wish(key::Software, "7"), withoutPackage}) {
            const CallResult result = call("StartDownload", each);
            QCOMPARE(result.retCode, int(code::Refused));
            QVERIFY(!result.errorText.isEmpty());
        }
        QCOMPARE(call("IgnoreUpgrade").retCode, int(code::InvalidArgs));
        QCOMPARE(call("IgnoreUpgrade", {{key::IgnoredName, Product}, {key::Software, "x"}}).retCode,
                 int(code::InvalidArgs));
        for (const QVariant &name : {QVariant(), QVariant(5), QVariant(QString(100000, 'x'))}) {
            for (const QString &method : {QStringLiteral("StartDownload"), wire::method::PatchSilently})
                QCOMPARE(call(method, {{key::SoftwareName, name}}).retCode, int(code::InvalidArgs));
        }
        QVERIFY(status().value(wire::Tasks).toList().isEmpty() && status().value(wire::Ignores).toList().isEmpty());
        QCOMPARE(call("Nothing").error.code, int(rpc::RpcError::NotFound));

        // A product of the wrong type does not stand for all products, nor a text for true.
        const auto ignore = [this](const QString &version) {
            return call("IgnoreUpgrade", {{key::IgnoredName, Product}, {key::IgnoredVersion, version}}).retCode;
        };
        const QString longText(257, '1');
        const QVariantMap longItem{{key::SoftwareName, longText}, {key::NewVersion, "1"}};
        QCOMPARE(ignore(longText), int(code::InvalidArgs));
        for (const auto &[tooLong, value] :
             {std::pair(key::Bitness, QVariant(longText)), std::pair(key::Plugins, QVariant(QVariantList{longItem}))})
            QCOMPARE(call("IgnoreUpgrade", {{key::IgnoredName, Product}, {key::IgnoredVersion, "1"}, {tooLong, value}})
                         .retCode,
                     int(code::InvalidArgs));
        QCOMPARE(ignore("1.10"), int(code::Ok));
        const QVariantMap wrongName{{key::SoftwareName, QVariantList{Product}}};
        QCOMPARE(call(wire::method::ForgetIgnores, wrongName).retCode, int(code::InvalidArgs));
        QCOMPARE(call("CheckNewVersion", wrongName).retCode, int(code::InvalidArgs));
        QCOMPARE(status().value(wire::Ignores).toList().size(), 1);
        const QVariantMap wrongFlag{
            {key::SoftwareName, Product}, {wire::KillRunning, "no"}, {wire::Show, "no"}, {key::WaitForFinished, "no"}};
        QCOMPARE(call(wire::method::PatchSilently, wrongFlag).retCode, int(code::InvalidArgs));
        QCOMPARE(call(wire::method::ForgetIgnores).retCode, int(code::Ok));
        QCOMPARE(call("InstallSoftware", wrongFlag).retCode, int(code::InvalidArgs));
        // Every list of the tasks has the sections that were requested.
        QVariantList numbers;
        for (int count = 0; count <= 60000; ++count)
            numbers << 1;
        QVariant deep;
        for (int level = 0; level < 14; ++level)
            deep = QVariantList{deep};
        for (const QVariant &large : {QVariant(QString(120000, 'x')), QVariant(numbers.mid(1)), deep}) {
            const QVariantMap section{{key::NewVersion, "1.10"}, {"x", large}};
            const auto started = call("StartDownload", {{key::SoftwareName, Product}, {key::Software, section}});
            QCOMPARE(started.retCode, int(code::InvalidArgs));
            QVERIFY2(started.errorText.contains("sections"), qPrintable(started.errorText));
            QVERIFY(status().value(wire::Tasks).toList().isEmpty());
        }
        const QVariantMap most{{key::NewVersion, "1.10"}, {"x", numbers.mid(1000)}};
        const QVariantMap patch{{key::NewVersion, "3.0.1"}, {"x", numbers.mid(1000)}};
        QVERIFY(call("StartDownload", {{key::SoftwareName, Product}, {key::Software, most}}).accepted);
        QVERIFY(call("StartDownload", {{key::SoftwareName, "排版"}, {key::Patch, patch}}).accepted);
        QCOMPARE(call("QueryTaskInfos").output.list.size(), 1); // both are more values than a message may have
        offer({});
        QCOMPARE(call(wire::method::AnnounceUpdates, wrongFlag).retCode, int(code::InvalidArgs));
    }

    void settings()
    {
        packages::writeFile(file("p/a,b/x"), "");
        packages::writeFile(file("p/cfg.ini"), "[system]\napps_path=a,b\n[upgrade]\nbandwidth=1 MB\n");
        const LogCatcher log;
        const auto paths = services::UpgradePaths::ofProgram(file("p"));
        QCOMPARE(paths.apps, file("p/a,b"));
        QCOMPARE(paths.bandwidth, 0);
        QCOMPARE(log.texts().filter("\"1 MB\"").size(), 1);
    }

    void badCatalogues()
    {
        const auto error = [this](const QByteArray &json) {
            packages::writeFile(file("c/catalogue.json"), json);
            return call(wire::method::AnnounceUpdates).errorText;
        };
        const auto release = [](const QByteArray &rest) {
            return R"({"products":[{"name":"a","release":{"version":"2")" + rest + "}}]}";
        };
        const QHash<QByteArray, QString> mistakes{
            {"{", "byte 1"},
            {"[]", "expected an object"},
            {R"({"products":[{}]})", "/products/0/name"},
            {R"({"products":[{"name":"a","release":{"version":2}}]})", "/products/0/release/version"},
            {R"({"products":[{"name":"a","plugins":[7]}]})", "/products/0/plugins/0"},
            {release(R"(,"forced":1)"), "/products/0/release/forced"},
            {release(package("x", "1", "1")), "/products/0/release/package/sha256"}};
        for (auto it = mistakes.cbegin(); it != mistakes.cend(); ++it)
            QVERIFY2(error(it.key()).contains(*it), it.key());
        for (const char *size : {"null", "0", "1.5", "1e30", "\"1000\"", "true"})
            QVERIFY2(error(release(package("x", size))).contains("/products/0/release/package/size"), size);
        QVERIFY(m_shown.isEmpty());
        QVERIFY(QFile::remove(file("c/catalogue.json")));
        QVERIFY(!call("CheckNewVersion").accepted);
    }

    void badDescriptions()
    {
        describe("a", "");
        describe("b", QByteArray(100000, '\0'));
        describe("c", "[General]\nSoftwareName=绘图\nVersion=0.1\n"); // found before the real one
        describe("d", "[General]\nSoftwareName=无版本\n[Plugins]\nsize=2000000000\n");
        QVERIFY(QDir().mkpath(file("apps/e/installation.ini")));
        // Inside a product: a package could bring it and take the upgrades of another product over.
        describe("aaa", "[General]\nSoftwareName=别的\nVersion=1\n");
        describe("aaa/sub", "[General]\nSoftwareName=排版\nVersion=0.1\n");
        const auto installed = services::readInstalledSoftware(file("apps"));
        for (const services::InstalledSoftware &one : installed)
            QVERIFY2(!one.directory.endsWith("/sub"), qPrintable(one.directory));
        QCOMPARE(offered(), (QStringList{"绘图", "排版"}));
    }

    void unsignedCataloguesAreRefused()
    {
        QByteArray key(crypto_sign_PUBLICKEYBYTES, '\0'), secret(crypto_sign_SECRETKEYBYTES, '\0');
        QByteArray signature(crypto_sign_BYTES, '\0');
        const auto bytes = [](QByteArray &array) { return reinterpret_cast<unsigned char *>(array.data()); };
        QCOMPARE(crypto_sign_keypair(bytes(key), bytes(secret)), 0);
        QByteArray catalogue = packages::readFile(file("c/catalogue.json"));
        crypto_sign_detached(bytes(signature), nullptr, bytes(catalogue), catalogue.size(), bytes(secret));
        start(QString::fromLatin1(key.toBase64()));
        const auto error = [&](const QByteArray &content) {
            packages::writeFile(file("c/catalogue.json.sig"), content);
            return call("CheckNewVersion").errorText;
        };
        QVERIFY(call("CheckNewVersion").errorText.contains("signature cannot be read"));
        QCOMPARE(error(signature), QString());
        for (const QByteArray &wrong :
             {QByteArray(), QByteArray(64, '\0'), signature.left(63), signature + 'x', QByteArray(100000, 'x')})
            QVERIFY(!error(wrong).isEmpty());
        catalogue.replace("1.10", "6.66");
        packages::writeFile(file("c/catalogue.json"), catalogue);
        QVERIFY(error(signature).contains("not signed"));
        start("bm8ga2V5"); // a damaged configuration does not turn the check off
        QVERIFY(error(signature).contains("public key"));
    }

    // As in an installation that belongs to the system: refused before the download, and shown as a failed task.
    void directoriesOfOthersAreLeftAlone()
    {
        QVERIFY(QFile::setPermissions(m_product, QFile::Permissions(0x5555)));
        if (::geteuid() == 0) { // to whom nothing is closed
            QVERIFY(QFile::setPermissions(m_directory->path(), QFile::Permissions(0x7777)));
            QCOMPARE(::seteuid(65534), 0); // every thread
        }
        const CallResult started = call("StartDownload", wish(key::Software, "1.10"));
        const CallResult patched = patch();
        QCOMPARE(::seteuid(::getuid()), 0);
        QVERIFY(QFile::setPermissions(m_product, QFile::Permissions(0x7755)));
        QVERIFY2(started.errorText.contains("not writable"), qPrintable(started.errorText));
        QVERIFY2(patched.errorText.contains("not writable"), qPrintable(patched.errorText));
        QCOMPARE(task().value(key::Status).toInt(), int(state::DownloadFailed));
        QCOMPARE(task().value(key::ErrMsg).toString(), started.errorText);
        QCOMPARE(m_shown.last().first, QString("showUpgradeDownloadDialog"));
        const auto shownState = [this] {
            const QVariantList rows = call("QueryTaskInfos").output.values.value(key::TaskInfoList).toList();
            return rows.value(0).toMap().value(key::Status).toInt();
        };
        QCOMPARE(shownState(), int(state::Downloading)); // its row comes before its failure
        QTRY_COMPARE(shownState(), int(state::DownloadFailed));
    }

    // More than one message of the RPC layer may carry.
    void manyTasksComeInPages()
    {
        constexpr int Count = 7;
        m_service.reset();
        {
            services::UpgradeStore store(m_directory->path());
            services::UpgradeTask task;
            task.state = state::Cancelled;
            for (int i = 0; i < Count; ++i) {
                const QString big = QString::number(i) + QString(300000, 'x');
                store.ignore({{big, {}, {}, {}, "1"}});
                task.product = QString::number(i);
                task.sections.insert(key::Software, QVariantMap{{key::NotesFile, big}});
                store.save(task);
            }
        }
        start();
        const auto rows = [this](const QString &method) {
            QString names;
            QVariantMap place;
            do {
                const CallResult page = call(method, place);
                for (const QVariant &row : page.output.list)
                    names += row.toMap().value(key::SoftName, row.toMap().value(wire::ignored::Product)).toString()[0];
                place = page.output.list.size() < Count ? page.output.values : QVariantMap();
            } while (place.contains(wire::Cursor));
            return names;
        };
        QCOMPARE(rows("QueryTaskInfos"), QString("0123456"));
        QCOMPARE(rows(wire::method::UpgradeStatus), QString("01234560123456"));
        QVERIFY(call("QueryTaskInfos", {{wire::Cursor, "3x"}}).errorText.contains("no such place"));
    }

    void silentPatchIsDownloadedShownInstalledAndFollowed()
    {
        offerPatch();
        m_state = [this] { return m_shown.isEmpty() ? 99 : 1; }; // first the end of an earlier patch
        const CallResult result = patch();
        QVERIFY2(result.accepted, qPrintable(result.errorText));
        const QVariantMap expected{
            {wire::Shown, true}, {wire::ShowError, QString()}, {key::SilentState, 1}, {key::NewVersion, "1.9.5"}};
        QCOMPARE(result.output.values, expected);
        QCOMPARE(m_shown.size(), 1);
        QVariantMap shown = m_shown.first().second.values;
        QVERIFY(!shown.take(key::LocalFile).toString().isEmpty() && !m_shownPackage.isEmpty());
        QCOMPARE(shown, (QVariantMap{{key::SoftwareName, Product},
                                     {key::SettingsPath, m_product + "/installation.ini"},
                                     {key::InstallDir, m_product},
                                     {key::Restart, false}}));
        QVERIFY(m_queries >= 2);
        QCOMPARE(patchVersion(), QString("1.9.5"));
        QCOMPARE(packages::readFile(m_product + "/bin/program"), QByteArray("patched"));
        QVERIFY(patch().errorText.contains("there is no patch"));

        init();
        offerPatch();
        m_answer.error = {rpc::RpcError::NoHub, "no service"}; // works without a window
        QCOMPARE(patch().output.values.value(wire::ShowError), QVariant("no service"));
        QCOMPARE(patchVersion(), QString("1.9.5"));
    }

    void damagedPatchesAreRefused()
    {
        offerPatch();
        packages::writeFile(file("c/patch.tar.gz"), "other bytes");
        QVERIFY(!patch().accepted && m_shown.isEmpty());
        offerPatch("no archive");
        QVERIFY(patch().errorText.contains("unpacked"));
        packages::writeFile(file("c/catalogue.json"), "{");
        QVERIFY(patch().errorText.contains("catalogue"));
        QCOMPARE(m_shown.size(), 1);
        QCOMPARE(patchVersion(), QString("1.0.1"));
    }

    void silentPatchWhoseWindowFails()
    {
        for (const int failing : {1, 2}) { // the answer to the show itself, or to a query after it
            init();
            offerPatch();
            m_state = [this, failing] { return m_queries == failing && m_shown.size() == 1 ? 99 : 1; };
            const CallResult failed = patch();
            QVERIFY(failed.errorText.contains("no such package"));
            QCOMPARE(failed.output.values.value(key::SilentState), QVariant(99));
            QCOMPARE(task().value(key::Status).toInt(), int(state::Cancelled));
        }
        CallContext context;
        context.hasEnded = [this] { return m_shown.size() == 2; };
        QVERIFY(!patch(context).accepted); // the caller ends
        QCOMPARE(patchVersion(), QString("1.0.1"));
        m_state = [this] { return patchVersion() == "1.9.5" ? 99 : 1; };
        QCOMPARE(patch().output.values.value(key::SilentState), QVariant(99)); // too late to undo anything
        QCOMPARE(patchVersion(), QString("1.9.5"));

        init();
        offerPatch();
        m_state = [this] { return patchVersion() == "1.9.5" ? throw std::runtime_error("no answer") : 1; };
        QVERIFY(patch().accepted);
    }

    void silentPatchLeavesOtherTasksAlone()
    {
        offerPatch("p", R"(,"release":{"version":"2.0")" + package("http://127.0.0.1:9/none", "1") + "}");
        QVERIFY(call("StartDownload", wish(key::Software, "2.0")).accepted);
        QVERIFY(patch().errorText.contains("another task"));

        // One with the same patch is joined, but not stopped when the caller ends.
        init();
        offerPatch();
        const QVariantMap section{{key::NewVersion, "1.9.5"},
                                  {"下载地址", "file:///etc/passwd"}}; // not the catalogue's
        const QVariantMap same{{key::SoftwareName, Product}, {key::Patch, section}};
        QVERIFY(call("StartDownload", same).accepted);
        m_shown.clear(); // of the window with the tasks
        CallContext context;
        context.hasEnded = [this] { return !m_shown.isEmpty(); };
        const CallResult joined = patch(context);
        QVERIFY2(joined.errorText.contains("no longer waits"), qPrintable(joined.errorText));
        QCOMPARE(task().value(key::Status).toInt(), int(state::Downloaded));
        QVERIFY(call("StopUpgrade", same).accepted);
        m_state = [&] { // the user cancels the patch's task and starts it again while the window judges the package
            return m_shown.size() == 2 && call("StopUpgrade", same).accepted && call("StartDownload", same).accepted;
        };
        QVERIFY(patch().errorText.contains("replaced"));
        QTRY_COMPARE(task().value(key::Status).toInt(), int(state::Downloaded));
        QVERIFY(patch().accepted); // also one that an interrupted call has left
        QCOMPARE(patchVersion(), QString("1.9.5"));
    }

    void programsOutsideAreNotTheProducts()
    {
        offerPatch();
        SampleProgram shared(file("shared"));
        QVERIFY(QFile::remove(m_product + "/bin/program"));
        QVERIFY(QFile::link(file("shared"), m_product + "/bin/program"));
        QVERIFY(patch({}, true).accepted);
        QVERIFY(!shared.waitForFinished(100));

        // But one whose file was replaced, as an update does, is.
        init();
        offerPatch();
        QVERIFY(QFile::remove(m_product + "/bin/program"));
        SampleProgram old(m_product + "/bin/program"), literal(m_product + "/bin/program (deleted)");
        QVERIFY(packages::writeFile(m_product + "/bin/new", "new"));
        QCOMPARE(::rename(qPrintable(m_product + "/bin/new"), qPrintable(m_product + "/bin/program")), 0);
        QVERIFY(patch().errorText.contains("the product is running"));
        QVERIFY(patch({}, true).accepted);
        QTRY_VERIFY(!old.isAlive());
        QVERIFY(literal.isAlive());
        if (::geteuid() != 0)
            return;

        // Another user's process is left alone.
        init();
        offerPatch();
        QVERIFY(QFile::setPermissions(m_directory->path(), QFile::Permissions(0x7755)));
        QVERIFY(QFile::remove(m_product + "/bin/program"));
        SampleProgram foreign(m_product + "/bin/program", 65534);
        QVERIFY(foreign.isAlive() && patch().accepted && foreign.isAlive());
    }

private:
    void start(const QString &publicKey = {}) // of the catalogue; empty: none is configured
    {
        m_service.reset();
        m_service = services::makeUpgradeService(
            m_directory->path(), {file("c/catalogue.json"), file("apps"), 0, publicKey},
            [this](const QString &operation, const Bag &bag) { return present(operation, bag); });
    }
    CallResult present(const QString &operation, const Bag &bag)
    {
        if (bag.values.value(key::QueryOnly).toBool()) {
            ++m_queries;
        } else {
            m_shown.append({operation, bag});
            m_shownPackage = packages::readFile(bag.values.value(key::LocalFile).toString());
        }
        CallResult result = m_answer;
        result.output.values.insert(key::SilentState, m_state());
        return result;
    }
    QString file(const QString &name) const { return m_directory->filePath(name); }
    void describe(const QString &directory, const QByteArray &ini)
    {
        packages::writeFile(file("apps/" + directory + "/installation.ini"), ini);
    }
    void offer(const QByteArray &products)
    {
        packages::writeFile(file("c/catalogue.json"), "{\"products\":[" + products + "]}");
    }
    // The patch 1.9.5 of the product with this package, and another version.
    void offerPatch(const QByteArray &content = packages::archive({{"bin/program", "patched"}}),
                    const QByteArray &release = R"(,"release":{"version":"2.0"})")
    {
        packages::writeFile(file("c/patch.tar.gz"), content);
        const QByteArray sum = packages::sha256(content).toLatin1();
        offer(R"({"name":"绘图","patches":[{"version":"1.9.5","for":"1.9")" +
              package("patch.tar.gz", QByteArray::number(content.size()), sum) + "}]" + release + '}');
    }
    CallResult call(const QString &method, const QVariantMap &values = {}, const CallContext &context = {})
    {
        return m_service->invoke(method, {values, {}}, context);
    }
    CallResult patch(const CallContext &context = {}, bool killRunning = false)
    {
        return call(wire::method::PatchSilently, {{key::SoftwareName, Product}, {wire::KillRunning, killRunning}},
                    context);
    }
    QVariantMap status() { return call(wire::method::UpgradeStatus).output.values; }
    QVariantMap task() { return status().value(wire::Tasks).toList().value(0).toMap(); }
    QString patchVersion() const { return services::readInstalledSoftware(file("apps")).value(Product).patchVersion; }
    QStringList offered() // names in the order of the check
    {
        QStringList names;
        for (const QVariant &record : call("CheckNewVersion").output.list)
            names << record.toMap().value(key::SoftwareName).toString();
        return names;
    }

    std::unique_ptr<QTemporaryDir> m_directory;
    QSharedPointer<rpc::IInvocable> m_service;
    QString m_product; // its folder
    QList<QPair<QString, Bag>> m_shown;
    QByteArray m_shownPackage;
    int m_queries = 0;
    CallResult m_answer;          // of the visualized service
    std::function<int()> m_state; // of its silent installation
};

QTEST_GUILESS_MAIN(TestUpgradeService)
#include "tst_UpgradeService.moc"
