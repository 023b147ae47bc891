// Full disks and power losses: the upgrade engine on small file systems of the test's own. Needs root for mounting.
#include "services/FileSwap.h"
#include "support/UpgradeBench.h"
#include <QElapsedTimer>
#include <QTemporaryDir>
#include <QTest>
#include <sched.h>
#include <sys/mount.h>
#include <sys/statvfs.h>
#include <unistd.h>

using namespace tarn::services;
namespace state = tarn::upgrade::state;

static constexpr int Files = 40;
static constexpr qint64 MiB = 1024 * 1024;

class tst_Disk : public QObject
{
    Q_OBJECT
private slots:
    // The mounts belong to this process and end with it.
    void initTestCase()
    {
        if (::geteuid() != 0)
            QSKIP("only root may mount the disks of this test");
        if (::unshare(CLONE_NEWNS) != 0 || ::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0)
            QSKIP("this environment does not allow mounts");
    }

    void init()
    {
        m_folder = std::make_unique<QTemporaryDir>();
        m_disk = m_folder->filePath("disk");
        QDir(m_folder->path()).mkdir("disk");
        QDir(m_folder->path()).mkdir("copy");
    }

    void cleanup()
    {
        m_bench.reset();
        ::umount2(qPrintable(m_disk), MNT_DETACH);
    }

    void fullBeforeAndDuringADownload()
    {
        QCOMPARE(::mount("tarn", qPrintable(m_disk), "tmpfs", 0, "size=80m"), 0);
        m_bench = std::make_unique<UpgradeBench>(m_disk);
        HttpServer::File file(QByteArray(12 * MiB, 'x'));
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
        QVERIFY_EXCEPTION_THROWN(m_bench->start({slow}), Failure); // the new task cannot be stored

        QVERIFY(QFile::remove(m_disk + "/filler"));
        m_bench->start({slow});
        QTRY_COMPARE_WITH_TIMEOUT(m_bench->state(), int(state::Downloaded), 20000);
    }

    void fullDuringAnInstallation()
    {
        QCOMPARE(::mount("tarn", qPrintable(m_disk), "tmpfs", 0, "size=80m"), 0);
        const QString product = packages::install(m_disk + "/apps", "p", "1.0");
        const auto write = [](const QString &folder, const QByteArray &content) {
            for (int i = 0; i < Files; ++i)
                packages::writeFile(folder + "/data/" + QString::number(i), content);
        };
        const auto limit = [this](quint64 files) { // of the whole disk; tmpfs counts a link as an inode
            return ::mount("tarn", qPrintable(m_disk), "tmpfs", MS_REMOUNT,
                           qPrintable(QString("nr_inodes=%1").arg(files)));
        };
        for (const quint64 room : {0, 1, 10, 1000}) { // not enough for the old files' folder, the mark, all links
            write(product, "old");
            FileSwap swap(product);
            const auto stage = [&] {
                write(swap.staging(), "new");
                struct statvfs info = {};
                QCOMPARE(::statvfs(qPrintable(m_disk), &info), 0);
                QCOMPARE(limit(info.f_files - info.f_ffree + room), 0);
            };
            const QString error = errorOf([&] { swap.replace(stage); });
            const bool fits = room > Files;
            QVERIFY2(error.isEmpty() == fits && !error.contains("rolling back"), qPrintable(error));
            for (int i = 0; i < Files; ++i)
                QCOMPARE(packages::readFile(product + "/data/" + QString::number(i)), fits ? "new" : "old");
            QCOMPARE(limit(10000), 0);
        }
    }

    void powerLoss()
    {
        const QString failure = shell("truncate -s 160M image && mkfs.ext4 -q -F image && mount -o loop image disk");
        if (!failure.isEmpty())
            QSKIP(qPrintable("no loop device for the test: " + failure));
        m_bench = std::make_unique<UpgradeBench>(m_disk);
        QCOMPARE(shell("sync -f disk"), QString());
        QList<QPair<QString, QByteArray>> content{{"bin/program", "new"}};
        for (int i = 0; i < Files; ++i)
            content << qMakePair("data/" + QString::number(i), QByteArray("content"));
        m_bench->start({m_bench->package("p", packages::archive(content))});
        QTRY_COMPARE(m_bench->state(), int(state::Downloaded));
        QCOMPARE(onDisk(), QString("state %1, program old 1.0, 0 files").arg(state::Downloaded));

        m_bench->engine->install(m_bench->Name);
        QTRY_COMPARE(m_bench->state(), int(state::Installed));
        QElapsedTimer since;
        since.start();
        for (const int seconds : {0, 8}) {
            QTRY_VERIFY_WITH_TIMEOUT(since.hasExpired(seconds * 1000), 20000);
            QCOMPARE(onDisk(), QString("state %1, program new, %2 files").arg(state::Installed).arg(Files));
        }
    }

private:
    // Leaves this many bytes free.
    bool fill(qint64 free)
    {
        QFile filler(m_disk + "/filler");
        if (!filler.open(QIODevice::WriteOnly | QIODevice::Unbuffered))
            return false;
        if (free > 0)
            return filler.resize(0) && shell(QString("fallocate -l %1 disk/filler").arg(80 * MiB - free)).isEmpty();
        for (qint64 size = MiB; size >= 512; size /= 2) {
            while (filler.write(QByteArray(int(size), 'x')) == size) {
            }
        }
        return true;
    }

    // What a copy of the disk's image holds, mounted as after a power loss.
    QString onDisk()
    {
        const QString failure = shell("cp --sparse=always image image.copy && mount -o loop image.copy copy");
        if (!failure.isEmpty())
            return failure;
        const QString point = m_folder->filePath("copy");
        const QString product = point + "/apps/" + m_bench->Name;
        FileSwap(product).rollBack(); // as the services do when they start
        int files = 0;
        for (int i = 0; i < Files; ++i)
            files += packages::readFile(product + "/data/" + QString::number(i)) == "content" ? 1 : 0;
        const UpgradeTask task = UpgradeStore(point).tasks().value(0);
        auto found = QString("state %1, program %2, %3 files")
                         .arg(task.state)
                         .arg(QString::fromUtf8(packages::readFile(product + "/bin/program")))
                         .arg(files);
        for (const QFileInfo &info : QDir(point + "/downloads").entryInfoList(QDir::Files)) {
            if (info.size() != task.items.value(0).size)
                found += ", " + info.fileName() + " is not complete";
        }
        return found + shell("umount copy");
    }

    // Runs a command in the test's folder. @return why it has failed
    QString shell(const QString &command) const
    {
        QProcess process;
        process.setProcessChannelMode(QProcess::MergedChannels);
        process.setWorkingDirectory(m_folder->path());
        process.start("sh", {"-c", command});
        const bool good = process.waitForFinished(60000) && process.exitCode() == 0;
        return good ? QString() : command + ": " + QString::fromLocal8Bit(process.readAll());
    }

    std::unique_ptr<QTemporaryDir> m_folder; // with the mount points "disk" and "copy"
    QString m_disk;
    std::unique_ptr<UpgradeBench> m_bench;
};

QTEST_GUILESS_MAIN(tst_Disk)
#include "tst_Disk.moc"
