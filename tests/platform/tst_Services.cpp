#include "support/Sandbox.h"
#include "support/ServedObject.h"
#include "tarn/keys/MessageKeys.h"
#include "tarn/link/MessageWire.h"
#include "tarn/link/ServiceConnection.h"
#include "tarn/visualized/IVisualizedService.h"
#include <QFile>
#include <QSemaphore>
#include <QTest>
#include <csignal>
#include <thread>

using namespace tarn;
using test::ServedObject;
namespace key = tarn::message::key;
namespace wire = tarn::link::wire;

namespace {

constexpr int RestartTimeout = 20000;

bool push(const QString &id)
{
    link::ServiceConnection connection;
    return connection.call(wire::MessageTag, wire::method::Push, {{{key::MsgId, id}, {key::MsgTitle, "标题"}}, {}})
        .accepted;
}

QVariantList listAll()
{
    link::ServiceConnection connection;
    return connection.call(wire::MessageTag, wire::method::List, {{{wire::All, true}}, {}}).output.list;
}

} // namespace

// The process around the services: killed, started twice, shut down.
class TestServices final : public QObject
{
    Q_OBJECT
private slots:
    void aSecondProcessWaitsForTheFirst()
    {
        Sandbox platform;
        QVERIFY(platform.startHub());
        const pid_t first = platform.services();
        QVERIFY(push("one"));
        const ProcessPtr second = Sandbox::start("tarn-services");
        QVERIFY(push("two"));
        QVERIFY(!second->waitForFinished(300)); // it stays and does no harm
        QVERIFY(first > 0 && ::kill(first, SIGKILL) == 0);
        // The hub's new process or the waiting one gets the data: one serves, the other waits.
        QTRY_VERIFY_WITH_TIMEOUT(push("three"), RestartTimeout);
        QCOMPARE(listAll().size(), 3);
    }

    void endsCleanly()
    {
        Sandbox platform;
        QVERIFY(platform.startHub());
        QVERIFY(freeze(platform.services())); // out of the way
        QVERIFY(Sandbox::terminate(platform.hub(), 20000));

        QVERIFY(platform.startHub());
        QVERIFY(push("one"));
        QVERIFY(!(QFile::permissions(platform.path("data/tarn/messages.db")) & QFile::Permissions(0x77)));
        const pid_t services = platform.services();
        QVERIFY(Sandbox::terminate(platform.hub()));
        QCOMPARE(platform.hub()->exitCode(), 0);
        QVERIFY(!QFile::exists(QString("/proc/%1").arg(services)));
        QVERIFY(!QFile::exists(platform.path("data/tarn/messages.db-wal"))); // closed, not broken off
    }

    void endsWhileAWindowHangs()
    {
        Sandbox platform;
        QVERIFY(platform.startHub());
        QSemaphore arrived;
        QSemaphore release;
        ServedObject host(visualized::DefaultTag, [&](const QString &, const rpc::Bag &) {
            arrived.release();
            release.acquire();
            return rpc::CallResult();
        });
        QVERIFY(host.isServed());
        std::thread caller([] { push("m"); });
        const bool hangs = arrived.tryAcquire(1, 10000);
        const pid_t services = platform.services();
        const bool ended = services > 0 && ::kill(services, SIGTERM) == 0 &&
                           QTest::qWaitFor([&] { return platform.services() != services; }, 10000);
        release.release(10);
        caller.join();
        QVERIFY(hangs && ended);
        QVERIFY(platform.waitForServices());
        QCOMPARE(listAll().size(), 1);
    }
};

QTEST_GUILESS_MAIN(TestServices)
#include "tst_Services.moc"
