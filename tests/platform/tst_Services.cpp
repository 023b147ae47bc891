#include "support/Freeze.h"
#include "support/Platform.h"
#include "support/ServedObject.h"
#include "tarn/keys/MessageKeys.h"
#include "tarn/link/MessageWire.h"
#include "tarn/link/PagedCall.h"
#include "tarn/visualized/IVisualizedService.h"
#include <QElapsedTimer>
#include <QFile>
#include <QSet>
#include <QTest>
#include <QThread>
#include <atomic>
#include <csignal>

using namespace tarn;
using test::Platform;
using test::ServedObject;
namespace key = tarn::message::key;
namespace wire = tarn::link::wire;

namespace {

constexpr int RestartTimeout = 20000;

/// Stores messages as fast as the service answers, and remembers the confirmed ones.
class Writer final : public QThread
{
public:
    ~Writer() override { end(); }
    void end()
    {
        m_stop = true;
        wait();
    }
    int confirmed() const { return m_confirmed; }
    QSet<QString> stored; ///< after end()

protected:
    void run() override
    {
        link::ServiceConnection connection;
        for (int i = 0; !m_stop; ++i) {
            const QString id = QString::number(i);
            const QVariantMap message{{key::MsgId, id}, {key::MsgTitle, QString(200, QChar(0x5b57))}};
            if (!connection.call(wire::MessageTag, wire::method::Import, {{}, {message}}).accepted)
                continue;
            stored.insert(id);
            m_confirmed = stored.size();
        }
    }

private:
    std::atomic<bool> m_stop{false};
    std::atomic<int> m_confirmed{0};
};

bool push(const QString &id)
{
    link::ServiceConnection connection;
    return connection.call(wire::MessageTag, wire::method::Push, {{{key::MsgId, id}, {key::MsgTitle, "标题"}}, {}})
        .accepted;
}

QVariantList listAll()
{
    link::ServiceConnection connection;
    return link::callPaged(connection, wire::MessageTag, wire::method::List, {{{wire::All, true}}, {}}).output.list;
}

} // namespace

// The process around the services: killed, started twice, shut down.
class TestServices final : public QObject
{
    Q_OBJECT
private slots:
    void aKillLosesNothingThatWasConfirmed()
    {
        Platform platform;
        QVERIFY(platform.startHub());
        Writer writer;
        writer.start();
        for (int round = 0; round < 5; ++round) {
            const int before = writer.confirmed();
            QTRY_VERIFY_WITH_TIMEOUT(writer.confirmed() > before + 3 + 2 * round, RestartTimeout);
            const qint64 services = platform.servicesOfHub();
            QVERIFY(services > 0);
            ::kill(static_cast<pid_t>(services), SIGKILL);
            const auto isStartedAgain = [&] {
                const qint64 now = platform.servicesOfHub(); // 0 between the two
                return now > 0 && now != services;
            };
            QTRY_VERIFY_WITH_TIMEOUT(isStartedAgain(), RestartTimeout);
        }
        const int before = writer.confirmed();
        QTRY_VERIFY_WITH_TIMEOUT(writer.confirmed() > before, RestartTimeout);
        writer.end();

        QSet<QString> stored;
        for (const QVariant &entry : listAll())
            stored.insert(entry.toMap().value(key::MsgId).toString());
        QVERIFY(stored.contains(writer.stored));
    }

    void aSecondProcessWaitsForTheFirst()
    {
        Platform platform;
        QVERIFY(platform.startHub());
        const qint64 first = platform.servicesOfHub();
        QVERIFY(push("one"));
        QVERIFY(platform.startServices());
        QVERIFY(push("two"));
        QVERIFY(!platform.services()->waitForFinished(300)); // it stays and does no harm
        ::kill(static_cast<pid_t>(first), SIGKILL);
        // The hub's new process or the waiting one gets the data: one serves, the other waits.
        QTRY_VERIFY_WITH_TIMEOUT(push("three"), RestartTimeout);
        QCOMPARE(listAll().size(), 3);
    }

    void endsCleanlyAndReRegisters()
    {
        Platform platform;
        QVERIFY(platform.startHub());
        QVERIFY(freeze(static_cast<pid_t>(platform.servicesOfHub()))); // out of the way
        QVERIFY(Platform::terminate(platform.hub(), 20000));

        QVERIFY(platform.startHub());
        QVERIFY(push("one"));
        const qint64 services = platform.servicesOfHub();
        QVERIFY(Platform::terminate(platform.hub()));
        QCOMPARE(platform.hub()->exitCode(), 0);
        QVERIFY(!QFile::exists(QString("/proc/%1").arg(services)));
        QVERIFY(!QFile::exists(platform.dataDirectory() + "/messages.db-wal")); // closed, not broken off

        // Services that stay while hubs come and go.
        QVERIFY(platform.startServices());
        for (int round = 0; round < 2; ++round) {
            QVERIFY(platform.startHub());
            QVERIFY(push(QString::number(round)));
            platform.killHub();
            QCOMPARE(platform.services()->state(), QProcess::Running);
        }
        QVERIFY(Platform::terminate(platform.services()));
        QCOMPARE(platform.services()->exitCode(), 0);
    }

    void endsWhileAWindowHangs()
    {
        Platform platform;
        QVERIFY(platform.startHub());
        QSemaphore arrived;
        QSemaphore release;
        ServedObject host(visualized::DefaultTag, [&](const QString &, const rpc::Bag &) {
            arrived.release();
            release.acquire();
            return rpc::CallResult();
        });
        QVERIFY(host.isServed());
        const std::unique_ptr<QThread> caller(QThread::create([] { push("m"); }));
        caller->start();
        const bool hangs = arrived.tryAcquire(1, 10000);
        const qint64 services = platform.servicesOfHub();
        ::kill(static_cast<pid_t>(services), SIGTERM);
        const bool ended = QTest::qWaitFor([&] { return platform.servicesOfHub() != services; }, 10000);
        release.release(10);
        caller->wait();
        QVERIFY(hangs && ended);
        QVERIFY(platform.waitForTag(wire::MessageTag));
        QCOMPARE(listAll().size(), 1);
    }
};

QTEST_GUILESS_MAIN(TestServices)
#include "tst_Services.moc"
