// The hub program: its directory, lock, port, segment and services, as real processes.
#include "rpc/Sandbox.h"
#include "tarn/keys/HubKeys.h"
#include "tarn/rpc/Rpc.h"
#include "tarn/rpc/RuntimeDir.h"
#include <QDir>
#include <QFile>
#include <QSharedMemory>
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
    void servicesComeBackAndGoWithTheHub();

private:
    QString outputOf(const ProcessPtr &hub);

    std::unique_ptr<Sandbox> m_box;
};

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

void tst_Hub::servicesComeBackAndGoWithTheHub()
{
    m_box->writeServices("echo services $$\nexec sleep 1000\n");
    QVERIFY(m_box->startHub());
    const qint64 first = awaitLine(m_box->hub(), "services ").toLongLong();
    QVERIFY(first > 0);
    ::kill(static_cast<pid_t>(first), SIGKILL);
    QVERIFY(!awaitLine(m_box->hub(), "next start in 100 ms").isNull());
    const qint64 second = awaitLine(m_box->hub(), "services ").toLongLong();
    QVERIFY(second > 0 && second != first);
    ::kill(static_cast<pid_t>(second), SIGKILL);
    QVERIFY(!awaitLine(m_box->hub(), "next start in 200 ms").isNull());
    const qint64 third = awaitLine(m_box->hub(), "services ").toLongLong();
    QVERIFY(third > 0 && isAlive(third));
    m_box->killHub();
    QTRY_VERIFY(!isAlive(third));
}

QTEST_GUILESS_MAIN(tst_Hub)
#include "tst_hub.moc"
