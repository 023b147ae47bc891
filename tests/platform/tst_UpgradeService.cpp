#include "services/InstalledSoftware.h"
#include "services/UpgradeService.h"
#include "services/UpgradeStore.h"
#include "support/CallContext.h"
#include "support/Packages.h"
#include "tarn/keys/UpgradeKeys.h"
#include "tarn/link/MessageWire.h"
#include "tarn/link/UpgradeWire.h"
#include <QTest>
#include <sodium.h>
#include <unistd.h>

using namespace tarn;
using rpc::Bag;
using rpc::CallResult;
namespace key = tarn::upgrade::key;
namespace code = tarn::upgrade::code;
namespace wire = tarn::link::wire;

namespace {

QByteArray package(const char *name)
{
    return QByteArray(R"(,"package":{"url":"packages/)") + name + R"(.tar","size":10,"sha256":")" +
           QByteArray(64, 'a') + "\"}";
}

} // namespace

// What is offered, remembered and started; the visualized service is played by m_shown.
class TestUpgradeService final : public QObject
{
    Q_OBJECT
private slots:
    void init();

    void offersWhatIsNewer();
    void ignoredUpdatesStayAway();
    void refusesWhatIsWrong();
    void badCatalogues();
    void badDescriptions();
    void unsignedCataloguesAreRefused();
    void directoriesOfOthersAreLeftAlone();
    void manyTasksComeInPages();

private:
    void start()
    {
        m_service.reset();
        const services::UpgradePaths paths{m_directory->filePath("c/catalogue.json"), m_directory->filePath("apps"), 0,
                                           m_publicKey};
        m_service = services::makeUpgradeService(m_directory->path(), paths, [this](const QString &op, const Bag &bag) {
            m_shown.append({op, bag});
            return m_answer;
        });
    }
    void describe(const QString &directory, const QByteArray &ini)
    {
        packages::writeFile(m_directory->filePath("apps/" + directory + "/installation.ini"), ini);
    }
    void offer(const QByteArray &products)
    {
        packages::writeFile(m_directory->filePath("c/catalogue.json"), "{\"products\":[" + products + "]}");
    }
    CallResult call(const QString &method, const QVariantMap &values = {})
    {
        return m_service->invoke(method, {values, {}}, CallContext());
    }
    QVariantMap status() { return call(wire::method::UpgradeStatus).output.values; }
    QStringList offered() // names in the order of the check
    {
        QStringList names;
        for (const QVariant &record : call("CheckNewVersion").output.list)
            names << record.toMap().value(key::SoftwareName).toString();
        return names;
    }

    std::unique_ptr<QTemporaryDir> m_directory;
    QSharedPointer<rpc::IInvocable> m_service;
    QList<QPair<QString, Bag>> m_shown;
    CallResult m_answer; // of the visualized service
    QString m_publicKey; // of the catalogue; empty: none is configured
};

void TestUpgradeService::init()
{
    m_service.reset();
    m_directory = std::make_unique<QTemporaryDir>();
    m_shown.clear();
    m_answer = {};
    m_answer.accepted = true;
    describe("draw", "[General]\nSoftwareName=绘图\nVersion=1.9\nSoftBytes=64\nExeName=bin/draw\n");
    describe("type", "[General]\nSoftwareName=排版\nVersion=3.0\n\n[Plugins]\nsize=2\n1\\Name=公式\n1\\Version=1.0\n"
                     "2\\Name=词典\n2\\Version=5.0\n");
    offer(
        R"({"name":"绘图","icon":"i.svg","release":{"version":"1.10","date":"2026-05-01 10:00:00","notes":"n.html","更多":7)" +
        package("draw") + R"(},"patches":[{"version":"1.9.0.1","for":"1.9","forced":true)" + package("patch") + R"(}]},
          {"name":"排版","release":{"version":"3.0"},"patches":[{"version":"3.0.1","for":"3.0")" +
        package("p") + R"(},{"version":"2.9.9","for":"2.9"}],"plugins":[{"name":"公式","version":"1.2")" +
        package("formula") +
        R"(},{"name":"词典","version":"5.0"},{"name":"未装","version":"1"}]},{"name":"未装","release":{"version":"9"}})");
    start();
}

void TestUpgradeService::offersWhatIsNewer()
{
    const CallResult result = call(wire::method::AnnounceUpdates);
    QVERIFY2(result.accepted, qPrintable(result.errorText));
    QCOMPARE(result.output.values.value(wire::Offered), QVariant(2));
    QCOMPARE(m_shown.size(), 1);
    QCOMPARE(m_shown.first().first, QString("showAutoCheckUpdateDialog"));
    QCOMPARE(m_shown.first().second.list, result.output.list);
    const QVariantMap draw = result.output.list.at(0).toMap();
    const QVariantMap release = draw.value(key::Software).toMap();
    QCOMPARE(draw.value(key::ExePath), QVariant(m_directory->filePath("apps/draw/bin/draw")));
    QCOMPARE(draw.value(key::IconPath), QVariant(m_directory->filePath("c/i.svg")));
    QCOMPARE(release.value(key::CurrentVersion), QVariant("1.9"));
    QCOMPARE(release.value(key::NotesFile), QVariant(m_directory->filePath("c/n.html")));
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

void TestUpgradeService::ignoredUpdatesStayAway()
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
    offer(R"({"name":"绘图","release":{"name":null,"version":"1.11","forced":null,"package":null},"patches":null})");
    QCOMPARE(offered(), QStringList{"绘图"});
}

void TestUpgradeService::refusesWhatIsWrong()
{
    const QVariantMap foreign{{key::NewVersion, "7"}, {"下载地址", "file:///etc/passwd"}};
    QCOMPARE(call("IgnoreUpgrade").retCode, int(code::InvalidArgs));
    QCOMPARE(call("IgnoreUpgrade", {{key::IgnoredName, "绘图"}, {key::Software, "x"}}).retCode, int(code::InvalidArgs));
    QCOMPARE(call("StartDownload", {{key::SoftwareName, QString(100000, 'x')}}).retCode, int(code::InvalidArgs));
    const QVariantMap withoutPackage{{key::SoftwareName, "排版"},
                                     {key::Patch, QVariantMap{{key::NewVersion, "2.9.9"}}}};
    for (const QVariantMap &wish :
         {QVariantMap{{key::SoftwareName, "绘图"}}, QVariantMap{{key::SoftwareName, "绘图"}, {key::Software, foreign}},
          withoutPackage}) {
        const CallResult result = call("StartDownload", wish);
        QCOMPARE(result.retCode, int(code::Refused));
        QVERIFY(!result.errorText.isEmpty());
    }
    QVERIFY(status().value(wire::Tasks).toList().isEmpty() && status().value(wire::Ignores).toList().isEmpty());
    QCOMPARE(call("Nothing").error.code, int(rpc::RpcError::NotFound));
}

void TestUpgradeService::badCatalogues()
{
    const auto error = [this](const QByteArray &json) {
        packages::writeFile(m_directory->filePath("c/catalogue.json"), json);
        return call(wire::method::AnnounceUpdates).errorText;
    };
    const auto release = [](const QByteArray &size, const QByteArray &sum) {
        return R"({"products":[{"name":"a","release":{"version":"2","package":{"url":"x",)" + size + R"("sha256":")" +
               sum + R"("}}}]})";
    };
    const QByteArray sum(64, 'a');
    const QHash<QByteArray, QString> mistakes{
        {"{", "byte 1"},
        {"[]", "expected an object"},
        {R"({"products":[{}]})", "/products/0/name"},
        {R"({"products":[{"name":"a","release":{"version":2}}]})", "/products/0/release/version"},
        {R"({"products":[{"name":"a","plugins":[7]}]})", "/products/0/plugins/0"},
        {release(R"("size":1,)", "1"), "/products/0/release/package/sha256"},
        {R"({"products":[{"name":"a","release":{"version":"2","forced":1}}]})", "/products/0/release/forced"},
        {release("", sum), "/products/0/release/package/size"},
        {release(R"("size":0,)", sum), "/products/0/release/package/size"},
        {release(R"("size":1.5,)", sum), "/products/0/release/package/size"},
        {release(R"("size":1e30,)", sum), "/products/0/release/package/size"},
        {release(R"("size":"1000",)", sum), "/products/0/release/package/size"},
        {release(R"("size":true,)", sum), "/products/0/release/package/size"}};
    for (auto it = mistakes.cbegin(); it != mistakes.cend(); ++it)
        QVERIFY2(error(it.key()).contains(*it), it.key());
    QVERIFY(m_shown.isEmpty());
    QVERIFY(QFile::remove(m_directory->filePath("c/catalogue.json")));
    QVERIFY(!call("CheckNewVersion").accepted);
}

void TestUpgradeService::badDescriptions()
{
    describe("a", "");
    describe("b", QByteArray(100000, '\0'));
    describe("c", "[General]\nSoftwareName=绘图\nVersion=0.1\n"); // found before the real one
    describe("d", "[General]\nSoftwareName=无版本\n[Plugins]\nsize=2000000000\n");
    QVERIFY(QDir().mkpath(m_directory->filePath("apps/e/installation.ini")));
    // Inside a product: a package could bring it and take the upgrades of another product over.
    describe("aaa", "[General]\nSoftwareName=别的\nVersion=1\n");
    describe("aaa/sub", "[General]\nSoftwareName=排版\nVersion=0.1\n");
    const auto installed = services::readInstalledSoftware(m_directory->filePath("apps"));
    for (const services::InstalledSoftware &one : installed)
        QVERIFY2(!one.directory.endsWith("/sub"), qPrintable(one.directory));
    QCOMPARE(offered(), (QStringList{"绘图", "排版"}));
}

void TestUpgradeService::unsignedCataloguesAreRefused()
{
    QByteArray key(crypto_sign_PUBLICKEYBYTES, '\0'), secret(crypto_sign_SECRETKEYBYTES, '\0');
    QByteArray signature(crypto_sign_BYTES, '\0');
    const auto bytes = [](QByteArray &array) { return reinterpret_cast<unsigned char *>(array.data()); };
    QCOMPARE(crypto_sign_keypair(bytes(key), bytes(secret)), 0);
    const QString file = m_directory->filePath("c/catalogue.json");
    QByteArray catalogue = packages::readFile(file);
    crypto_sign_detached(bytes(signature), nullptr, bytes(catalogue), catalogue.size(), bytes(secret));
    m_publicKey = QString::fromLatin1(key.toBase64());
    start();
    const auto error = [&](const QByteArray &content) {
        packages::writeFile(file + ".sig", content);
        return call("CheckNewVersion").errorText;
    };
    QVERIFY(call("CheckNewVersion").errorText.contains("signature cannot be read"));
    QCOMPARE(error(signature), QString());
    for (const QByteArray &wrong :
         {QByteArray(), QByteArray(64, '\0'), signature.left(63), signature + 'x', QByteArray(100000, 'x')})
        QVERIFY(!error(wrong).isEmpty());
    catalogue.replace("1.10", "6.66");
    packages::writeFile(file, catalogue);
    QVERIFY(error(signature).contains("not signed"));
    m_publicKey = "bm8ga2V5"; // a damaged configuration does not turn the check off
    start();
    QVERIFY(error(signature).contains("public key"));
    m_publicKey.clear();
}

// As in an installation that belongs to the system: refused before the download, and shown as a failed task.
void TestUpgradeService::directoriesOfOthersAreLeftAlone()
{
    const QString product = m_directory->filePath("apps/draw");
    QVERIFY(QFile::setPermissions(product, QFile::Permissions(0x5555)));
    const QVariantMap wish{{key::SoftwareName, "绘图"}, {key::Software, QVariantMap{{key::NewVersion, "1.10"}}}};
    if (::geteuid() == 0) { // to whom nothing is closed
        QVERIFY(QFile::setPermissions(m_directory->path(), QFile::Permissions(0x7777)));
        QCOMPARE(::seteuid(65534), 0); // every thread
    }
    const CallResult started = call("StartDownload", wish);
    const CallResult patched = call(wire::method::PatchSilently, wish);
    QCOMPARE(::seteuid(::getuid()), 0);
    QVERIFY(QFile::setPermissions(product, QFile::Permissions(0x7755)));
    QVERIFY2(started.errorText.contains("not writable"), qPrintable(started.errorText));
    QVERIFY2(patched.errorText.contains("not writable"), qPrintable(patched.errorText));
    const QVariantMap task = status().value(wire::Tasks).toList().value(0).toMap();
    QCOMPARE(task.value(key::Status).toInt(), int(upgrade::state::DownloadFailed));
    QCOMPARE(task.value(key::ErrMsg).toString(), started.errorText);
    QCOMPARE(m_shown.last().first, QString("showUpgradeDownloadDialog"));
    for (const int state :
         {upgrade::state::Downloading, upgrade::state::DownloadFailed}) // its row comes before its failure
        QCOMPARE(call("QueryTaskInfos")
                     .output.values.value(key::TaskInfoList)
                     .toList()
                     .value(0)
                     .toMap()
                     .value(key::Status)
                     .toInt(),
                 state);
}

// More than one message of the RPC layer may carry.
void TestUpgradeService::manyTasksComeInPages()
{
    constexpr int Count = 7;
    m_service.reset();
    {
        services::UpgradeStore store(m_directory->path());
        services::UpgradeTask task;
        task.state = upgrade::state::Cancelled;
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
                names += row.toMap().value(key::SoftName, row.toMap().value(wire::ignored::Product)).toString().at(0);
            place = page.output.list.size() < Count ? page.output.values : QVariantMap();
            names += place.contains(wire::Cursor) ? QString() : QString("|");
        } while (place.contains(wire::Cursor));
        return names;
    };
    QCOMPARE(rows("QueryTaskInfos"), QString("0123456|"));
    QCOMPARE(rows(wire::method::UpgradeStatus), QString("01234560123456|"));
    QVERIFY(call("QueryTaskInfos", {{wire::Cursor, "3x"}}).errorText.contains("no such place"));
}

QTEST_GUILESS_MAIN(TestUpgradeService)
#include "tst_UpgradeService.moc"
