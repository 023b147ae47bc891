// The RPC core as the platform's programs use it, against real hub and peer processes.
#include "rpc/Sandbox.h"
#include "support/Freeze.h"
#include "tarn/rpc/IInvocable.h"
#include "tarn/rpc/Rpc.h"
#include <QNetworkInterface>
#include <QRect>
#include <QThread>
#include <QtTest>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <dlfcn.h>
#include <memory>
#include <pthread.h>
#include <thread>

using namespace tarn::rpc;

static thread_local bool t_noThreads = false;

/// Replaces the C library's: std::thread, which gives no attributes, finds the process at its limit of threads.
extern "C" __attribute__((visibility("default"))) int
pthread_create(pthread_t *thread, const pthread_attr_t *attributes, void *(*start)(void *), void *argument) noexcept
{
    using Create = int (*)(pthread_t *, const pthread_attr_t *, void *(*)(void *), void *);
    static const auto create = reinterpret_cast<Create>(::dlsym(RTLD_NEXT, "pthread_create"));
    return t_noThreads && !attributes ? EAGAIN : create(thread, attributes, start, argument);
}

namespace {

const QString Interface = QStringLiteral("ITest");
const QString Echo = QStringLiteral("Echo");

using OnCall = std::function<CallResult(const QString &, const Bag &)>;

/// An object whose calls can be held up.
class LocalObject final : public IInvocable
{
public:
    OnCall onCall;

    CallResult invoke(const QString &method, const Bag &input, const ICallContext &) override
    {
        CallResult result;
        result.accepted = true;
        result.output = input;
        return onCall ? onCall(method, input) : result;
    }
};

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

/// An active adapter with one object; null when it is refused.
QSharedPointer<RpcAdapter> serve(Rpc &rpc, const QString &tag, const OnCall &onCall = {})
{
    const auto adapter = rpc.createAdapter(tag);
    const QSharedPointer<LocalObject> object(new LocalObject);
    object->onCall = onCall;
    const bool served =
        adapter && adapter->add(QSharedPointer<IInvocable>(object), Interface, tag) && adapter->active();
    return served ? adapter : nullptr;
}

} // namespace

class tst_Rpc : public QObject
{
    Q_OBJECT
private slots:
    void init();
    void cleanup();

    void valuesKeepTheirType();
    void unsendableValues_data();
    void unsendableValues();
    void failingCalls();
    void initWithoutHubIsQuickAndCanBeRepeated();
    void deadlineEndsTheCallAndTellsTheServer();
    void peerKilledDuringACall();
    void tagOfALivePeerIsTakenOverAfterIt();
    void restartedPeerIsFoundAfterARest();
    void objectAddedWithoutHubIsKept();
    void lostHubIsNoticed();
    void noThreadForTheLease();
    void frozenPeerLosesItsLease();
    void hubRestart_data();
    void hubRestart();
    void unactiveWaitsForRunningCalls();
    void unactiveAndShutdownInsideCalls_data();
    void unactiveAndShutdownInsideCalls();
    void shutdownEndsWaitingCalls();
    void objectsAddedLaterAndTwoAdapters();
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

void tst_Rpc::valuesKeepTheirType()
{
    const QVariantList values{QVariant(),
                              false,
                              -7,
                              4294967295U,
                              Q_INT64_C(-9223372036854775807),
                              Q_UINT64_C(18446744073709551615),
                              0.1,
                              QStringLiteral("岚川\U0001F600"),
                              QString::fromUtf16(u"\ufeffa\0b", 4),
                              QString(1 << 19, QChar(0x4e00)), // 1.5 MiB
                              QByteArray("\xff\0\xc0", 3),
                              QVariantList{1, QStringLiteral("x"), QVariant()},
                              QVariantMap{{QStringLiteral("软件"), QVariantMap{{QString(), 1}}}},
                              QRect(-5, 7, 0, 2000000),
                              QRect(),
                              nested(15)};
    const auto peer = m_box->startPeer(QStringLiteral("a"));
    QVERIFY(peer && proxy(QStringLiteral("a")));
    const CallResult result = proxy(QStringLiteral("a"))->call(Echo, {{{QStringLiteral("v"), values}}, values});
    QVERIFY2(result.arrived(), result.error.message.c_str());
    QCOMPARE(result.output.values.value(QStringLiteral("v")), QVariant(values));
    QCOMPARE(result.output.list, values);
    for (int i = 0; i < values.size(); ++i)
        QCOMPARE(result.output.list.at(i).userType(), values.at(i).userType());
    QCOMPARE(result.retCode, 42);
    QCOMPARE(result.errorText, QStringLiteral("回声"));
}

void tst_Rpc::unsendableValues_data()
{
    QTest::addColumn<QVariant>("value");
    QTest::addColumn<QString>("expected");
    QTest::newRow("type") << QVariant(QSizeF(1, 2)) << "key \"v\": values of type QSizeF cannot be sent";
    QTest::newRow("text") << QVariant(QStringLiteral("a") + QChar(0xdc00)) << "lone surrogate";
    QTest::newRow("key") << QVariant(QVariantMap{{QString(QChar(0xd800)), 1}}) << "lone surrogate";
    QTest::newRow("17 deep") << nested(17) << "nested deeper than 16";
    QTest::newRow("10000 deep") << nested(10000) << "nested deeper than 16";
    QTest::newRow("too many") << QVariant(QVariantList::fromVector(QVector<QVariant>(65536)))
                              << "more than 65536 values";
    QTest::newRow("too large") << QVariant(QByteArray(4 << 20, 'x')) << "at most 4194304 are possible";
}

void tst_Rpc::unsendableValues()
{
    QFETCH(QVariant, value);
    QFETCH(QString, expected);
    const auto hub = proxy(QStringLiteral("IServiceHub"));
    QVERIFY(hub);
    const CallResult result = hub->call(QStringLiteral("Ping"), {{{QStringLiteral("v"), value}}, {}});
    QCOMPARE(result.error.code, int(RpcError::InvalidArgument));
    QVERIFY2(QString::fromStdString(result.error.message).contains(expected), result.error.message.c_str());
    QCOMPARE(getRpcLastError().code, int(RpcError::InvalidArgument));
    QVERIFY(hub->call(QStringLiteral("Ping"), {}).arrived());
    QCOMPARE(getRpcLastError().code, int(RpcError::None));
}

void tst_Rpc::failingCalls()
{
    const auto peer = m_box->startPeer(QStringLiteral("a"));
    const auto a = proxy(QStringLiteral("a"));
    QVERIFY(peer && a);
    const auto errorOf = [&](const char *method, int code) {
        const CallResult result = a->call(QLatin1String(method), {});
        const QString message = result.arrived() ? result.errorText : QString::fromStdString(result.error.message);
        return !result.accepted && result.error.code == code ? message : QStringLiteral("another outcome");
    };
    QVERIFY(errorOf("Other", RpcError::NotFound).contains(QLatin1String("no method")));
    QVERIFY(errorOf("Throw", RpcError::None).contains(QLatin1String("thrown on purpose")));
    QVERIFY(errorOf("ThrowInt", RpcError::None).contains(QLatin1String("ThrowInt failed")));
    QVERIFY(errorOf("Huge", RpcError::Failed).contains(QLatin1String("cannot be sent")));
    QVERIFY(a->call(Echo, {}).accepted); // still there
    QCOMPARE(a->call(QStringLiteral("Die"), {}).error.code, int(RpcError::NoConnection));
}

void tst_Rpc::initWithoutHubIsQuickAndCanBeRepeated()
{
    Rpc rpc;
    QVERIFY(!rpc.init(m_box->settings({{keys::IP, QStringLiteral("192.0.2.1")}})));
    QVERIFY2(lastError().contains(QLatin1String("not local needs certificates")), qPrintable(lastError()));
    QVERIFY(!rpc.stringToProxy(QStringLiteral("IServiceHub")));
    QCOMPARE(getRpcLastError().code, int(RpcError::NotInitialized));
    m_box->killHub();
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

void tst_Rpc::tagOfALivePeerIsTakenOverAfterIt()
{
    auto peer = m_box->startPeer(QStringLiteral("a"));
    QVERIFY(peer);
    const QString expected = QStringLiteral("tag \"a\" is registered by rpcpeer (process %1)").arg(peer->processId());
    const auto adapter = m_rpc->createAdapter(QStringLiteral("second"));
    QVERIFY(adapter->add(QSharedPointer<IInvocable>(new LocalObject), Interface, QStringLiteral("a")));
    QVERIFY(!adapter->active());
    QCOMPARE(lastError(), expected);
    QVERIFY(proxy(QStringLiteral("a"))->call(QStringLiteral("Pid"), {}).arrived()); // still the first
    QVERIFY(!serve(*m_rpc, QStringLiteral("a"))); // a second adapter of this process neither
    peer = nullptr;
    QElapsedTimer clock;
    clock.start();
    QTRY_VERIFY(proxy(QStringLiteral("a"))); // without another active()
    QVERIFY2(clock.elapsed() < 1500, qPrintable(QString::number(clock.elapsed())));
    QVERIFY(proxy(QStringLiteral("a"))->call(Echo, {}).arrived());
}

/// Between two calls nothing of this process uses the connection: a call must not be lost on a closed one.
void tst_Rpc::restartedPeerIsFoundAfterARest()
{
    auto peer = m_box->startPeer(QStringLiteral("a"));
    const auto a = proxy(QStringLiteral("a"));
    QVERIFY(peer && a);
    const auto pid = [&] {
        const CallResult result = a->call(QStringLiteral("Pid"), {});
        return result.arrived() ? result.output.values.value(QStringLiteral("pid")).toLongLong() : 0;
    };
    for (int round = 0; round < 3; ++round) {
        QCOMPARE(pid(), peer->processId());
        peer = nullptr;
        QTRY_VERIFY(!proxy(QStringLiteral("a")));
        peer = m_box->startPeer(QStringLiteral("a"));
        QVERIFY(peer);
    }
    QCOMPARE(pid(), peer->processId());
}

void tst_Rpc::objectAddedWithoutHubIsKept()
{
    const auto adapter = serve(*m_rpc, QStringLiteral("first"));
    QVERIFY(adapter);
    m_box->killHub();
    const QSharedPointer<IInvocable> object(new LocalObject);
    QVERIFY2(adapter->add(object, Interface, QStringLiteral("later")), qPrintable(lastError()));
    QVERIFY(!adapter->add(object, Interface, QStringLiteral("later"))); // it is there
    QVERIFY(m_box->startHub());
    QTRY_VERIFY(proxy(QStringLiteral("later")));
}

void tst_Rpc::lostHubIsNoticed()
{
    std::atomic_int notices = 0;
    m_rpc->setHubLost([&] { ++notices; });
    const auto adapter = serve(*m_rpc, QStringLiteral("own"));
    QVERIFY(adapter);
    m_box->killHub();
    QElapsedTimer clock;
    clock.start();
    QTRY_COMPARE(notices.load(), 1);
    QVERIFY2(clock.elapsed() >= 1900 && clock.elapsed() < 4000, qPrintable(QString::number(clock.elapsed())));
    QVERIFY(m_box->startHub());
    QTRY_VERIFY(proxy(QStringLiteral("own")));
    QCOMPARE(notices.load(), 1);
    m_box->killHub(); // a new loss has its own two seconds
    QTRY_COMPARE(notices.load(), 2);
    m_rpc->setHubLost({});
}

void tst_Rpc::noThreadForTheLease()
{
    QVERIFY(serve(*m_rpc, QStringLiteral("before"))); // gRPC's own threads exist from here on
    const auto adapter = m_rpc->createAdapter(QStringLiteral("x"));
    const QSharedPointer<IInvocable> object(new LocalObject);
    QVERIFY(adapter->add(object, Interface, QStringLiteral("x")));
    t_noThreads = true;
    const bool active = adapter->active();
    t_noThreads = false;
    QVERIFY(!active);
    QCOMPARE(getRpcLastError().code, int(RpcError::Failed));
    QVERIFY2(adapter->active(), qPrintable(lastError())); // with threads again
    QVERIFY(proxy(QStringLiteral("x"))->call(Echo, {}).accepted);
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
    QTest::newRow("killed, another port") << true << false;
    QTest::newRow("ended, the same port") << false << true;
}

void tst_Rpc::hubRestart()
{
    QFETCH(bool, killed);
    QFETCH(bool, samePort);
    const auto peer = m_box->startPeer(QStringLiteral("a"));
    const auto a = proxy(QStringLiteral("a"));
    const auto adapter = serve(*m_rpc, QStringLiteral("own"));
    QVERIFY(peer && a && adapter);
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
    QVERIFY(proxy(QStringLiteral("own"))->call(Echo, {}).arrived());
}

void tst_Rpc::unactiveWaitsForRunningCalls()
{
    QSemaphore started;
    QSemaphore release;
    const auto adapter = serve(*m_rpc, QStringLiteral("own"), [&](const QString &, const Bag &) {
        started.release();
        release.acquire();
        CallResult result;
        result.accepted = true;
        return result;
    });
    QVERIFY(adapter);
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
    QSharedPointer<RpcAdapter> adapter;
    adapter = serve(server, QStringLiteral("own"), [&](const QString &, const Bag &) {
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
    });
    QVERIFY(adapter);
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

/// An own address that is not loopback; empty when the machine has none.
static QString outerAddress()
{
    for (const QHostAddress &address : QNetworkInterface::allAddresses()) {
        if (address.protocol() == QAbstractSocket::IPv4Protocol && !address.isLoopback())
            return address.toString();
    }
    return QString();
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
    Rpc server;
    const auto outside = m_box->settings({{keys::EndpointIp, address}});
    QVERIFY(server.init(outside));
    const QString refusal = QStringLiteral("an address that is not local needs certificates: TARN_TLS_CA is not set");
    QTest::ignoreMessage(QtWarningMsg, qPrintable(QStringLiteral("cannot serve: ") + refusal));
    QVERIFY(!serve(server, QStringLiteral("tls")));
    QCOMPARE(lastError(), refusal);

    const QString certificate = m_box->path(QStringLiteral("cert.pem"));
    const QString key = m_box->path(QStringLiteral("key.pem"));
    if (!makeCertificate(address, certificate, key))
        QSKIP("no openssl program");
    qputenv("TARN_TLS_CA", certificate.toLocal8Bit());
    qputenv("TARN_TLS_CERT", certificate.toLocal8Bit());
    qputenv("TARN_TLS_KEY", key.toLocal8Bit());
    const auto unset = qScopeGuard([] {
        for (const char *name : {"TARN_TLS_CA", "TARN_TLS_CERT", "TARN_TLS_KEY", "TARN_TLS_NAMES"})
            qunsetenv(name);
    });
    // A certificate of the authority is not enough: its name has to be among the callers'.
    qputenv("TARN_TLS_NAMES", "another.example");
    {
        Rpc closed;
        QVERIFY(closed.init(outside));
        const auto unreachable = serve(closed, QStringLiteral("closed"));
        QVERIFY2(unreachable, qPrintable(lastError()));
        const auto refused = proxy(QStringLiteral("closed"));
        QVERIFY(refused && !refused->call(Echo, {}, 3000).arrived());
    }
    qputenv("TARN_TLS_NAMES", "another.example, " + address.toLatin1());
    QVERIFY(server.init(outside));
    const auto adapter = serve(server, QStringLiteral("tls"));
    QVERIFY2(adapter, qPrintable(lastError()));
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
