#include "e2e/Popup.h"
#include "e2e/Session.h"

#include <QDir>
#include <QTest>

#include <csignal>

namespace {

const QString Host = QStringLiteral("visualized-host");
const QString Hub = QStringLiteral("ServiceHub");
const QString Services = QStringLiteral("tarn-services");
constexpr int BackMs = 5000;

QStringList sockets(const Session &session)
{
    return QDir(session.runtimeDir() + QStringLiteral("/tarn"))
        .entryList({QStringLiteral("*.sock")}, QDir::System | QDir::Files);
}

} // namespace

// Processes that die and come again, in every order; no test restarts the host to make it callable.
class TestRestarts final : public QObject
{
    Q_OBJECT
private slots:
    void hubKilledIsStartedByTheHost();
    void secondHostTakesOver();
    void everythingKilledAndStartedAgain();
    void terminatedHostLeavesNothing();
};

void TestRestarts::hubKilledIsStartedByTheHost()
{
    Session session;
    QVERIFY(session.startHost());
    QVERIFY(session.waitReady());
    const QVector<qint64> host = session.pids(Host);
    QFile environment(QStringLiteral("/proc/%1/environ").arg(session.pids(Hub).value(0)));
    QVERIFY(environment.open(QIODevice::ReadOnly));
    QVERIFY(!environment.readAll().contains("QT_XCB_GL_INTEGRATION")); // the host's own choice stays with it

    QCOMPARE(session.signalAll(Hub, SIGKILL), 1);
    QTRY_VERIFY(session.pids(Hub).isEmpty());
    QTRY_COMPARE_WITH_TIMEOUT(session.pids(Hub).size(), 1, BackMs);
    QVERIFY(session.waitReady()); // the services as well
    QCOMPARE(session.pids(Host), host);
    QTRY_COMPARE(session.pids(Services).size(), 1);
    QVERIFY(!session.push().isEmpty());
    QVERIFY(!popup::waitFor().isNull());
    QCOMPARE(session.stopHost(), 0);
}

/// Started twice, one host serves; the other follows when it ends.
void TestRestarts::secondHostTakesOver()
{
    Session session;
    QVERIFY(session.startHost());
    QVERIFY(session.waitReady());
    QProcess second;
    QVERIFY(session.startSecondHost(&second));
    QTRY_VERIFY_WITH_TIMEOUT(session.hostLog().contains(QStringLiteral("is registered by visualized-host")), BackMs);
    const QStringList call = {QStringLiteral("call"), QStringLiteral("QueryYunLoginDialogState")};
    QCOMPARE(session.tarnctl(call).exitCode, 0);
    QCOMPARE(session.stopHost(), 0);
    QTRY_COMPARE_WITH_TIMEOUT(session.tarnctl(call).exitCode, 0, BackMs);
    second.terminate();
    QVERIFY(second.waitForFinished(15000));
    QCOMPARE(second.exitCode(), 0);
}

// What the killed processes left (port segment, sockets, database) misleads nobody.
void TestRestarts::everythingKilledAndStartedAgain()
{
    Session session;
    QVERIFY(session.startHost());
    QVERIFY(session.waitReady());
    QVERIFY(!session.push().isEmpty());
    const QByteArray before =
        session.tarnctl({QStringLiteral("message"), QStringLiteral("list"), QStringLiteral("--json")}).output;
    for (const QString &program : {Host, Hub, Services})
        session.signalAll(program, SIGKILL);
    QTRY_VERIFY(session.pids(Host).isEmpty() && session.pids(Hub).isEmpty() && session.pids(Services).isEmpty());

    QTRY_VERIFY(!session.hostRuns());
    QVERIFY(session.startHost());
    QVERIFY2(session.waitReady(), qPrintable(session.hostLog()));
    const QByteArray after =
        session.tarnctl({QStringLiteral("message"), QStringLiteral("list"), QStringLiteral("--json")}).output;
    QCOMPARE(after, before);
    QCOMPARE(session.stopHost(), 0);
}

void TestRestarts::terminatedHostLeavesNothing()
{
    Session session;
    QVERIFY(session.startHost());
    QVERIFY(session.waitReady());
    session.push();
    const XClient window = popup::waitFor();
    QVERIFY(!window.isNull());
    const int withHost = sockets(session).size();

    QCOMPARE(session.stopHost(), 0);
    QVERIFY(popup::waitGone(window.id));
    QVERIFY(session.pids(Host).isEmpty());
    QVERIFY(sockets(session).size() < withHost);
    QCOMPARE(session.tarnctl({QStringLiteral("call"), QStringLiteral("QueryYunLoginDialogState")}).exitCode, 3);

    // The hub and the services belong to the platform and stay; ended, they leave nothing either.
    QCOMPARE(session.pids(Services).size(), 1);
    session.signalAll(Hub, SIGTERM);
    QTRY_VERIFY_WITH_TIMEOUT(session.pids(Hub).isEmpty() && session.pids(Services).isEmpty(), 15000);
    QTRY_COMPARE(sockets(session), QStringList());
}

QTEST_GUILESS_MAIN(TestRestarts)
#include "tst_restarts.moc"
