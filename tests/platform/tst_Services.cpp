#include "support/Sandbox.h"
#include "support/ServedObject.h"
#include "tarn/keys/MessageKeys.h"
#include "tarn/link/MessageWire.h"
#include "tarn/link/ServiceConnection.h"
#include "tarn/visualized/IVisualizedService.h"
#include <QDir>
#include <QFile>
#include <QScopeGuard>
#include <QSemaphore>
#include <QSet>
#include <QTest>
#include <atomic>
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
    return connection.callPaged(wire::MessageTag, wire::method::List, {{{wire::All, true}}, {}}).output.list;
}

} // namespace

// The process around the services: killed, started twice, shut down.
class TestServices final : public QObject
{
    Q_OBJECT
private slots:
    void aKillLosesNothingThatWasConfirmed()
    {
        Sandbox platform;
        QVERIFY(platform.startHub());
        std::atomic_bool stop = false;
        std::atomic_int confirmed = 0;
        QSet<QString> written;
        std::thread writer([&] { // as fast as the service answers
            link::ServiceConnection connection;
            for (int i = 0; !stop; ++i) {
                const QString id = QString::number(i);
                const QVariantMap message{{key::MsgId, id}, {key::MsgTitle, QString(200, QChar(0x5b57))}};
                if (!connection.call(wire::MessageTag, wire::method::Import, {{}, {message}}).accepted)
                    continue;
                written.insert(id);
                ++confirmed;
            }
        });
        const auto end = [&] {
            stop = true;
            if (writer.joinable())
                writer.join();
        };
        const auto guard = qScopeGuard(end);
        for (int round = 0; round < 3; ++round) {
            const int before = confirmed;
            QTRY_VERIFY_WITH_TIMEOUT(confirmed > before + 3 + 2 * round, RestartTimeout);
            const pid_t services = platform.services();
            QVERIFY(services > 0 && ::kill(services, SIGKILL) == 0);
            const auto isStartedAgain = [&] {
                const pid_t now = platform.services(); // 0 between the two
                return now > 0 && now != services;
            };
            QTRY_VERIFY_WITH_TIMEOUT(isStartedAgain(), RestartTimeout);
        }
        const int before = confirmed;
        QTRY_VERIFY_WITH_TIMEOUT(confirmed > before, RestartTimeout);
        end();

        QSet<QString> stored;
        for (const QVariant &entry : listAll())
            stored.insert(entry.toMap().value(key::MsgId).toString());
        QVERIFY(stored.contains(written));
    }

    void aSecondProcessWaitsForTheFirst()
    {
        Sandbox platform;
        QVERIFY(platform.startHub());
        const pid_t first = platform.services();
        QVERIFY(push("one"));
        const ProcessPtr second(new QProcess);
        second->setProcessChannelMode(QProcess::MergedChannels);
        second->start(Sandbox::program("tarn-services"), QStringList());
        QVERIFY(awaitLine(second.get(), "is in use by process ").startsWith(QByteArray::number(first) + ';'));
        QVERIFY(push("two"));
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
        const QDir data(platform.path("data/tarn"));
        QCOMPARE(data.entryList({"*.db", "*.key"}, QDir::Files),
                 (QStringList{"cloud.db", "cloud.key", "messages.db", "upgrade.db"}));
        const QFileInfoList files = data.entryInfoList(QDir::Files);
        for (const QFileInfo &file : files)
            QVERIFY2(!(file.permissions() & QFile::Permissions(0x77)), qPrintable(file.filePath()));
        const pid_t services = platform.services();
        QVERIFY(Sandbox::terminate(platform.hub()));
        QCOMPARE(platform.hub()->exitCode(), 0);
        QVERIFY(!QFile::exists(QString("/proc/%1").arg(services)));
        QVERIFY(!QFile::exists(platform.path("data/tarn/messages.db-wal"))); // closed, not broken off
    }

    // Otherwise files and sockets get their numbers, and the log is written into them.
    void closedStandardDescriptors()
    {
        Sandbox platform;
        const ProcessPtr hub(new QProcess);
        hub->start("sh", {"-c", "exec \"$0\" quickboot <&- >&- 2>&-", Sandbox::program("ServiceHub")});
        QVERIFY(platform.waitForServices());
        for (const int descriptor : {1, 2}) { // a library takes 0 before main()
            const QString link = QString("/proc/%1/fd/%2").arg(hub->processId()).arg(descriptor);
            QCOMPARE(QFile::symLinkTarget(link), QString("/dev/null"));
        }
        QVERIFY(Sandbox::terminate(hub.get()));
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

    // A user's decision is sent although another call had no answer in time; several of them hold a window once only.
    void decisionsReachABusyService()
    {
        using Connection = link::ServiceConnection;
        Sandbox platform;
        QVERIFY(platform.startHubAlone());
        QSemaphore release;
        std::atomic_int decisions = 0;
        std::atomic_int lists = 0;
        std::atomic_bool hangs = false;
        ServedObject service("busy", [&](const QString &method, const rpc::Bag &) {
            decisions += method == "Decide";
            lists += method == "List";
            if (method == "List" || hangs)
                release.acquire();
            rpc::CallResult result;
            result.accepted = true;
            return result;
        });
        const auto leave = qScopeGuard([&] { release.release(100); });
        QVERIFY(service.isServed());
        Connection connection;
        const auto list = [&] { return connection.call("busy", "List", {}, 200); };
        const auto decide = [&] { return connection.call("busy", "Decide", {}, 60000, Connection::Decision); };
        QVERIFY(!list().accepted);
        QVERIFY(!list().accepted);
        QCOMPARE(lists.load(), 1);
        QVERIFY(QTest::qWaitFor([&] { return decide().accepted; }, 20000)); // mostly at once; it ends the silence
        release.release();
        hangs = true;
        for (int silence = 0; silence < 2; ++silence) {
            const int listsBefore = lists;
            const auto listIsSent = [&] { return !list().accepted && lists > listsBefore; };
            QVERIFY(QTest::qWaitFor(listIsSent, 20000)); // the second time when the first silence is over
            const int before = decisions;
            QVERIFY(!decide().accepted && !decide().accepted);
            QCOMPARE(decisions.load(), before + 1);
            release.release(2); // both calls
        }
    }
};

QTEST_GUILESS_MAIN(TestServices)
#include "tst_Services.moc"
