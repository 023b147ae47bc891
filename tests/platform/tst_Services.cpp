#include "support/Freeze.h"
#include "support/Platform.h"
#include "support/ServedObject.h"
#include "tarn/keys/MessageKeys.h"
#include "tarn/link/MessageWire.h"
#include "tarn/link/PagedCall.h"
#include "tarn/visualized/IVisualizedService.h"
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QMutex>
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

/// Stores messages with a receipt each, as fast as the service answers, and remembers what it was told is stored.
class Writer final : public QThread
{
public:
    ~Writer() override
    {
        m_stop = true;
        wait();
    }
    void end()
    {
        m_stop = true;
        wait();
    }
    int confirmed() const { return m_confirmed; }
    QSet<QString> stored;   ///< after end()
    QSet<QString> receipts; ///< after end()

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
            const rpc::Bag receipt{{{key::MsgId, id}, {key::MessageReceipt, 3}}, {}};
            if (connection.call(wire::MessageTag, QStringLiteral("AddMessageReceipt"), receipt).accepted)
                receipts.insert(id);
            m_confirmed = stored.size();
        }
    }

private:
    std::atomic<bool> m_stop{false};
    std::atomic<int> m_confirmed{0};
};

rpc::CallResult push(const QString &id)
{
    link::ServiceConnection connection;
    return connection.call(wire::MessageTag, wire::method::Push,
                           {{{key::MsgId, id}, {key::MsgTitle, QStringLiteral("标题")}}, {}});
}

QVariantList listAll()
{
    link::ServiceConnection connection;
    const auto result = link::callPaged(connection, wire::MessageTag, wire::method::List, {{{wire::All, true}}, {}});
    return result.output.list;
}

} // namespace

// The process around the services: killed, started twice, shut down, given broken data.
class TestServices final : public QObject
{
    Q_OBJECT
private slots:
    void aKillLosesNothingThatWasConfirmed();
    void aSecondProcessWaitsForTheFirst();
    void endsCleanlyAndReRegisters();
    void endsWhileAWindowHangs();
};

void TestServices::aKillLosesNothingThatWasConfirmed()
{
    Platform platform;
    QVERIFY(platform.startHub());
    Writer writer;
    writer.start();
    for (int round = 0; round < 5; ++round) {
        const int before = writer.confirmed();
        QTRY_VERIFY_WITH_TIMEOUT(writer.confirmed() > before + 15 + 7 * round, RestartTimeout);
        const qint64 services = platform.servicesOfHub();
        QVERIFY(services > 0);
        ::kill(static_cast<pid_t>(services), SIGKILL);
        QTRY_VERIFY_WITH_TIMEOUT(platform.servicesOfHub() > 0 && platform.servicesOfHub() != services, RestartTimeout);
    }
    const int before = writer.confirmed();
    QTRY_VERIFY_WITH_TIMEOUT(writer.confirmed() > before + 5, RestartTimeout);
    writer.end();

    QSet<QString> stored;
    QSet<QString> receipts;
    for (const QVariant &entry : listAll()) {
        const QVariantMap record = entry.toMap();
        stored.insert(record.value(key::MsgId).toString());
        if (!record.value(wire::detail::Receipts).toList().isEmpty())
            receipts.insert(record.value(key::MsgId).toString());
    }
    qInfo("%d messages confirmed over 5 kills", writer.stored.size());
    QVERIFY(stored.contains(writer.stored));
    QVERIFY(receipts.contains(writer.receipts));
}

void TestServices::aSecondProcessWaitsForTheFirst()
{
    Platform platform;
    QVERIFY(platform.startHub());
    const qint64 first = platform.servicesOfHub();
    QVERIFY(push(QStringLiteral("one")).accepted);
    QVERIFY(platform.startServices());
    QVERIFY(push(QStringLiteral("two")).accepted);
    QVERIFY(!platform.services()->waitForFinished(300)); // it stays and does no harm
    ::kill(static_cast<pid_t>(first), SIGKILL);
    // Whichever of the two gets the data next: one serves, the other waits.
    QTRY_VERIFY_WITH_TIMEOUT(push(QStringLiteral("three")).accepted, RestartTimeout);
    QCOMPARE(listAll().size(), 3);
}

void TestServices::endsCleanlyAndReRegisters()
{
    Platform platform;
    QVERIFY(platform.startHub());
    QVERIFY(freeze(static_cast<pid_t>(platform.servicesOfHub()))); // out of the way
    QVERIFY(Platform::terminate(platform.hub(), 20000));

    QVERIFY(platform.startHub());
    QVERIFY(push(QStringLiteral("one")).accepted);
    const qint64 services = platform.servicesOfHub();
    QVERIFY(Platform::terminate(platform.hub()));
    QCOMPARE(platform.hub()->exitCode(), 0);
    QVERIFY(!QFile::exists(QStringLiteral("/proc/%1").arg(services)));
    QVERIFY(!QFile::exists(platform.dataDirectory() + QStringLiteral("/messages.db-wal"))); // closed, not broken off

    // Services that stay while hubs come and go.
    QVERIFY(platform.startServices());
    for (int round = 0; round < 2; ++round) {
        QVERIFY(platform.startHub());
        QVERIFY(push(QString::number(round)).accepted);
        Platform::kill(platform.hub());
        QCOMPARE(platform.services()->state(), QProcess::Running);
    }
    QVERIFY(Platform::terminate(platform.services()));
    QCOMPARE(platform.services()->exitStatus(), QProcess::NormalExit);
    QCOMPARE(platform.services()->exitCode(), 0);
}

void TestServices::endsWhileAWindowHangs()
{
    Platform platform;
    QVERIFY(platform.startHub());
    QSemaphore arrived;
    QSemaphore release;
    ServedObject host(visualized::DefaultTag, [&](const QString &, const rpc::Bag &) {
        arrived.release();
        release.tryAcquire(1, 20000);
        return rpc::CallResult();
    });
    QVERIFY(host.isServed());
    const std::unique_ptr<QThread> caller(QThread::create([] { push(QStringLiteral("m")); }));
    caller->start();
    QVERIFY(arrived.tryAcquire(1, 10000));
    const qint64 services = platform.servicesOfHub();
    QElapsedTimer timer;
    timer.start();
    ::kill(static_cast<pid_t>(services), SIGTERM);
    QTRY_VERIFY_WITH_TIMEOUT(platform.servicesOfHub() != services, 10000);
    QVERIFY2(timer.elapsed() < 4000, qPrintable(QString::number(timer.elapsed())));
    release.release(10);
    caller->wait();
    QVERIFY(platform.waitForTag(wire::MessageTag));
    QCOMPARE(listAll().size(), 1);
}

QTEST_GUILESS_MAIN(TestServices)
#include "tst_Services.moc"
