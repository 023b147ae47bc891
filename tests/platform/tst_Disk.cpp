// Full disks and power losses: the upgrade engine on small file systems of the test's own. Needs root for mounting.
#include "services/FileSwap.h"
#include "support/UpgradeBench.h"
#include <QElapsedTimer>
#include <QTemporaryDir>
#include <QTest>
#include <sched.h>
#include <sys/mount.h>
#include <unistd.h>

using namespace tarn::services;
namespace state = tarn::upgrade::state;

namespace {

constexpr int Files = 40;
constexpr qint64 MiB = 1024 * 1024;

QString run(const QString &program, const QStringList &arguments)
{
    QProcess process;
    process.setProcessChannelMode(QProcess::MergedChannels);
    process.start(program, arguments);
    process.waitForFinished(60000);
    const bool good = process.exitStatus() == QProcess::NormalExit && process.exitCode() == 0;
    return good ? QString() : program + QLatin1String(": ") + QString::fromLocal8Bit(process.readAll());
}

} // namespace

class tst_Disk : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase();
    void init();
    void cleanup();

    void fullBeforeAndDuringADownload();
    void fullDuringAnInstallation();
    void powerLoss();

private:
    bool fill(qint64 free);
    QString stateOnDisk(int *state, QString *program, int *files);

    std::unique_ptr<QTemporaryDir> m_folder; // with the mount points "disk" and "copy"
    QString m_disk;
    std::unique_ptr<UpgradeBench> m_bench;
};

// The mounts belong to this process and end with it.
void tst_Disk::initTestCase()
{
    if (::geteuid() != 0)
        QSKIP("only root may mount the disks of this test");
    if (::unshare(CLONE_NEWNS) != 0 || ::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0)
        QSKIP("this environment does not allow mounts");
}

void tst_Disk::init()
{
    m_folder = std::make_unique<QTemporaryDir>();
    m_disk = m_folder->filePath("disk");
    QDir(m_folder->path()).mkdir("disk");
    QDir(m_folder->path()).mkdir("copy");
}

void tst_Disk::cleanup()
{
    m_bench.reset();
    ::umount2(qPrintable(m_disk), MNT_DETACH);
}

// Leaves this many bytes free.
bool tst_Disk::fill(qint64 free)
{
    QFile filler(m_disk + "/filler");
    if (!filler.open(QIODevice::WriteOnly | QIODevice::Unbuffered))
        return false;
    if (free > 0)
        return filler.resize(0) &&
               run("fallocate", {"-l", QString::number(80 * MiB - free), filler.fileName()}).isEmpty();
    for (qint64 size = MiB; size >= 512; size /= 2) {
        while (filler.write(QByteArray(int(size), 'x')) == size) {
        }
    }
    return true;
}

void tst_Disk::fullBeforeAndDuringADownload()
{
    QCOMPARE(::mount("tarn", qPrintable(m_disk), "tmpfs", 0, "size=80m"), 0);
    m_bench = std::make_unique<UpgradeBench>(m_disk);
    HttpServer::File file;
    file.content = QByteArray(12 * MiB, 'x');
    QVERIFY(fill(68 * MiB)); // the reserve and less than the package
    m_bench->start({m_bench->package("p", file)});
    QTRY_COMPARE(m_bench->state(), int(state::DownloadFailed));
    QVERIFY2(m_bench->now().error.contains("no space left"), qPrintable(m_bench->now().error));
    QCOMPARE(m_bench->server.requests().size(), 0);

    // Another program fills the disk during the download, so that not even the state can be stored.
    QVERIFY(QFile::remove(m_disk + "/filler"));
    file.bytesPerSecond = 4 * MiB;
    const UpgradeItem slow = m_bench->package("p", file);
    m_bench->start({slow});
    QTRY_VERIFY(m_bench->now().items.value(0).received > 0);
    QVERIFY(fill(0));
    QTRY_COMPARE(m_bench->state(), int(state::DownloadFailed));
    QVERIFY2(m_bench->now().error.contains("no space left"), qPrintable(m_bench->now().error));
    QElapsedTimer watched;
    watched.start();
    QTRY_VERIFY(watched.hasExpired(1000)); // the time in which a download that starts over would ask again
    QCOMPARE(m_bench->server.requests().size(), 1);
    QVERIFY_EXCEPTION_THROWN(m_bench->start({slow}), Failure); // the last state must be stored first

    QVERIFY(QFile::remove(m_disk + "/filler"));
    m_bench->start({slow});
    QTRY_COMPARE_WITH_TIMEOUT(m_bench->state(), int(state::Downloaded), 20000);
}

void tst_Disk::fullDuringAnInstallation()
{
    QCOMPARE(::mount("tarn", qPrintable(m_disk), "tmpfs", 0, "size=80m"), 0);
    const QString product = packages::install(m_disk + "/apps", "p", "1.0");
    for (int i = 0; i < Files; ++i)
        packages::writeFile(product + "/data/" + QString::number(i), "old");
    for (const int room : {0, 4096, 3 * 4096}) { // for the journal, folders of old copies, ...
        FileSwap swap(product);
        const auto stage = [&] {
            for (int i = 0; i < Files; ++i)
                packages::writeFile(swap.staging() + "/data/" + QString::number(i), "new");
            packages::writeFile(m_disk + "/spare", QByteArray(room, 'x'));
            fill(0);
            QFile::remove(m_disk + "/spare");
        };
        const QByteArray expected = errorOf([&] { swap.replace(stage); }).isEmpty() ? "new" : "old";
        QVERIFY(room > 0 || expected == "old");
        QVERIFY(QFile::remove(m_disk + "/filler"));
        swap.rollBack();
        for (int i = 0; i < Files; ++i) {
            QCOMPARE(packages::readFile(product + "/data/" + QString::number(i)), expected);
            packages::writeFile(product + "/data/" + QString::number(i), "old");
        }
    }
}

// What a copy of the disk's image holds, mounted as after a power loss. @return what went wrong
QString tst_Disk::stateOnDisk(int *state, QString *program, int *files)
{
    const QString image = m_folder->filePath("image");
    const QString copied = m_folder->filePath("image.copy");
    const QString point = m_folder->filePath("copy");
    QString error = run("cp", {"--sparse=always", image, copied});
    if (error.isEmpty())
        error = run("mount", {"-o", "loop", copied, point});
    if (!error.isEmpty())
        return error;
    {
        UpgradeStore store(point);
        const UpgradeTask task = store.tasks().value(0);
        *state = task.state;
        for (const QFileInfo &info : QDir(point + "/downloads").entryInfoList(QDir::Files)) {
            if (info.size() != task.items.value(0).size)
                error += info.fileName() + " is not complete; ";
        }
    }
    const QString product = point + "/apps/" + m_bench->Name;
    FileSwap(product).rollBack(); // as the services do when they start
    *program = QString::fromUtf8(packages::readFile(product + "/bin/program"));
    *files = 0;
    for (int i = 0; i < Files; ++i)
        *files += packages::readFile(product + "/data/" + QString::number(i)) == "content" ? 1 : 0;
    const QString unmounted = run("umount", {point});
    return error + unmounted;
}

void tst_Disk::powerLoss()
{
    const QString image = m_folder->filePath("image");
    QFile disk(image);
    QVERIFY(disk.open(QIODevice::WriteOnly) && disk.resize(160 * MiB));
    disk.close();
    const QString made = run("mkfs.ext4", {"-q", "-F", image});
    const QString mounted = made.isEmpty() ? run("mount", {"-o", "loop", image, m_disk}) : made;
    if (!mounted.isEmpty())
        QSKIP(qPrintable("no loop device for the test: " + mounted));
    m_bench = std::make_unique<UpgradeBench>(m_disk);
    QVERIFY(run("sync", {"-f", m_disk}).isEmpty());
    QList<QPair<QString, QByteArray>> content{{"bin/program", "new"}};
    for (int i = 0; i < Files; ++i)
        content << qMakePair("data/" + QString::number(i), QByteArray("content"));
    const UpgradeItem package = m_bench->package("p", packages::archive(content));

    int state = 0, files = 0;
    QString program;
    m_bench->start({package});
    QTRY_COMPARE(m_bench->state(), int(state::Downloaded));
    QCOMPARE(stateOnDisk(&state, &program, &files), QString());
    QCOMPARE(state, int(state::Downloaded));
    QCOMPARE(program, "old 1.0");

    m_bench->engine->install(m_bench->Name);
    QTRY_COMPARE(m_bench->state(), int(state::Installed));
    QElapsedTimer since;
    since.start();
    for (const int seconds : {0, 2, 8, 15}) {
        QTRY_VERIFY_WITH_TIMEOUT(since.hasExpired(seconds * 1000), 20000);
        QCOMPARE(stateOnDisk(&state, &program, &files), QString());
        QCOMPARE(state, int(state::Installed));
        QCOMPARE(program, "new");
        QCOMPARE(files, Files);
    }
}

QTEST_GUILESS_MAIN(tst_Disk)
#include "tst_Disk.moc"
