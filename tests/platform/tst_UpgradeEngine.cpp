// Downloads and installations of the upgrade service, with servers and packages that misbehave.
#include "services/FileSwap.h"
#include "services/InstalledSoftware.h"
#include "services/PackageInstaller.h"
#include "support/LogCatcher.h"
#include "support/UpgradeBench.h"
#include <QElapsedTimer>
#include <QTemporaryDir>
#include <QTest>
#include <cerrno>
#include <fcntl.h>
#include <future>
#include <sys/stat.h>
#include <unistd.h>

using namespace tarn::services;
namespace state = tarn::upgrade::state;
namespace item = tarn::upgrade::item;

namespace {

QByteArray noise(int size)
{
    QByteArray bytes(size, '\0');
    for (int i = 0; i < size; ++i)
        bytes[i] = char((i * 2654435761u) >> 13);
    return bytes;
}

HttpServer::File slowFile(qint64 bytesPerSecond)
{
    HttpServer::File file(noise(300000));
    file.bytesPerSecond = bytesPerSecond;
    return file;
}

// One member of a tar archive, written by hand: what no honest tar would write.
QByteArray member(const QByteArray &name, char type, const QByteArray &link = {}, const QByteArray &content = {},
                  const QByteArray &mode = "0000644", const QByteArray &size = {})
{
    QByteArray header(512, '\0');
    const auto put = [&header](int at, const QByteArray &text) { header.replace(at, text.size(), text); };
    put(0, name);
    put(100, mode);
    put(108, "0000000");
    put(116, "0000000");
    put(124, size.isEmpty() ? QByteArray::number(content.size(), 8).rightJustified(11, '0') : size.left(11));
    put(136, "00000000000");
    put(148, "        ");
    put(156, QByteArray(1, type));
    put(157, link);
    put(257, QByteArray("ustar\0", 6) + "00");
    int sum = 0;
    for (const char byte : header)
        sum += uchar(byte);
    put(148, QByteArray::number(sum, 8).rightJustified(6, '0') + QByteArray("\0 ", 2));
    QByteArray body = content;
    body.append(QByteArray((512 - content.size() % 512) % 512, '\0'));
    return header + body;
}

QByteArray rawTar(const QByteArrayList &members)
{
    return members.join() + QByteArray(1024, '\0');
}

bool linksAreRefused = false;

} // namespace

// In place of the C library's function, as on a file system without hard links.
extern "C" Q_DECL_EXPORT int link(const char *from, const char *to) noexcept
{
    errno = EPERM;
    return linksAreRefused ? -1 : ::linkat(AT_FDCWD, from, AT_FDCWD, to, 0);
}

using Change = std::function<void(HttpServer::File &, UpgradeItem &)>;
Q_DECLARE_METATYPE(Change)

class tst_UpgradeEngine : public QObject
{
    Q_OBJECT
private slots:
    void init()
    {
        m_bench.reset();
        m_folder = std::make_unique<QTemporaryDir>();
        m_bench = std::make_unique<UpgradeBench>(m_folder->path());
        m_product = m_bench->product;
    }

    void downloads_data()
    {
        using File = HttpServer::File;
        QTest::addColumn<Change>("change"); // of the server's file or the claim
        QTest::addColumn<QString>("error"); // a part of the task's error text; empty when the download succeeds
        QTest::addColumn<int>("requests");
        const auto row = [](const char *name, const QString &error, int requests, const Change &change) {
            QTest::newRow(name) << change << error << requests;
        };
        const auto broken = [&](const char *name, int requests, int breaks, bool ranges, bool redirects) {
            row(name, QString(), requests, [=](File &f, UpgradeItem &) {
                f.breakAfter = 100000;
                f.breaks = breaks;
                f.ranges = ranges;
                f.redirects = redirects;
            });
        };
        broken("breaks twice", 3, 2, true, false);
        broken("breaks, no ranges", 2, 1, false, false);
        broken("breaks, no ranges, behind a redirect", 4, 1, false, true);
        row("wrong checksum", "the checksum is wrong", 1, [](File &, UpgradeItem &i) { i.sha256 = QString(64, u'0'); });
        row("too long", "more than the 1000 bytes", 1, [](File &, UpgradeItem &i) { i.size = 1000; });
        row("too short", "instead of 999999", 1, [](File &, UpgradeItem &i) { i.size = 999999; });
        row("not there", " ", 1, [](File &f, UpgradeItem &) { f.status = 404; });
        row("endless device", " ", 0, [](File &, UpgradeItem &i) { i.url = "file:///dev/zero"; });
        row("not encrypted", "expected https", 0, [](File &, UpgradeItem &i) { i.url = "http://192.0.2.1/x"; });
    }

    void downloads()
    {
        QFETCH(Change, change);
        QFETCH(QString, error);
        const bool fails = !error.isEmpty();
        HttpServer::File file(noise(300000));
        UpgradeItem wanted = m_bench->package("p", file);
        change(file, wanted);
        m_bench->server.set("p", file);
        m_bench->start({wanted});
        QTRY_VERIFY_WITH_TIMEOUT(m_bench->state() != state::Downloading, 20000);
        QCOMPARE(m_bench->state(), fails ? state::DownloadFailed : state::Downloaded);
        QVERIFY2(m_bench->now().error.contains(error), qPrintable(m_bench->now().error));
        QCOMPARE(m_bench->now().error.isEmpty(), !fails);
        QFETCH(int, requests); // at least: Qt repeats one by itself when the connection breaks early
        QVERIFY(file.breaks > 0 ? m_bench->server.requests().size() >= requests
                                : m_bench->server.requests().size() == requests);
        if (file.breaks > 0 && file.ranges)
            QVERIFY(m_bench->server.requests().constLast().startsWith("bytes=")); // continues, does not start over
        if (!fails)
            QCOMPARE(m_bench->now().items.value(0).received, 300000);
        if (error.contains("checksum"))
            QVERIFY(leftFiles().isEmpty()); // the next attempt starts over
        if (fails) {                        // the part of another package does not stay
            m_bench->start({m_bench->package("q", QByteArray("q"))});
            QTRY_COMPARE(m_bench->state(), state::Downloaded);
            QCOMPARE(leftFiles().size(), 1);
        }
    }

    void keepsToTheBandwidth()
    {
        const QString source = m_folder->filePath("source");
        UpgradeItem item = m_bench->package("p", noise(300000));
        QVERIFY(packages::writeFile(source, noise(300000)));
        item.url = QUrl::fromLocalFile(source).toString();
        item.file = m_folder->filePath("target");
        Throttle throttle(1000000); // bytes a second
        QElapsedTimer duration;
        duration.start();
        downloadPackage(item, &throttle, std::atomic<bool>(false));
        QVERIFY(duration.elapsed() >= 200); // a tenth of a second may come at once
        QCOMPARE(packages::readFile(item.file), noise(300000));
    }

    void downloadsContinueAfterARestart()
    {
        m_bench->start({m_bench->package("p", slowFile(300000))});
        QTRY_VERIFY(m_bench->now().items.value(0).received > 0);
        QVERIFY(packages::writeFile(m_folder->filePath("downloads/foreign.package"), "x")); // of no task
        m_bench->restart();
        QTRY_COMPARE(m_bench->state(), state::Downloaded);
        QCOMPARE(leftFiles().size(), 1);
        const QByteArray range = m_bench->server.requests().constLast();
        QVERIFY2(range.startsWith("bytes=") && range != "bytes=0-", range);
    }

    void fiveDownloadsAreNotMadeAtOnce()
    {
        for (const QString &name : QStringList{"1", "2", "3", "4", "5"})
            m_bench->start({m_bench->package(name, slowFile(10000))}, name);
        const auto received = [this](int task) { return m_bench->engine->tasks().at(task).items.at(0).received; };
        QTRY_VERIFY(received(0) > 4000 && received(1) > 4000 && received(2) > 4000 && received(3) > 4000);
        QCOMPARE(m_bench->server.requests().size(), 4);
        QVERIFY(m_bench->engine->stop("2"));
        QTRY_VERIFY(received(4) > 0);
    }

    void partsThatDoNotFit()
    {
        HttpServer::File file(noise(300000));
        file.wrongRange = true;
        UpgradeItem item = m_bench->package("p", file);
        item.file = m_folder->filePath("p");
        Throttle unlimited(0);
        const auto download = [&](int part) {
            QFile::remove(item.file);
            packages::writeFile(partOf(item.file), QByteArray(part, 'x'));
            return errorOf([&] { downloadPackage(item, &unlimited, std::atomic<bool>(false)); });
        };
        for (const int part : {400000, 1000}) { // longer than the package; the server sends another range
            QCOMPARE(download(part), QString());
            QCOMPARE(packages::readFile(item.file), file.content);
        }
        file.content.truncate(1000);
        m_bench->server.set("p", file);
        QVERIFY(download(2000).contains("1000 bytes instead of 300000")); // asked from the start
    }

    void statesAreStoredAgain()
    {
        Database database(m_folder->filePath("upgrade.db"), {});
        const auto refuse = [&](const QString &which) {
            database.run("CREATE TRIGGER refuse BEFORE INSERT ON tasks WHEN NEW.state != 1 AND " + which +
                         " BEGIN SELECT RAISE(ABORT, 'refused'); END");
        };
        QVERIFY(m_bench->engine->tasks().isEmpty()); // makes the tables
        refuse("1");
        m_bench->start({m_bench->package("p", QByteArray("no archive"))});
        QTRY_COMPARE(m_bench->state(), state::Downloaded);
        QVERIFY(m_bench->now().error.contains("cannot be stored"));
        m_bench->engine->install(m_bench->Name);
        QTRY_COMPARE(m_bench->state(), state::InstallFailed);
        QVERIFY_EXCEPTION_THROWN(m_bench->engine->stop(m_bench->Name), Failure); // over, but not stored

        m_bench->start({m_bench->package("other", slowFile(10000))}, "other");
        QTRY_COMPARE(leftFiles().size(), 1);
        for (int i = 0; i < 2; ++i) { // it ends and gives its room back; the next process would take it up again
            QVERIFY_EXCEPTION_THROWN(m_bench->engine->stop("other"), Failure);
            QCOMPARE(m_bench->engine->taskOf("other").state, state::Cancelled);
            QVERIFY(leftFiles().isEmpty());
        }
        database.run("DROP TRIGGER refuse");
        refuse("NEW.product = 'other'");
        QTRY_VERIFY_WITH_TIMEOUT(!m_bench->now().error.contains("cannot be stored"), 30000);
        QCOMPARE(m_bench->store->tasks().value(0).state, state::InstallFailed);
        QVERIFY(m_bench->engine->stop(m_bench->Name));
        QVERIFY_EXCEPTION_THROWN(m_bench->engine->stop("other"), Failure);
    }

    void removedProduct()
    {
        m_bench->start({m_bench->package("p", packages::archive({{"bin/program", "new"}}))}, "other");
        QTRY_COMPARE(m_bench->state(), state::Downloaded);
        QVERIFY_EXCEPTION_THROWN(m_bench->engine->install("other"), Failure);
        QCOMPARE(m_bench->state(), state::InstallFailed);
        QCOMPARE(m_bench->now().error, QString("the product is not installed"));
    }

    void stopsInEveryState()
    {
        QVERIFY(!m_bench->engine->stop(m_bench->Name));
        m_bench->start({m_bench->package("p", slowFile(100000))});
        QTRY_VERIFY(m_bench->now().items.value(0).received > 0);
        QVERIFY(m_bench->engine->stop(m_bench->Name));
        QCOMPARE(m_bench->state(), state::Cancelled);
        QVERIFY(leftFiles().isEmpty());

        const UpgradeItem good = m_bench->package("p", packages::archive({{"bin/program", noise(2000000)}}));
        m_bench->start({good});
        QTRY_COMPARE(m_bench->state(), state::Downloaded);
        m_bench->engine->stop(m_bench->Name);
        QCOMPARE(m_bench->state(), state::Cancelled);
        QVERIFY_EXCEPTION_THROWN(m_bench->engine->install(m_bench->Name), Failure);

        m_bench->start({good});
        QTRY_COMPARE(m_bench->state(), state::Downloaded);
        m_bench->engine->install(m_bench->Name);
        QCOMPARE(m_bench->state(), state::Installing);
        m_bench->restart();
        QCOMPARE(m_bench->state(), state::Downloaded); // the caller will ask again
        QCOMPARE(m_bench->content("bin/program"), QByteArray("old 1.0"));
        m_bench->engine->install(m_bench->Name);
        QCOMPARE(m_bench->state(), state::Installing);
        m_bench->engine->stop(m_bench->Name);
        QCOMPARE(m_bench->state(), state::InstallFailed);
        QCOMPARE(m_bench->content("bin/program"), QByteArray("old 1.0"));
        m_bench->engine->stop(m_bench->Name); // over is over
        QCOMPARE(m_bench->state(), state::InstallFailed);
    }

    void installsAllParts()
    {
        const UpgradeItem main =
            m_bench->package("m", packages::archive({{"bin/program", "new"},
                                                     {"lib/新.so", "lib"},
                                                     {"installation.ini", "[General]\nSoftwareName=other\n"}}));
        UpgradeItem plugin = m_bench->package("a", packages::archive({{"plugins/f", "f"}}), item::Named);
        plugin.name = "公式助手";
        UpgradeItem another = plugin;
        another.name = "词典";
        UpgradeItem patch = m_bench->package("c", packages::archive({{"bin/program", "patched"}}), item::Patch);
        patch.version = "2.0.3";
        QVERIFY(downloadAndInstall({main, plugin, another, patch}));
        QVERIFY2(m_bench->state() == state::Installed, qPrintable(m_bench->now().error));
        QCOMPARE(m_bench->content("bin/program"), QByteArray("patched"));
        QCOMPARE(m_bench->content("lib/新.so"), QByteArray("lib"));
        QCOMPARE(m_bench->content("plugins/f"), QByteArray("f"));
        const InstalledSoftware software = installed();
        QCOMPARE(software.name, m_bench->Name);
        QCOMPARE(software.version, "2.0");
        QCOMPARE(software.patchVersion, "2.0.3");
        QCOMPARE(software.bits, "64");
        QCOMPARE(software.plugins, (QMap<QString, QString>{{"公式助手", "2.0"}, {"词典", "2.0"}}));
        QVERIFY(!QFile::exists(m_product + "/.tarn-upgrade"));
        QVERIFY(leftFiles().isEmpty());
    }

    void refusesHostileArchives_data()
    {
        QTest::addColumn<QByteArrayList>("archives"); // of one task, unpacked in this order
        const QByteArray good = member("good", '0', {}, "good");
        const auto row = [](const char *name, const QByteArrayList &archives) { QTest::newRow(name) << archives; };
        row("not an archive", {noise(5000)});
        row("cut off", {rawTar({good, member("big", '0', {}, noise(5000))}).left(3000)});
        row("no name", {rawTar({good, member(".", '0', {}, "evil")})});
        row("parent", {rawTar({good, member("../evil", '0', {}, "evil")})});
        row("absolute", {}); // the function knows the path
        row("link out", {rawTar({good, member("link", '2', "../.."), member("link/evil", '0', {}, "evil")})});
        row("links that climb", {rawTar({member("d/e/q", '2', "../.."), member("d/e/p", '2', "q/..")})});
        row("link through a link", {rawTar({member("d/e/x", '2', "../.."), member("d/e/x/l", '2', "../../.."),
                                            member("l/evil", '0', {}, "evil")})});
        row("hard link to a link", {rawTar({member("d/e/x", '2', "../.."), member("h", '1', "d/e/x")})});
        row("through a link of another package",
            {rawTar({member("p", '2', "bin")}), rawTar({member("p/evil", '0', {}, "evil")})});
        row("hard link out", {rawTar({good, member("link", '1', "../../installation.ini")})});
        row("hard link to a file of the product", {rawTar({good, member("link", '1', "bin/program")})});
        row("device", {rawTar({good, member("device", '3')})});
        row("file over directory", {rawTar({good, member("bin", '0', {}, "evil")})});
        row("through a link of the product", {rawTar({good, member("outside/evil", '0', {}, "evil")})});
        row("link below a link of the product", {rawTar({good, member("a/b/inside/evil", '2', "../../../good")})});
        row("our work area, nested", {rawTar({good, member("sub/.tarn-upgrade/mark", '0')})});
        row("a large description", {rawTar({member("installation.ini", '0', {}, QByteArray(1024 * 1024 + 1, ' '))})});
        row("a description of another product",
            {rawTar({good, member("sub/installation.ini", '0', {}, "[General]\nSoftwareName=other\nVersion=1\n")})});
        row("more than the disk holds", {rawTar({good, member("big", '0', {}, {}, "0000644", "77777777777777")})});
    }

    void refusesHostileArchives()
    {
        QFETCH(QByteArrayList, archives);
        QDir(m_folder->path()).mkdir("elsewhere");
        QFile::link(m_folder->filePath("elsewhere"), m_product + "/outside");
        QDir(m_product).mkpath("a/b");
        QFile::link(m_product + "/bin", m_product + "/a/b/inside");
        if (archives.isEmpty())
            archives << rawTar({member(QFile::encodeName(m_folder->filePath("evil")), '0', {}, "evil")});
        QList<UpgradeItem> items;
        for (const QByteArray &archive : qAsConst(archives))
            items << m_bench->package("m" + QString::number(items.size()), archive);
        QVERIFY(downloadAndInstall(items));
        QCOMPARE(m_bench->state(), state::InstallFailed);
        QVERIFY(!m_bench->now().error.isEmpty());
        QCOMPARE(QDir(m_product).entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot),
                 (QStringList{"a", "bin", "installation.ini", "outside"}));
        QCOMPARE(m_bench->content("bin/program"), QByteArray("old 1.0"));
        QCOMPARE(installed().version, "1.0");
        for (const QString &escaped : QStringList{m_folder->filePath("apps/evil"), m_folder->filePath("evil"),
                                                  m_folder->filePath("elsewhere/evil"), m_product + "/bin/evil"})
            QVERIFY2(!QFile::exists(escaped), qPrintable(escaped));
    }

    // Links that stay inside are part of honest packages.
    void keepsLinksAndModes()
    {
        const QByteArray archive = rawTar({member("lib/x.so.1", '0', {}, "x"), member("lib/x.so", '2', "x.so.1"),
                                           member("bin/tool", '1', "lib/x.so.1"), member("bin/up", '2', "../lib/x.so"),
                                           member("bin/run", '0', {}, "run", "0006755"), member("late", '0', {}, "1"),
                                           member("late", '0', {}, "2"), member("private", '5', {}, {}, "0000700")});
        const mode_t outer = ::umask(077); // that of the services
        QVERIFY(downloadAndInstall({m_bench->package("m", archive)}));
        ::umask(outer);
        QVERIFY2(m_bench->state() == state::Installed, qPrintable(m_bench->now().error));
        QCOMPARE(QFile::symLinkTarget(m_product + "/lib/x.so"), m_product + "/lib/x.so.1");
        QCOMPARE(m_bench->content("bin/up"), QByteArray("x"));
        QCOMPARE(m_bench->content("bin/tool"), QByteArray("x"));
        QCOMPARE(m_bench->content("late"), QByteArray("2"));
        const auto mode = [this](const QString &path) {
            struct stat info = {};
            return ::stat(qPrintable(m_product + path), &info) == 0 ? int(info.st_mode & 07777) : -1;
        };
        QCOMPARE(mode("/bin/run"), 0755);
        QCOMPARE(mode("/private"), 0700);
        QCOMPARE(mode("/lib"), 0755);
        QCOMPARE(mode("/lib/x.so.1"), 0644);
    }

    void installationsAtOnceKeepTheUmask()
    {
        const QByteArray tar = rawTar({member("folder", '5').repeated(20000)});
        UpgradeItem item = m_bench->package("p", tar);
        item.file = m_folder->filePath("tar");
        QVERIFY(packages::writeFile(item.file, tar));
        const mode_t outer = ::umask(077);
        const std::atomic<bool> stopping(false);
        std::vector<std::future<void>> running;
        for (const QString &directory : QStringList{"1", "2", "3"}) {
            QDir(m_folder->path()).mkdir(directory);
            running.push_back(std::async(std::launch::async, unpackPackages, QList<UpgradeItem>{item},
                                         m_folder->filePath(directory), std::cref(stopping)));
        }
        for (std::future<void> &each : running)
            each.get();
        QCOMPARE(::umask(outer), mode_t(077));
    }

    void refusesAPackageThatChanged()
    {
        const QByteArray good = rawTar({member("bin/program", '0', {}, "good")});
        const QByteArray bad = rawTar({member("bin/program", '0', {}, "evil")});
        m_bench->start({m_bench->package("m", good)});
        QTRY_COMPARE(m_bench->state(), state::Downloaded);
        QVERIFY(packages::writeFile(m_folder->filePath("downloads/") + leftFiles().value(0), bad));
        m_bench->engine->install(m_bench->Name);
        QTRY_COMPARE(m_bench->state(), state::InstallFailed);
        QVERIFY2(m_bench->now().error.contains("checksum"), qPrintable(m_bench->now().error));
        QCOMPARE(m_bench->content("bin/program"), QByteArray("old 1.0"));
        QVERIFY(leftFiles().isEmpty()); // else the next attempt would find the same package
    }

    void rollsBackWhenAFileCannotBeReplaced()
    {
        FileSwap swap(m_product);
        for (const QString &file : QStringList{"a", "bin/program", "z"}) {
            packages::writeFile(m_product + '/' + file, "old");
            const QByteArrayList before{m_bench->content("a"), m_bench->content("bin/program"), m_bench->content("z")};
            const auto stage = [&] {
                for (const QString &each : QStringList{"a", "bin/program", "z"})
                    packages::writeFile(swap.staging() + '/' + each, "new");
                packages::writeFile(m_product + "/.tarn-upgrade/old/" + file + "/blocks", "x");
            };
            QVERIFY_EXCEPTION_THROWN(swap.replace(stage), Failure);
            QCOMPARE((QByteArrayList{m_bench->content("a"), m_bench->content("bin/program"), m_bench->content("z")}),
                     before);
            QVERIFY(QDir(m_product + "/.tarn-upgrade/old/" + file).removeRecursively());
        }
    }

    void needsHardLinks()
    {
        FileSwap swap(m_product);
        linksAreRefused = true;
        const QString error =
            errorOf([&] { swap.replace([&] { packages::writeFile(swap.staging() + "/a", "new"); }); });
        linksAreRefused = false;
        QVERIFY2(error.contains("hard links"), qPrintable(error));
        QVERIFY(!QFile::exists(m_product + "/.tarn-upgrade"));
    }

    void restoresOldFilesWhereNewOnesAreLost()
    {
        packages::writeFile(m_product + "/bin/program", "new");
        packages::writeFile(m_product + "/.tarn-upgrade/old/bin/program", "old");
        packages::writeFile(m_product + "/.tarn-upgrade/mark", {});
        FileSwap(m_product).rollBack();
        QCOMPARE(m_bench->content("bin/program"), QByteArray("old"));
        QVERIFY(!QFile::exists(m_product + "/.tarn-upgrade"));
    }

    // The process dies at each step of an exchange, and another one at each step of rolling it back. Meanwhile the user
    // deletes new files, and the product writes further files.
    void rollsBackAfterACrash()
    {
        const QDir product(m_product), area(m_product + "/.tarn-upgrade");
        const QByteArray description = m_bench->content("installation.ini");
        const QPair<QString, QString> steps[] = {{"bin/program", ".tarn-upgrade/old/bin/program"},
                                                 {".tarn-upgrade/new/bin/program", "bin/program"},
                                                 {"installation.ini", ".tarn-upgrade/old/installation.ini"},
                                                 {".tarn-upgrade/new/installation.ini", "installation.ini"},
                                                 {"", "lib"},
                                                 {".tarn-upgrade/new/lib/x", "lib/x"},
                                                 {".tarn-upgrade/new/late", "late"}};
        const auto step = [&](const QString &from, const QString &to) {
            if (from.isEmpty())
                return product.mkdir(to);
            if (to.isEmpty())
                return product.rmdir(from);
            if (to.startsWith(".tarn-upgrade/new"))
                return QFile::remove(product.filePath(from));
            const auto act = from.startsWith(".tarn-upgrade/new") ? ::link : ::rename;
            return act(qPrintable(product.filePath(from)), qPrintable(product.filePath(to))) == 0;
        };
        UpgradeTask task;
        task.product = m_bench->Name;
        task.state = state::Installing;
        const auto check = [&](int forth, int back, const QStringList &deleted, const QString &written) {
            for (const QString &file : QStringList{"bin/program", "lib/x", "late"})
                packages::writeFile(area.filePath("new/") + file, "new");
            packages::writeFile(area.filePath("new/installation.ini"), QByteArray(description).replace("1.0", "2.0"));
            QVERIFY(area.mkpath("old/bin"));
            QVERIFY(product.mkpath("empty") && area.mkpath("new/empty") && area.mkpath("old/empty"));
            packages::writeFile(area.filePath("mark"), {});
            for (int i = 0; i < forth; ++i)
                QVERIFY(step(steps[i].first, steps[i].second));
            for (int i = forth; i > forth - back; --i)
                QVERIFY(step(steps[i - 1].second, steps[i - 1].first));
            for (const QString &file : deleted)
                QVERIFY(QFile::remove(product.filePath(file)) || product.rmdir(file));
            if (!written.isEmpty())
                QVERIFY(packages::writeFile(product.filePath(written), "mine"));
            if (deleted.contains("installation.ini")) { // the first attempt cannot restore all
                QVERIFY(product.mkpath("installation.ini/x"));
                QVERIFY_EXCEPTION_THROWN(FileSwap(m_product).rollBack(), Failure);
                QVERIFY(product.rmpath("installation.ini/x"));
            }
            m_bench->store->save(task);
            m_bench->restart();
            QCOMPARE(m_bench->state(), state::Downloaded);
            QCOMPARE(m_bench->content("bin/program"), QByteArray("old 1.0"));
            QCOMPARE(m_bench->content("installation.ini"), description);
            QStringList expected{"bin", "empty", "installation.ini"};
            if (!written.isEmpty()) {
                QCOMPARE(m_bench->content(written), QByteArray("mine"));
                QVERIFY(QFile::remove(product.filePath(written)));
                product.rmdir("lib");
            }
            QCOMPARE(product.entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot), expected);
        };
        for (int forth = 0; forth <= 7 && !QTest::currentTestFailed(); ++forth) {
            for (int back = 0; back <= forth && !QTest::currentTestFailed(); ++back)
                check(forth, back, {}, {});
        }
        check(7, 0, {"late"}, {});
        check(7, 0, {"lib/x", "lib", "installation.ini", "bin/program", "bin"}, {});
        check(7, 0, {}, "lib/own");
        check(7, 0, {"late"}, "late"); // in place of the new file
    }

private:
    InstalledSoftware installed() const
    {
        return readInstalledSoftware(m_folder->filePath("apps")).value(m_bench->Name);
    }
    QStringList leftFiles() const { return QDir(m_folder->filePath("downloads")).entryList(QDir::Files); }
    bool downloadAndInstall(const QList<UpgradeItem> &items)
    {
        m_bench->start(items);
        if (!QTest::qWaitFor([this] { return m_bench->state() == state::Downloaded; }, 10000))
            return false;
        m_bench->engine->install(m_bench->Name);
        return QTest::qWaitFor([this] { return m_bench->state() != state::Installing; }, 20000);
    }

    std::unique_ptr<QTemporaryDir> m_folder;
    std::unique_ptr<UpgradeBench> m_bench;
    QString m_product; // its folder
};

QTEST_GUILESS_MAIN(tst_UpgradeEngine)
#include "tst_UpgradeEngine.moc"
