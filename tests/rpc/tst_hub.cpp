// The hub program: its directory, lock, port, segment and services, as real processes.
#include "support/Sandbox.h"
#include "support/ServedObject.h"
#include "tarn/keys/HubKeys.h"
#include "tarn/rpc/HubPort.h"
#include "tarn/rpc/Rpc.h"
#include "tarn/rpc/RuntimeDir.h"
#include <QDir>
#include <QFile>
#include <QSharedMemory>
#include <QStandardPaths>
#include <QtTest>
#include <atomic>
#include <csignal>
#include <fcntl.h>
#include <future>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

using namespace tarn;

namespace {

QByteArray publishedText()
{
    QSharedMemory segment(hub::PortSegmentKey);
    if (!segment.attach(QSharedMemory::ReadOnly))
        return "(no segment)";
    return QByteArray(static_cast<const char *>(segment.constData()), hub::PortSegmentSize).split('\0').first();
}

bool isAlive(int pid)
{
    QFile status(QString("/proc/%1/status").arg(pid));
    return status.open(QIODevice::ReadOnly) && !status.readAll().contains("State:\tZ");
}

} // namespace

class tst_Hub : public QObject
{
    Q_OBJECT
private slots:
    void init() { m_box = std::make_unique<Sandbox>(); }
    void cleanup() { m_box.reset(); }

    void directoryRefused()
    {
        const QString dir = m_box->runtimeDir();
        const QString deep = m_box->path(QString(100, 'd'));
        QVERIFY(QDir().mkpath(deep));
        const auto isRefused = [&](const QString &reason) {
            const QString output = outputOf(m_box->newHub());
            rpc::Rpc client; // clients do not walk into it either
            const bool connected = client.init({{"Port", "4711"}});
            return output.startsWith("1: ") && output.contains(reason) && !connected &&
                   QString::fromStdString(rpc::getRpcLastError().message).contains(reason);
        };
        QVERIFY(QFile::link(m_box->path("tmp"), dir));
        QVERIFY(isRefused("it is a symbolic link"));
        QVERIFY(QFile::remove(dir) && QDir().mkpath(dir) && ::chmod(QFile::encodeName(dir).constData(), 0755) == 0);
        QVERIFY(isRefused("its mode is 755, not 700"));
        qputenv("XDG_RUNTIME_DIR", QFile::encodeName(deep));
        QVERIFY(isRefused("at most 106 are possible"));
    }

    void onlyOneHub()
    {
        QVERIFY(m_box->startHubAlone());
        const QString output = outputOf(m_box->newHub());
        QVERIFY2(output.startsWith("1: ") && output.contains("another hub runs in"), qPrintable(output));
        QCOMPARE(publishedText(), QByteArray::number(m_box->hubPort())); // untouched
        rpc::Rpc client;
        QVERIFY(client.init(m_box->settings()));
        m_box->killHub();
        const QString lock = m_box->runtimeDir() + "/hub.lock";
        QVERIFY(QFile::remove(lock) && QFile::link(m_box->path("elsewhere"), lock));
        QVERIFY(outputOf(m_box->newHub()).contains("hub.lock cannot be opened"));
    }

    void servicesComeBackAndEndWithTheHub()
    {
        m_box->writeServices("echo services $$\nexec sleep 1000\n");
        QVERIFY(m_box->startHubAlone());
        const auto nextPid = [this] { return awaitLine(m_box->hub(), "services ").toInt(); };
        const auto isAnnounced = [this](const char *end, const char *pause) {
            return !awaitLine(m_box->hub(), QByteArray("has ended (") + end + "), next start in " + pause + " ms")
                        .isNull();
        };
        for (const char *pause : {"100", "200", "400", "800", "1000"}) { // killed by others: never more than a second
            const pid_t pid = nextPid();
            QVERIFY(pid > 0 && ::kill(pid, SIGKILL) == 0);
            QVERIFY2(isAnnounced("signal 9", pause), pause);
        }
        const int last = nextPid();
        const quint16 port = 20000 + QCoreApplication::applicationPid() % 10000; // the system gives others away
        m_box->killHub();
        QFile lock(m_box->runtimeDir() + "/hub.lock");
        QVERIFY(lock.open(QIODevice::WriteOnly) && lock.write(QByteArray::number(port)) > 0);
        lock.close();
        QTRY_VERIFY(!isAlive(last));
        m_box->writeServices("exit 3\n"); // dies at its start
        QVERIFY(m_box->startHubAlone());
        QCOMPARE(m_box->hubPort(), port); // remembered
        for (const char *pause : {"100", "200", "400", "800", "1600"})
            QVERIFY2(isAnnounced("exit code 3", pause), pause);
    }

    void runtimeDirectoryRemoved()
    {
        QVERIFY(m_box->startHubAlone());
        QVERIFY(QDir(m_box->runtimeDir()).removeRecursively());
        QVERIFY(m_box->hub()->waitForFinished(10000));
        QCOMPARE(m_box->hub()->exitCode(), 1);
        QVERIFY(m_box->startHubAlone());
        QCOMPARE(rpc::hubPort(), m_box->hubPort());
    }

    void signalsAndClosedPipes()
    {
        m_box->writeServices("echo x >>'" + QFile::encodeName(m_box->path("starts")) + "'\nexit 3\n");
        QVERIFY(m_box->startHubAlone());
        m_box->hub()->closeReadChannel(QProcess::StandardOutput);
        rpc::Rpc client;
        QVERIFY(client.init(m_box->settings()));
        const auto hub = client.stringToProxy(hub::HubInterface);
        QVERIFY(hub);
        QTRY_VERIFY(QFileInfo(m_box->path("starts")).size() >= 6); // it wrote lines meanwhile
        const qint64 pid = m_box->hub()->processId();
        const QVariantMap ping = hub->call("Ping", {}).output.values;
        QCOMPARE(ping, (QVariantMap{{"pid", pid}, {"program", "ServiceHub"}}));
        const test::ServedObject served("a", {});
        QVERIFY(served.isServed());
        QVariantMap entry = hub->call("List", {}).output.list.value(0).toMap();
        QVERIFY(entry.take("endpoint").toString().startsWith("unix:" + m_box->runtimeDir() + "/ep-"));
        QVERIFY(entry.take("epoch").toULongLong() != 0);
        QCOMPARE(entry, (QVariantMap{{"tag", "a"},
                                     {"interface", "ITestObject"},
                                     {"pid", QCoreApplication::applicationPid()},
                                     {"program", "tst_hub"}}));
        QSharedMemory attached(hub::PortSegmentKey); // keeps the segment
        QVERIFY(attached.attach(QSharedMemory::ReadOnly));
        ::kill(static_cast<pid_t>(m_box->hub()->processId()), SIGHUP);
        QVERIFY(m_box->hub()->waitForFinished(10000));
        QCOMPARE(publishedText(), QByteArray());
        QCOMPARE(m_box->hub()->exitStatus(), QProcess::NormalExit);
        QCOMPARE(rpc::hubPort(), quint16(0));
    }

    // They share the hub's registry and the one connection to it: the thread sanitizer would see a race.
    void threadsListAndRegister()
    {
        QVERIFY(m_box->startHubAlone());
        rpc::Rpc client;
        QVERIFY(client.init(m_box->settings()));
        std::atomic<bool> ended{false};
        const auto list = [&client, &ended] {
            const auto proxy = client.stringToProxy(hub::HubInterface);
            bool arrived = proxy != nullptr;
            while (arrived && !ended)
                arrived = proxy->call("List", {}).arrived();
            return arrived;
        };
        auto one = std::async(std::launch::async, list);
        auto two = std::async(std::launch::async, list);
        int refused = 0;
        for (int i = 0; i < 60; ++i)
            refused += !test::ServedObject("a", {}).isServed();
        ended = true;
        QVERIFY(one.get() && two.get());
        QCOMPARE(refused, 0);
    }

    void twoUsers()
    {
        if (::geteuid() != 0 || QStandardPaths::findExecutable("setpriv").isEmpty())
            QSKIP("a second user needs root and setpriv");
        QVERIFY(m_box->startHubAlone());
        const QString run = m_box->path("run2");
        const ProcessPtr second = startAsSecondUser(run);
        QVERIFY(second);
        QVERIFY(!awaitLine(second.get(), "published in shared memory").isNull());
        const quint16 port = awaitLine(second.get(), "hub ready on port ").toUShort();
        QVERIFY(port != 0 && port != m_box->hubPort());
        QCOMPARE(rpc::hubPort(), m_box->hubPort()); // the first user's is untouched
        QCOMPARE(QFile::symLinkTarget(run + "/tarn/hub.sock"), QString("%1/tarn/hub-%2.sock").arg(run).arg(port));
        QVERIFY(Sandbox::terminate(second.get())); // setpriv has become the hub
        QCOMPARE(second->exitCode(), 0);
    }

private:
    /// Starts a hub as another user, with a runtime directory of that user's and the same temporary directory.
    ProcessPtr startAsSecondUser(const QString &runtimeBase)
    {
        constexpr uid_t Second = 64123;
        if (!QDir().mkpath(runtimeBase) || ::chown(QFile::encodeName(runtimeBase).constData(), Second, Second) != 0)
            return nullptr;
        for (const QString &folder : {m_box->path(QString()), m_box->path("tmp")})
            ::chmod(QFile::encodeName(folder).constData(), 01777);
        const QString id = QString::number(Second);
        ProcessPtr hub = m_box->newHub();
        auto environment = hub->processEnvironment();
        environment.insert("XDG_RUNTIME_DIR", runtimeBase);
        hub->setProcessEnvironment(environment);
        hub->start("setpriv",
                   {"--reuid", id, "--regid", id, "--clear-groups", "--", hub->program(), hub::StartArgument});
        return hub;
    }

    /// Exit code and output of a hub that cannot start; null when it does not end.
    QString outputOf(const ProcessPtr &hub)
    {
        hub->start();
        if (!hub->waitForFinished(10000) || hub->exitStatus() != QProcess::NormalExit)
            return QString();
        return QString("%1: %2").arg(hub->exitCode()).arg(QString::fromUtf8(hub->readAll()));
    }

    std::unique_ptr<Sandbox> m_box;
};

QTEST_GUILESS_MAIN(tst_Hub)
#include "tst_hub.moc"
