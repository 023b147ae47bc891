// The hub program: its directory, lock, port, segment and services, as real processes.
#include "rpc/Sandbox.h"
#include "tarn/keys/HubKeys.h"
#include "tarn/rpc/HubPort.h"
#include "tarn/rpc/Rpc.h"
#include "tarn/rpc/RuntimeDir.h"
#include <QDir>
#include <QFile>
#include <QSharedMemory>
#include <QStandardPaths>
#include <QtTest>
#include <arpa/inet.h>
#include <csignal>
#include <fcntl.h>
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

bool isAlive(qint64 pid)
{
    QFile status(QStringLiteral("/proc/%1/status").arg(pid));
    return status.open(QIODevice::ReadOnly) && !status.readAll().contains("State:\tZ");
}

} // namespace

class tst_Hub : public QObject
{
    Q_OBJECT
private slots:
    void init() { m_box = std::make_unique<Sandbox>(); }
    void cleanup() { m_box.reset(); }

    void directoryRefused_data();
    void directoryRefused();
    void onlyOneHub();
    void staleSegmentIsTakenOver();
    void oldPortTakenMeanwhile();
    void socketsOfTheDeadAreSwept();
    void servicesComeBackAndEndWithTheHub();
    void runtimeDirectoryRemoved();
    void signalsAndClosedPipes();
    void twoUsers();
    void tooFewThreads();

private:
    int servicesStarts() const;
    ProcessPtr startAsSecondUser(const QString &runtimeBase, const QStringList &through = {});
    QString outputOf(const ProcessPtr &hub);

    std::unique_ptr<Sandbox> m_box;
};

/// How often the services of writeServices("... exit 3") were started.
int tst_Hub::servicesStarts() const
{
    QFile file(m_box->path(QStringLiteral("starts")));
    return file.open(QIODevice::ReadOnly) ? file.readAll().count('\n') : 0;
}

/// What a hub that cannot start says; null when it does not end.
QString tst_Hub::outputOf(const ProcessPtr &hub)
{
    hub->start();
    if (!hub->waitForFinished(10000) || hub->exitStatus() != QProcess::NormalExit)
        return QString();
    return QStringLiteral("%1: %2").arg(hub->exitCode()).arg(QString::fromUtf8(hub->readAll()));
}

void tst_Hub::directoryRefused_data()
{
    QTest::addColumn<QString>("how");
    QTest::addColumn<QString>("reason");
    QTest::newRow("symlink") << QStringLiteral("symlink") << QStringLiteral("it is a symbolic link");
    QTest::newRow("open to others") << QStringLiteral("open") << QStringLiteral("its mode is 755, not 700");
    QTest::newRow("too long") << QStringLiteral("long") << QStringLiteral("at most 106 are possible");
}

void tst_Hub::directoryRefused()
{
    QFETCH(QString, how);
    QFETCH(QString, reason);
    const QString dir = m_box->runtimeDir();
    const QByteArray path = QFile::encodeName(dir);
    if (how == QLatin1String("symlink")) {
        QVERIFY(QFile::link(m_box->path(QStringLiteral("tmp")), dir));
    } else if (how == QLatin1String("open")) {
        QVERIFY(::mkdir(path.constData(), 0755) == 0 && ::chmod(path.constData(), 0755) == 0);
    } else {
        const QString deep = m_box->path(QString(100, 'd'));
        QVERIFY(QDir().mkpath(deep));
        qputenv("XDG_RUNTIME_DIR", QFile::encodeName(deep));
    }
    const QString output = outputOf(m_box->newHub());
    QVERIFY2(output.startsWith(QLatin1String("1: ")) && output.contains(reason), qPrintable(output));
    rpc::Rpc client; // clients do not walk into it either
    QVERIFY(!client.init({{QStringLiteral("Port"), QStringLiteral("4711")}}));
    const QString error = QString::fromStdString(rpc::getRpcLastError().message);
    QVERIFY2(error.contains(reason), qPrintable(error));
}

void tst_Hub::onlyOneHub()
{
    QVERIFY(m_box->startHub());
    const QString output = outputOf(m_box->newHub());
    QVERIFY2(output.startsWith(QLatin1String("1: ")) && output.contains(QLatin1String("another hub runs in")),
             qPrintable(output));
    QCOMPARE(publishedText(), QByteArray::number(m_box->hubPort())); // untouched
    rpc::Rpc client;
    QVERIFY(client.init(m_box->settings()));
}

void tst_Hub::staleSegmentIsTakenOver()
{
    QVERIFY(m_box->startHub());
    QSharedMemory client(hub::PortSegmentKey); // keeps the segment alive
    QVERIFY(client.attach(QSharedMemory::ReadOnly));
    m_box->killHub();
    QVERIFY(QFile::resize(m_box->runtimeDir() + QStringLiteral("/hub.lock"), 0)); // so that another port comes
    QVERIFY(m_box->startHub());
    const QByteArray port = QByteArray::number(m_box->hubPort());
    QCOMPARE(publishedText(), port);
    QCOMPARE(QByteArray(static_cast<const char *>(client.constData())), port);
    m_box->hub().terminate();
    QVERIFY(m_box->hub().waitForFinished());
    QCOMPARE(QByteArray(static_cast<const char *>(client.constData())), QByteArray()); // nobody believes in it
}

void tst_Hub::oldPortTakenMeanwhile()
{
    QVERIFY(m_box->startHub());
    const quint16 port = m_box->hubPort();
    m_box->killHub();
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(port);
    const int fd = ::socket(AF_INET, SOCK_STREAM, 0);
    QCOMPARE(::bind(fd, reinterpret_cast<sockaddr *>(&address), sizeof(address)), 0);
    const bool started = m_box->startHub();
    ::close(fd);
    QVERIFY(started && m_box->hubPort() != port);
}

void tst_Hub::socketsOfTheDeadAreSwept()
{
    QVERIFY(m_box->startHub());
    const QString dead = m_box->runtimeDir() + QStringLiteral("/ep-1-dead.sock");
    const QString young = m_box->runtimeDir() + QStringLiteral("/ep-1-young.sock");
    for (const QString &path : {dead, young}) { // bound and deserted
        sockaddr_un address = {};
        address.sun_family = AF_UNIX;
        qstrncpy(address.sun_path, QFile::encodeName(path).constData(), sizeof(address.sun_path));
        const int fd = ::socket(AF_UNIX, SOCK_STREAM, 0);
        QCOMPARE(::bind(fd, reinterpret_cast<sockaddr *>(&address), sizeof(address)), 0);
        ::close(fd);
    }
    const timespec longAgo[2] = {{1000, 0}, {1000, 0}};
    QCOMPARE(::utimensat(AT_FDCWD, QFile::encodeName(dead).constData(), longAgo, 0), 0);
    m_box->killHub();
    QVERIFY(m_box->startHub());
    QVERIFY(!QFileInfo::exists(dead));
    QVERIFY(QFileInfo::exists(young)); // may be bound and not yet listening
}

void tst_Hub::servicesComeBackAndEndWithTheHub()
{
    m_box->writeServices("echo services $$\nexec sleep 1000\n");
    QVERIFY(m_box->startHub());
    qint64 last = 0;
    for (const char *pause : {"100", "200", "400", "800", "1000", ""}) { // killed by others: never more than a second
        last = awaitLine(m_box->hub(), "services ").toLongLong();
        QVERIFY(last > 0 && isAlive(last));
        if (*pause == 0)
            break;
        ::kill(static_cast<pid_t>(last), SIGKILL);
        QVERIFY(!awaitLine(m_box->hub(), QByteArray("has ended (signal 9), next start in ") + pause + " ms").isNull());
    }
    m_box->killHub();
    QTRY_VERIFY(!isAlive(last));
    m_box->writeServices("exit 3\n"); // dies at its start
    QVERIFY(m_box->startHub());
    for (const char *pause : {"100", "200", "400", "800", "1600"})
        QVERIFY(
            !awaitLine(m_box->hub(), QByteArray("has ended (exit code 3), next start in ") + pause + " ms").isNull());
}

void tst_Hub::runtimeDirectoryRemoved()
{
    QVERIFY(m_box->startHub());
    QVERIFY(QDir(m_box->runtimeDir()).removeRecursively());
    QVERIFY(m_box->hub().waitForFinished(10000));
    QCOMPARE(m_box->hub().exitCode(), 1);
    QVERIFY(m_box->startHub());
    QCOMPARE(rpc::hubPort(), m_box->hubPort());
}

void tst_Hub::signalsAndClosedPipes()
{
    m_box->writeServices("echo x >>'" + QFile::encodeName(m_box->path(QStringLiteral("starts"))) + "'\nexit 3\n");
    QVERIFY(m_box->startHub());
    m_box->hub().closeReadChannel(QProcess::StandardOutput);
    QFile limits(QStringLiteral("/proc/%1/limits").arg(m_box->hub().processId()));
    QVERIFY(limits.open(QIODevice::ReadOnly));
    const QString files = QString::fromLatin1(limits.readAll()).split(QStringLiteral("Max open files")).value(1);
    const QStringList columns = files.simplified().split(QLatin1Char(' '));
    QCOMPARE(columns.value(0), columns.value(1)); // soft and hard
    rpc::Rpc client;
    QVERIFY(client.init(m_box->settings()));
    const auto hub = client.stringToProxy(hub::HubInterface);
    QVERIFY(hub);
    QTRY_VERIFY(servicesStarts() >= 3); // it wrote lines meanwhile
    QVERIFY(hub->call(QStringLiteral("Ping"), {}).arrived());
    ::kill(static_cast<pid_t>(m_box->hub().processId()), SIGHUP);
    QVERIFY(m_box->hub().waitForFinished(10000));
    QCOMPARE(m_box->hub().exitStatus(), QProcess::NormalExit);
    QCOMPARE(rpc::hubPort(), quint16(0));
}

/// Starts a hub as another user, with a runtime directory of that user's and the same temporary directory.
ProcessPtr tst_Hub::startAsSecondUser(const QString &runtimeBase, const QStringList &through)
{
    constexpr uid_t Second = 64123;
    if (!QDir().mkpath(runtimeBase) || ::chown(QFile::encodeName(runtimeBase).constData(), Second, Second) != 0)
        return nullptr;
    for (const QString &folder : {m_box->path(QString()), m_box->path(QStringLiteral("tmp"))})
        ::chmod(QFile::encodeName(folder).constData(), 01777);
    ProcessPtr hub(new QProcess);
    auto environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("XDG_RUNTIME_DIR"), runtimeBase);
    hub->setProcessEnvironment(environment);
    hub->setProcessChannelMode(QProcess::MergedChannels);
    hub->start(QStringLiteral("setpriv"),
               QStringList{QStringLiteral("--reuid"), QString::number(Second), QStringLiteral("--regid"),
                           QString::number(Second), QStringLiteral("--clear-groups"), QStringLiteral("--")} +
                   through + QStringList{m_box->path(QStringLiteral("bin/ServiceHub")), hub::StartArgument});
    return hub;
}

void tst_Hub::twoUsers()
{
    if (::geteuid() != 0 || QStandardPaths::findExecutable(QStringLiteral("setpriv")).isEmpty())
        QSKIP("a second user needs root and setpriv");
    QVERIFY(m_box->startHub());
    const QString run = m_box->path(QStringLiteral("run2"));
    const ProcessPtr second = startAsSecondUser(run);
    QVERIFY(second);
    QVERIFY(!awaitLine(*second, "published in shared memory").isNull());
    const quint16 port = awaitLine(*second, "hub ready on port ").toUShort();
    QVERIFY(port != 0 && port != m_box->hubPort());
    QCOMPARE(rpc::hubPort(), m_box->hubPort()); // the first user's is untouched
    QCOMPARE(QFile::symLinkTarget(run + QStringLiteral("/tarn/hub.sock")),
             QStringLiteral("%1/tarn/hub-%2.sock").arg(run).arg(port));
    second->terminate(); // setpriv has become the hub
    QVERIFY(second->waitForFinished(10000));
    QCOMPARE(second->exitCode(), 0);
}

void tst_Hub::tooFewThreads()
{
    if (::geteuid() != 0 || QStandardPaths::findExecutable(QStringLiteral("setpriv")).isEmpty())
        QSKIP("a user with a limit needs root and setpriv");
    const ProcessPtr hub = startAsSecondUser(m_box->path(QStringLiteral("run2")),
                                             {QStringLiteral("prlimit"), QStringLiteral("--nproc=6")});
    QVERIFY(hub);
    const QString line = awaitLine(*hub, "threads are needed and only");
    QVERIFY(!line.isNull());
    QVERIFY(hub->waitForFinished(10000));
    QCOMPARE(hub->exitCode(), 1);
}

QTEST_GUILESS_MAIN(tst_Hub)
#include "tst_hub.moc"
