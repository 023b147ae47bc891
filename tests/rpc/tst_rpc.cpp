// The RPC core as the platform's programs use it, against real hub and peer processes.
#include "Sandbox.h"
#include "support/Freeze.h"
#include "tarn/rpc/IInvocable.h"
#include "tarn/rpc/Rpc.h"
#include <QRect>
#include <QThread>
#include <QtTest>
#include <atomic>
#include <csignal>
#include <ifaddrs.h>
#include <memory>
#include <net/if.h>
#include <netdb.h>
#include <numeric>
#include <thread>

Q_DECLARE_METATYPE(tarn::rpc::Bag)

using namespace tarn::rpc;

namespace {

const QString Interface = QStringLiteral("ITest");
const QString Echo = QStringLiteral("Echo");

/// An object whose calls can be held up.
class LocalObject final : public IInvocable
{
public:
    std::function<CallResult(const QString &, const Bag &)> onCall;

    CallResult invoke(const QString &method, const Bag &input, const ICallContext &) override
    {
        CallResult result;
        result.accepted = true;
        result.output = input;
        return onCall ? onCall(method, input) : result;
    }
};

Bag bagOf(const QVariant &value)
{
    return {{{QStringLiteral("v"), value}}, {value}};
}

QVariant nested(int depth)
{
    QVariant value;
    for (int i = 0; i < depth; ++i)
        value = i % 2 ? QVariant(QVariantList{value}) : QVariant(QVariantMap{{QStringLiteral("k"), value}});
    return value;
}

QString lastError()
{
    return QString::fromStdString(getRpcLastError().message);
}

} // namespace

class tst_Rpc : public QObject
{
    Q_OBJECT
private slots:
    void init();
    void cleanup();

    void valuesKeepTheirType_data();
    void valuesKeepTheirType();
    void unsendableValues_data();
    void unsendableValues();
    void failingCalls_data();
    void failingCalls();
    void initRefuses_data();
    void initRefuses();
    void initWithoutHubIsQuickAndCanBeRepeated();
    void addRefuses_data();
    void addRefuses();
    void deadlineEndsTheCallAndTellsTheServer();
    void peerKilledDuringACall();
    void proxyFollowsARestartedPeer();
    void tagOfALivePeerIsRefused();
    void frozenPeerLosesItsLease();
    void hubRestart_data();
    void hubRestart();
    void callersKeepTheirOrder();
    void threadNumBoundsTheCallsAtOnce_data();
    void threadNumBoundsTheCallsAtOnce();
    void unactiveWaitsForRunningCalls();
    void unactiveAndShutdownInsideCalls_data();
    void unactiveAndShutdownInsideCalls();
    void shutdownEndsWaitingCalls();
    void objectsAddedLaterAndTwoAdapters();
    void controlFromManyThreads();
    void addressBeyondTheMachineNeedsCertificates();

private:
    QSharedPointer<RpcProxy> proxy(const QString &tag) { return m_rpc->stringToProxy(tag); }

    std::unique_ptr<Sandbox> m_box;
    std::unique_ptr<Rpc> m_rpc;
};

void tst_Rpc::init()
{
    m_box = std::make_unique<Sandbox>();
    QVERIFY(m_box->startHub());
    m_rpc = std::make_unique<Rpc>();
    QVERIFY2(m_rpc->init(m_box->settings()), qPrintable(lastError()));
}

void tst_Rpc::cleanup()
{
    m_rpc.reset();
    m_box.reset();
    qunsetenv("TARN_LEASE_MS");
}

void tst_Rpc::valuesKeepTheirType_data()
{
    QTest::addColumn<QVariant>("sent");
    QTest::addColumn<QVariant>("received");
    const auto row = [](const char *name, const QVariant &value, const QVariant &received = {}) {
        QTest::newRow(name) << value << (received.isValid() ? received : value);
    };
    row("null", QVariant());
    row("bool", false);
    row("int", -7);
    row("uint", 4294967295U);
    row("qlonglong", Q_INT64_C(-9223372036854775807));
    row("qulonglong", Q_UINT64_C(18446744073709551615));
    row("double", 0.1);
    row("text", QStringLiteral("岚川\U0001F600"));
    row("text with NUL and BOM", QString::fromUtf16(u"\ufeffa\0b", 4));
    row("1.5 MiB text", QString(1 << 19, QChar(0x4e00)));
    row("bytes", QByteArray("\xff\0\xc0", 3));
    row("string list", QStringList{QStringLiteral("a"), QString()}, QVariantList{QStringLiteral("a"), QString()});
    row("list", QVariantList{1, QStringLiteral("x"), QVariant()});
    row("map", QVariantMap{{QStringLiteral("软件"), QVariantMap{{QString(), 1}}}});
    row("rect", QRect(-5, 7, 0, 2000000));
    row("null rect", QRect());
    row("nested 16 deep", nested(16));
}

void tst_Rpc::valuesKeepTheirType()
{
    QFETCH(QVariant, sent);
    QFETCH(QVariant, received);
    const auto peer = m_box->startPeer(QStringLiteral("a"));
    QVERIFY(peer);
    const auto a = proxy(QStringLiteral("a"));
    QVERIFY2(a, qPrintable(lastError()));
    const CallResult result = a->call(Echo, bagOf(sent));
    QVERIFY2(result.arrived(), result.error.message.c_str());
    QCOMPARE(result.output.values.value(QStringLiteral("v")), received);
    QCOMPARE(result.output.values.value(QStringLiteral("v")).userType(), received.userType());
    QCOMPARE(result.output.list, QVariantList{received});
    QCOMPARE(result.retCode, 42);
    QCOMPARE(result.errorText, QStringLiteral("回声"));
}

void tst_Rpc::unsendableValues_data()
{
    QTest::addColumn<Bag>("bag");
    QTest::addColumn<QString>("expected");
    const auto row = [](const char *name, const QVariant &value, const char *expected) {
        QTest::newRow(name) << Bag{{{QStringLiteral("v"), value}}, {}} << QString::fromUtf8(expected);
    };
    row("type", QVariant(QSizeF(1, 2)), "key \"v\": values of type QSizeF cannot be sent");
    row("high surrogate", QString(QChar(0xd800)), "lone surrogate");
    row("low surrogate inside", QStringLiteral("a") + QChar(0xdc00) + QStringLiteral("b"), "lone surrogate");
    row("17 deep", nested(17), "nested deeper than 16");
    row("10000 deep", nested(10000), "nested deeper than 16");
    row("too many", QVariantList::fromVector(QVector<QVariant>(65536)), "more than 65536 values");
    row("too large", QByteArray(4 << 20, 'x'), "at most 4194304 are possible");
    QTest::newRow("key") << Bag{{{QString(QChar(0xd800)), 1}}, {}} << QStringLiteral("lone surrogate");
}

void tst_Rpc::unsendableValues()
{
    QFETCH(Bag, bag);
    QFETCH(QString, expected);
    const auto hub = proxy(QStringLiteral("IServiceHub"));
    QVERIFY(hub);
    const CallResult result = hub->call(QStringLiteral("Ping"), bag);
    QCOMPARE(result.error.code, int(RpcError::InvalidArgument));
    QVERIFY2(QString::fromStdString(result.error.message).contains(expected), result.error.message.c_str());
    QCOMPARE(getRpcLastError().code, int(RpcError::InvalidArgument));
    QVERIFY(hub->call(QStringLiteral("Ping"), {}).arrived());
    QCOMPARE(getRpcLastError().code, int(RpcError::None));
}

void tst_Rpc::failingCalls_data()
{
    QTest::addColumn<QString>("method");
    QTest::addColumn<int>("code");
    QTest::addColumn<QString>("text"); // of the transport's error, or of a refusal when the code is None
    QTest::newRow("unknown") << QStringLiteral("Other") << int(RpcError::NotFound) << QStringLiteral("no method");
    QTest::newRow("exception") << QStringLiteral("Throw") << int(RpcError::None) << QStringLiteral("thrown on purpose");
    QTest::newRow("int thrown") << QStringLiteral("ThrowInt") << int(RpcError::None)
                                << QStringLiteral("ThrowInt failed");
    QTest::newRow("huge answer") << QStringLiteral("Huge") << int(RpcError::Failed) << QStringLiteral("cannot be sent");
    QTest::newRow("dies") << QStringLiteral("Die") << int(RpcError::NoConnection) << QString();
}

void tst_Rpc::failingCalls()
{
    QFETCH(QString, method);
    QFETCH(int, code);
    QFETCH(QString, text);
    const auto peer = m_box->startPeer(QStringLiteral("a"));
    const auto a = proxy(QStringLiteral("a"));
    QVERIFY(peer && a);
    const CallResult result = a->call(method, {});
    QCOMPARE(result.error.code, code);
    QVERIFY(!result.accepted);
    const QString message = result.arrived() ? result.errorText : QString::fromStdString(result.error.message);
    QVERIFY2(message.contains(text), qPrintable(message));
    if (code != RpcError::NoConnection)
        QVERIFY(a->call(Echo, {}).accepted);
}

void tst_Rpc::initRefuses_data()
{
    QTest::addColumn<QString>("key");
    QTest::addColumn<QString>("value");
    QTest::addColumn<QString>("expected");
    QTest::newRow("no port") << keys::Port << QString() << QStringLiteral("\"Port\" is missing");
    QTest::newRow("port text") << keys::Port << QStringLiteral("x") << QStringLiteral("\"Port\" is \"x\"");
    QTest::newRow("port range") << keys::Port << QStringLiteral("65536") << QStringLiteral("from 1 to 65535");
    QTest::newRow("timeout") << keys::Timeout << QStringLiteral("-1") << QStringLiteral("\"Timeout\"");
    QTest::newRow("threads") << keys::ThreadNum << QStringLiteral("many") << QStringLiteral("\"ThreadNum\"");
    QTest::newRow("foreign hub") << keys::IP << QStringLiteral("192.0.2.1")
                                 << QStringLiteral("not local needs certificates: TARN_TLS_CA is not set");
}

void tst_Rpc::initRefuses()
{
    QFETCH(QString, key);
    QFETCH(QString, value);
    QFETCH(QString, expected);
    Rpc rpc;
    QVERIFY(!rpc.init(m_box->settings({{key, value}})));
    QVERIFY2(lastError().contains(expected), qPrintable(lastError()));
    QVERIFY(!rpc.isInitialized());
    QVERIFY(!rpc.stringToProxy(QStringLiteral("IServiceHub")));
    QCOMPARE(getRpcLastError().code, int(RpcError::NotInitialized));
}

void tst_Rpc::initWithoutHubIsQuickAndCanBeRepeated()
{
    m_box->killHub();
    Rpc rpc;
    QElapsedTimer clock;
    clock.start();
    QVERIFY(!rpc.init(m_box->settings()));
    QCOMPARE(getRpcLastError().code, int(RpcError::NoHub));
    QVERIFY2(clock.elapsed() < 2500, qPrintable(QString::number(clock.elapsed())));
    QVERIFY(m_box->startHub());
    QVERIFY2(rpc.init(m_box->settings()), qPrintable(lastError()));

    QVERIFY(freeze(static_cast<pid_t>(m_box->hub().processId())));
    clock.restart();
    QVERIFY(!rpc.init(m_box->settings()));
    QVERIFY2(clock.elapsed() < 4500, qPrintable(QString::number(clock.elapsed())));
    kill(static_cast<pid_t>(m_box->hub().processId()), SIGCONT);
    QTRY_VERIFY(rpc.init(m_box->settings()));
}

void tst_Rpc::addRefuses_data()
{
    QTest::addColumn<QString>("interfaceName");
    QTest::addColumn<QString>("tag");
    QTest::addColumn<bool>("rightType");
    QTest::addColumn<QString>("expected");
    const QString tag = QStringLiteral("t");
    QTest::newRow("fine") << Interface << tag << true << QString();
    QTest::newRow("no tag") << Interface << QString() << true << QStringLiteral("cannot be a tag");
    QTest::newRow("the hub's tag") << Interface << QStringLiteral("IServiceHub") << true
                                   << QStringLiteral("cannot be a tag");
    QTest::newRow("long tag") << Interface << QString(257, 'x') << true << QStringLiteral("cannot be a tag");
    QTest::newRow("used tag") << Interface << QStringLiteral("used") << true << QStringLiteral("is in use");
    QTest::newRow("no interface") << QString() << tag << true << QStringLiteral("interface name");
    QTest::newRow("other type") << Interface << tag << false << QStringLiteral("another type");
    QTest::newRow("typed") << QStringLiteral("IVisualizedService") << tag << true << QStringLiteral("another type");
}

void tst_Rpc::addRefuses()
{
    QFETCH(QString, interfaceName);
    QFETCH(QString, tag);
    QFETCH(bool, rightType);
    QFETCH(QString, expected);
    const auto adapter = m_rpc->createAdapter(QStringLiteral("adapter"));
    const QSharedPointer<IInvocable> object(new LocalObject);
    QVERIFY(adapter->add(object, Interface, QStringLiteral("used")));
    QVERIFY(!adapter->add(QSharedPointer<IInvocable>(), Interface, tag)); // null
    const std::any given = rightType ? std::any(object) : std::any(QStringLiteral("no object"));
    QCOMPARE(adapter->add(given, interfaceName, tag), expected.isEmpty());
    QVERIFY2(lastError().contains(expected), qPrintable(lastError()));
    QVERIFY(!adapter->remove(QStringLiteral("unknown")));
    QVERIFY(!m_rpc->createAdapter(QString()));
    Rpc fresh;
    QVERIFY(!fresh.createAdapter(QStringLiteral("a"))->add(object, Interface, tag));
    QCOMPARE(getRpcLastError().code,
             int(tag.isEmpty() || tag.size() > 256 || tag == QLatin1String("IServiceHub") ? RpcError::InvalidArgument
                                                                                          : RpcError::NotInitialized));
}

void tst_Rpc::deadlineEndsTheCallAndTellsTheServer()
{
    const auto peer = m_box->startPeer(QStringLiteral("a"));
    const auto a = proxy(QStringLiteral("a"));
    QVERIFY(peer && a);
    QElapsedTimer clock;
    clock.start();
    const CallResult result = a->call(QStringLiteral("UntilCancelled"), {}, 200);
    QCOMPARE(result.error.code, int(RpcError::Timeout));
    QVERIFY(clock.elapsed() >= 190 && clock.elapsed() < 3000);
    QTRY_COMPARE(a->call(QStringLiteral("Cancelled"), {}).retCode, 1);
}

void tst_Rpc::peerKilledDuringACall()
{
    const auto peer = m_box->startPeer(QStringLiteral("a"));
    const auto a = proxy(QStringLiteral("a"));
    QVERIFY(peer && a);
    CallResult result;
    std::thread caller([&] { result = a->call(QStringLiteral("UntilCancelled"), {}); });
    QTRY_VERIFY(a->call(Echo, {}).arrived());
    peer->kill();
    caller.join();
    QCOMPARE(result.error.code, int(RpcError::NoConnection));
    QTRY_VERIFY(!proxy(QStringLiteral("a"))); // its lease has gone
    QCOMPARE(getRpcLastError().code, int(RpcError::NotFound));
}

void tst_Rpc::proxyFollowsARestartedPeer()
{
    auto peer = m_box->startPeer(QStringLiteral("a"));
    const auto a = proxy(QStringLiteral("a"));
    QVERIFY(peer && a && a->call(Echo, {}).arrived());
    peer = nullptr;
    QVERIFY(!a->call(Echo, {}).arrived());
    peer = m_box->startPeer(QStringLiteral("a"));
    QVERIFY(peer);
    const CallResult result = a->call(QStringLiteral("Pid"), {});
    QVERIFY2(result.arrived(), result.error.message.c_str());
    QCOMPARE(result.output.values.value(QStringLiteral("pid")).toLongLong(), peer->processId());
}

void tst_Rpc::tagOfALivePeerIsRefused()
{
    auto peer = m_box->startPeer(QStringLiteral("a"));
    QVERIFY(peer);
    const QString expected = QStringLiteral("tag \"a\" is registered by rpcpeer (process %1)").arg(peer->processId());
    QCOMPARE(m_box->startRefusedPeer(QStringLiteral("a")), expected);
    const auto adapter = m_rpc->createAdapter(QStringLiteral("second"));
    QVERIFY(adapter->add(QSharedPointer<IInvocable>(new LocalObject), Interface, QStringLiteral("a")));
    QVERIFY(!adapter->active());
    QCOMPARE(lastError(), expected);
    QVERIFY(proxy(QStringLiteral("a"))->call(QStringLiteral("Pid"), {}).arrived()); // still the first
    peer = nullptr;
    QTRY_VERIFY(adapter->active());
    QVERIFY(proxy(QStringLiteral("a"))->call(Echo, {}).arrived());
}

void tst_Rpc::frozenPeerLosesItsLease()
{
    cleanup();
    qputenv("TARN_LEASE_MS", "400");
    init();
    const auto peer = m_box->startPeer(QStringLiteral("a"));
    QVERIFY(peer && proxy(QStringLiteral("a")));
    QVERIFY(freeze(static_cast<pid_t>(peer->processId())));
    QTRY_VERIFY(!proxy(QStringLiteral("a")));
    kill(static_cast<pid_t>(peer->processId()), SIGCONT);
    QTRY_VERIFY(proxy(QStringLiteral("a"))); // registers again by itself
    QVERIFY(proxy(QStringLiteral("a"))->call(Echo, {}).arrived());
}

void tst_Rpc::hubRestart_data()
{
    QTest::addColumn<bool>("killed");
    QTest::addColumn<bool>("samePort");
    QTest::newRow("killed") << true << true;
    QTest::newRow("killed, another port") << true << false;
    QTest::newRow("ended") << false << true;
    QTest::newRow("ended, another port") << false << false;
}

void tst_Rpc::hubRestart()
{
    QFETCH(bool, killed);
    QFETCH(bool, samePort);
    const auto peer = m_box->startPeer(QStringLiteral("a"));
    const auto a = proxy(QStringLiteral("a"));
    const auto adapter = m_rpc->createAdapter(QStringLiteral("own"));
    QVERIFY(adapter->add(QSharedPointer<IInvocable>(new LocalObject), Interface, QStringLiteral("own")));
    QVERIFY(peer && a && adapter->active());
    const quint16 port = m_box->hubPort();
    if (killed) {
        m_box->killHub();
    } else {
        m_box->hub().terminate();
        QVERIFY(m_box->hub().waitForFinished());
    }
    QVERIFY(a->call(Echo, {}).arrived()); // the hub is not in the data path
    QVERIFY(!proxy(QStringLiteral("a")));
    QCOMPARE(getRpcLastError().code, int(RpcError::NoHub));
    if (!samePort) // forgets the number and with it the socket's name
        QVERIFY(QFile::resize(m_box->runtimeDir() + QStringLiteral("/hub.lock"), 0));
    QVERIFY(m_box->startHub());
    if (samePort)
        QCOMPARE(m_box->hubPort(), port);
    QElapsedTimer clock;
    clock.start();
    QTRY_VERIFY(proxy(QStringLiteral("a")) && proxy(QStringLiteral("own")));
    QVERIFY2(clock.elapsed() < 1000, qPrintable(QString::number(clock.elapsed())));
    qInfo("callable again after %lld ms", static_cast<long long>(clock.elapsed()));
    QVERIFY(proxy(QStringLiteral("own"))->call(Echo, {}).arrived());
}

void tst_Rpc::callersKeepTheirOrder()
{
    constexpr int Callers = 8;
    constexpr int Calls = 500;
    QMutex mutex;
    QMap<int, QVector<int>> seen;
    const QSharedPointer<LocalObject> object(new LocalObject);
    object->onCall = [&](const QString &, const Bag &bag) {
        const QMutexLocker lock(&mutex);
        seen[bag.list.at(0).toInt()].append(bag.list.at(1).toInt());
        return CallResult();
    };
    const auto adapter = m_rpc->createAdapter(QStringLiteral("own"));
    QVERIFY(adapter->add(QSharedPointer<IInvocable>(object), Interface, QStringLiteral("own")) && adapter->active());
    std::atomic_int failed = 0;
    std::vector<std::thread> callers;
    for (int caller = 0; caller < Callers; ++caller) {
        callers.emplace_back([&, caller] {
            Rpc rpc;
            const bool ready = rpc.init(m_box->settings());
            const auto own = ready ? rpc.stringToProxy(QStringLiteral("own")) : nullptr;
            for (int i = 0; i < Calls; ++i)
                failed += !own || !own->call(Echo, {{}, {caller, i}}).arrived();
        });
    }
    for (std::thread &caller : callers)
        caller.join();
    QCOMPARE(failed.load(), 0);
    QVector<int> wanted(Calls);
    std::iota(wanted.begin(), wanted.end(), 0);
    QCOMPARE(seen.size(), Callers);
    for (const QVector<int> &numbers : seen)
        QCOMPARE(numbers, wanted);
}

void tst_Rpc::threadNumBoundsTheCallsAtOnce_data()
{
    QTest::addColumn<QString>("setting");
    QTest::addColumn<int>("bound");
    QTest::newRow("1") << QStringLiteral("1") << 1;
    QTest::newRow("2") << QStringLiteral("2") << 2;
    QTest::newRow("4") << QStringLiteral("4") << 4;
    QTest::newRow("clamped") << QStringLiteral("-3") << 1;
}

/// Six callers: as many calls run as allowed, the others wait their turn and none is lost.
void tst_Rpc::threadNumBoundsTheCallsAtOnce()
{
    QFETCH(QString, setting);
    QFETCH(int, bound);
    constexpr int Callers = 6;
    QSemaphore inside;
    QSemaphore release;
    std::atomic_int running = 0;
    std::atomic_int most = 0;
    const QSharedPointer<LocalObject> object(new LocalObject);
    object->onCall = [&](const QString &, const Bag &) {
        const int now = ++running;
        if (now > most)
            most = now;
        inside.release();
        release.acquire();
        --running;
        return CallResult();
    };
    Rpc server;
    QVERIFY(server.init(m_box->settings({{keys::ThreadNum, setting}})));
    const auto adapter = server.createAdapter(QStringLiteral("own"));
    QVERIFY(adapter->add(QSharedPointer<IInvocable>(object), Interface, QStringLiteral("own")) && adapter->active());
    const auto own = proxy(QStringLiteral("own"));
    std::atomic_int arrived = 0;
    std::vector<std::thread> callers;
    for (int i = 0; i < Callers; ++i)
        callers.emplace_back([&] { arrived += own->call(Echo, {}).arrived(); });
    inside.acquire(bound); // that many get in without any other ending
    release.release(Callers);
    for (std::thread &caller : callers)
        caller.join();
    QCOMPARE(arrived.load(), Callers);
    QCOMPARE(most.load(), bound);
}

void tst_Rpc::unactiveWaitsForRunningCalls()
{
    QSemaphore started;
    QSemaphore release;
    const QSharedPointer<LocalObject> object(new LocalObject);
    object->onCall = [&](const QString &, const Bag &) {
        started.release();
        release.acquire();
        CallResult result;
        result.accepted = true;
        return result;
    };
    const auto adapter = m_rpc->createAdapter(QStringLiteral("own"));
    QVERIFY(adapter->add(QSharedPointer<IInvocable>(object), Interface, QStringLiteral("own")) && adapter->active());
    const auto own = proxy(QStringLiteral("own"));
    CallResult answer;
    std::atomic_bool ended = false;
    std::thread caller([&] { answer = own->call(Echo, {}); });
    started.acquire();
    std::thread stopper([&] {
        adapter->unactive();
        ended = true;
    });
    // New calls are refused while the old one still runs.
    QTRY_COMPARE(own->call(Echo, {}, 1000).error.code, int(RpcError::NotFound));
    QVERIFY(!ended);
    release.release(100); // also the calls that came in before unactive() had begun
    stopper.join();
    caller.join();
    QVERIFY2(answer.accepted, answer.error.message.c_str());
    QVERIFY(adapter->active());
    release.release();
    QVERIFY(proxy(QStringLiteral("own"))->call(Echo, {}).accepted);
}

void tst_Rpc::unactiveAndShutdownInsideCalls_data()
{
    QTest::addColumn<QString>("what");
    QTest::newRow("unactive") << QStringLiteral("unactive");
    QTest::newRow("shutdown") << QStringLiteral("shutdown");
    QTest::newRow("remove") << QStringLiteral("remove");
}

/// Four calls at once end the adapter that they run in.
void tst_Rpc::unactiveAndShutdownInsideCalls()
{
    QFETCH(QString, what);
    constexpr int Calls = 4;
    QSemaphore inside;
    QSemaphore go;
    std::atomic_int returned = 0;
    Rpc server;
    QVERIFY(server.init(m_box->settings()));
    const auto adapter = server.createAdapter(QStringLiteral("own"));
    const QSharedPointer<LocalObject> object(new LocalObject);
    object->onCall = [&](const QString &, const Bag &) {
        inside.release();
        go.acquire();
        if (what == QLatin1String("unactive"))
            adapter->unactive();
        else if (what == QLatin1String("shutdown"))
            server.shutdown();
        else
            adapter->remove(QStringLiteral("own"));
        ++returned;
        return CallResult();
    };
    QVERIFY(adapter->add(QSharedPointer<IInvocable>(object), Interface, QStringLiteral("own")) && adapter->active());
    const auto own = proxy(QStringLiteral("own"));
    std::vector<std::thread> callers;
    for (int i = 0; i < Calls; ++i)
        callers.emplace_back([&] { own->call(Echo, {}, 5000); });
    inside.acquire(Calls);
    go.release(Calls);
    for (std::thread &caller : callers)
        caller.join();
    QTRY_COMPARE(returned.load(), Calls);
    QTRY_VERIFY(!proxy(QStringLiteral("own")));
}

void tst_Rpc::shutdownEndsWaitingCalls()
{
    const auto peer = m_box->startPeer(QStringLiteral("a"));
    const auto a = proxy(QStringLiteral("a"));
    QVERIFY(peer && a);
    CallResult result;
    std::thread caller([&] { result = a->call(QStringLiteral("UntilCancelled"), {}, 60000); });
    QTRY_VERIFY(a->call(Echo, {}).arrived());
    m_rpc->shutdown();
    caller.join();
    QVERIFY(!result.arrived());
    QCOMPARE(a->call(Echo, {}).error.code, int(RpcError::NotInitialized));
    QVERIFY(m_rpc->init(m_box->settings()));
    QVERIFY(a->call(Echo, {}).arrived());
}

void tst_Rpc::objectsAddedLaterAndTwoAdapters()
{
    const auto first = m_rpc->createAdapter(QStringLiteral("first"));
    auto second = m_rpc->createAdapter(QStringLiteral("second"));
    const QSharedPointer<IInvocable> object(new LocalObject);
    QVERIFY(first->active() && second->active());
    QVERIFY(first->add(object, Interface, QStringLiteral("x")));
    QVERIFY(!second->add(object, Interface, QStringLiteral("x")));
    QVERIFY(second->add(object, Interface, QStringLiteral("y")));
    QVERIFY(proxy(QStringLiteral("x"))->call(Echo, {}).accepted);
    second.reset(); // takes only its own with it
    QVERIFY(!proxy(QStringLiteral("y")));
    QVERIFY(proxy(QStringLiteral("x"))->call(Echo, {}).accepted);
    QVERIFY(first->remove(QStringLiteral("x")));
    QVERIFY(!proxy(QStringLiteral("x")));
    QVERIFY(first->unactive());
    QTRY_COMPARE(QDir(m_box->runtimeDir()).entryList({QStringLiteral("ep-*")}, QDir::System).size(), 0);
}

void tst_Rpc::controlFromManyThreads()
{
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([this, t] {
            const QString tag = QStringLiteral("t%1").arg(t);
            const QSharedPointer<IInvocable> object(new LocalObject);
            for (int i = 0; i < 10; ++i) {
                const auto adapter = m_rpc->createAdapter(tag);
                adapter->add(object, Interface, tag);
                adapter->active();
                if (const auto own = proxy(tag))
                    own->call(Echo, {});
                adapter->unactive();
            }
        });
    }
    for (std::thread &thread : threads)
        thread.join();
    const auto adapter = m_rpc->createAdapter(QStringLiteral("last"));
    QVERIFY(adapter->add(QSharedPointer<IInvocable>(new LocalObject), Interface, QStringLiteral("t0")));
    QVERIFY2(adapter->active(), qPrintable(lastError()));
    QVERIFY(proxy(QStringLiteral("t0"))->call(Echo, {}).accepted);
}

/// An own address that is not loopback; empty when the machine has none.
static QString outerAddress()
{
    ifaddrs *all = nullptr;
    QString found;
    if (::getifaddrs(&all) != 0)
        return found;
    for (const ifaddrs *each = all; each; each = each->ifa_next) {
        char text[NI_MAXHOST] = {};
        if (each->ifa_addr && each->ifa_addr->sa_family == AF_INET && !(each->ifa_flags & IFF_LOOPBACK) &&
            ::getnameinfo(each->ifa_addr, sizeof(sockaddr_in), text, sizeof(text), nullptr, 0, NI_NUMERICHOST) == 0)
            found = QString::fromLatin1(text);
    }
    ::freeifaddrs(all);
    return found;
}

/// A self-signed certificate that is its own authority.
static bool makeCertificate(const QString &address, const QString &certificate, const QString &key)
{
    return QProcess::execute(QStringLiteral("openssl"),
                             {QStringLiteral("req"), QStringLiteral("-x509"), QStringLiteral("-newkey"),
                              QStringLiteral("rsa:2048"), QStringLiteral("-nodes"), QStringLiteral("-subj"),
                              QStringLiteral("/CN=test"), QStringLiteral("-addext"),
                              QStringLiteral("subjectAltName=IP:%1").arg(address), QStringLiteral("-keyout"), key,
                              QStringLiteral("-out"), certificate}) == 0;
}

void tst_Rpc::addressBeyondTheMachineNeedsCertificates()
{
    const QString address = outerAddress();
    if (address.isEmpty())
        QSKIP("the machine has no address but loopback");
    const auto serve = [&](Rpc &rpc, QSharedPointer<RpcAdapter> &adapter) {
        adapter = rpc.init(m_box->settings({{keys::EndpointIp, address}})) ? rpc.createAdapter(QStringLiteral("tls"))
                                                                           : nullptr;
        const QSharedPointer<IInvocable> object(new LocalObject);
        return adapter && adapter->add(object, Interface, QStringLiteral("tls")) && adapter->active();
    };
    Rpc server;
    QSharedPointer<RpcAdapter> adapter;
    const QString refusal = QStringLiteral("an address that is not local needs certificates: TARN_TLS_CA is not set");
    QTest::ignoreMessage(QtWarningMsg, qPrintable(QStringLiteral("cannot serve: ") + refusal));
    QVERIFY(!serve(server, adapter));
    QCOMPARE(lastError(), refusal);

    const QString certificate = m_box->path(QStringLiteral("cert.pem"));
    const QString key = m_box->path(QStringLiteral("key.pem"));
    if (!makeCertificate(address, certificate, key))
        QSKIP("no openssl program");
    qputenv("TARN_TLS_CA", certificate.toLocal8Bit());
    qputenv("TARN_TLS_CERT", certificate.toLocal8Bit());
    qputenv("TARN_TLS_KEY", key.toLocal8Bit());
    const auto unset = qScopeGuard([] {
        for (const char *name : {"TARN_TLS_CA", "TARN_TLS_CERT", "TARN_TLS_KEY"})
            qunsetenv(name);
    });
    QVERIFY2(serve(server, adapter), qPrintable(lastError()));
    const auto known = proxy(QStringLiteral("tls"));
    QVERIFY2(known && known->call(Echo, {}).accepted, qPrintable(lastError()));

    // A caller with a certificate of its own making is not let in, and does not trust the server either.
    const QString other = m_box->path(QStringLiteral("other.pem"));
    QVERIFY(makeCertificate(address, other, key));
    qputenv("TARN_TLS_CA", other.toLocal8Bit());
    qputenv("TARN_TLS_CERT", other.toLocal8Bit());
    Rpc stranger;
    QVERIFY(stranger.init(m_box->settings()));
    const auto foreign = stranger.stringToProxy(QStringLiteral("tls"));
    QVERIFY(foreign);
    QCOMPARE(foreign->call(Echo, {}, 3000).error.code, int(RpcError::NoConnection));
    QVERIFY(known->call(Echo, {}).accepted);
}

QTEST_GUILESS_MAIN(tst_Rpc)
#include "tst_rpc.moc"
