// The RPC core as the platform's programs use it, against real hub and peer processes.
#include "support/Sandbox.h"
#include "tarn/rpc/IInvocable.h"
#include "tarn/rpc/Rpc.h"
#include "tarn/rpc/RuntimeDir.h"
#include <QNetworkInterface>
#include <QRect>
#include <QtTest>
#include <atomic>
#include <csignal>
#include <future>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

using namespace tarn::rpc;

namespace {

const QString Interface = "ITest";
const QString Echo = "Echo";

using OnCall = std::function<CallResult()>;

/// Accepts every call.
CallResult accept()
{
    CallResult result;
    result.accepted = true;
    return result;
}

QVariant nested(int depth)
{
    QVariant value;
    for (int i = 0; i < depth; ++i)
        value = i % 2 ? QVariant(QVariantList{value}) : QVariant(QVariantMap{{"k", value}});
    return value;
}

QString lastError()
{
    return QString::fromStdString(getRpcLastError().message);
}

QSharedPointer<IInvocable> object(const OnCall &onCall = accept)
{
    return QSharedPointer<Invocable>::create([=](auto &&...) { return onCall(); });
}

/// An active adapter with one object; null when it is refused.
QSharedPointer<RpcAdapter> serve(Rpc &rpc, const QString &tag, const OnCall &onCall = accept)
{
    const auto adapter = rpc.createAdapter(tag);
    const bool served = adapter && adapter->add(object(onCall), Interface, tag) && adapter->active();
    return served ? adapter : nullptr;
}

/// An own address that is not loopback; empty when the machine has none.
QString outerAddress()
{
    for (const QHostAddress &address : QNetworkInterface::allAddresses()) {
        if (address.protocol() == QAbstractSocket::IPv4Protocol && !address.isLoopback())
            return address.toString();
    }
    return QString();
}

} // namespace

class tst_Rpc : public QObject
{
    Q_OBJECT
private slots:
    void init()
    {
        m_box = std::make_unique<Sandbox>();
        QVERIFY(m_box->startHubAlone());
        m_rpc = std::make_unique<Rpc>();
        QVERIFY2(m_rpc->init(m_box->settings()), qPrintable(lastError()));
    }

    void cleanup()
    {
        m_rpc.reset();
        m_box.reset();
        for (const char *name : {"TARN_LEASE_MS", "TARN_TLS_CA", "TARN_TLS_CERT", "TARN_TLS_KEY", "TARN_TLS_NAMES"})
            qunsetenv(name);
    }

    void valuesKeepTheirType()
    {
        const QVariantList values{QVariant(),
                                  false,
                                  -7,
                                  4294967295U,
                                  Q_INT64_C(-9223372036854775807),
                                  Q_UINT64_C(18446744073709551615),
                                  0.1,
                                  "岚川\U0001F600",
                                  QString::fromUtf16(u"\ufeffa\0b", 4),
                                  QString(1 << 19, QChar(0x4e00)), // 1.5 MiB
                                  QByteArray("\xff\0\xc0", 3),
                                  QVariantList{1, "x", QVariant()},
                                  QVariantMap{{"软件", QVariantMap{{QString(), 1}}}},
                                  QRect(-5, 7, 0, 2000000),
                                  QRect(),
                                  nested(15)};
        const auto peer = m_box->startPeer("a");
        QVERIFY(peer && proxy("a"));
        const CallResult result = proxy("a")->call(Echo, {{{"v", values}}, values});
        QVERIFY2(result.arrived(), result.error.message.c_str());
        QCOMPARE(result.output.values.value("v"), QVariant(values));
        QCOMPARE(result.output.list, values);
        for (int i = 0; i < values.size(); ++i)
            QCOMPARE(result.output.list.at(i).userType(), values.at(i).userType());
        QCOMPARE(result.retCode, 42);
        QCOMPARE(result.errorText, QString("回声"));
    }

    void unsendableValues()
    {
        const QPair<QVariant, const char *> rows[] = {
            {QSizeF(1, 2), "key \"v\": values of type QSizeF cannot be sent"},
            {QString("a") + QChar(0xdc00), "lone surrogate"},
            {QVariantMap{{QString(QChar(0xd800)), 1}}, "lone surrogate"},
            {nested(17), "nested deeper than 16"},
            {nested(10000), "nested deeper than 16"},
            {QVariantList::fromVector(QVector<QVariant>(65536)), "more than 65536 values"},
            {QByteArray(4 << 20, 'x'), "at most 4194304 are possible"},
        };
        const auto hub = proxy("IServiceHub");
        QVERIFY(hub);
        for (const auto &[value, expected] : rows) {
            const CallResult result = hub->call("Ping", {{{"v", value}}, {}});
            QCOMPARE(result.error.code, int(RpcError::InvalidArgument));
            QVERIFY2(result.error.message.find(expected) != std::string::npos, expected);
            QCOMPARE(getRpcLastError().code, int(RpcError::InvalidArgument));
            QVERIFY(hub->call("Ping", {}).arrived());
            QCOMPARE(getRpcLastError().code, int(RpcError::None));
        }
    }

    void failingCalls()
    {
        const auto peer = m_box->startPeer("a");
        const auto a = proxy("a");
        QVERIFY(peer && a);
        const auto errorOf = [&](const QString &method, int code) {
            const CallResult result = a->call(method, {});
            const QString message = result.arrived() ? result.errorText : QString::fromStdString(result.error.message);
            return !result.accepted && result.error.code == code ? message : QString("another outcome");
        };
        QVERIFY(errorOf("Other", RpcError::NotFound).contains("no method"));
        QVERIFY(errorOf("Throw", RpcError::None).contains("thrown on purpose"));
        QVERIFY(errorOf("ThrowInt", RpcError::None).contains("ThrowInt failed"));
        QVERIFY(errorOf("Huge", RpcError::Failed).contains("cannot be sent"));
        QVERIFY(a->call(Echo, {}).accepted); // still there
        QCOMPARE(a->call("Die", {}).error.code, int(RpcError::NoConnection));
    }

    void initWithoutHubIsQuickAndCanBeRepeated()
    {
        Rpc rpc;
        QVERIFY(!rpc.init(m_box->settings({{keys::IP, "192.0.2.1"}})));
        QVERIFY2(lastError().contains("not local needs certificates"), qPrintable(lastError()));
        QVERIFY(!rpc.stringToProxy("IServiceHub"));
        QCOMPARE(getRpcLastError().code, int(RpcError::NotInitialized));
        m_box->killHub();
        QElapsedTimer clock;
        clock.start();
        QVERIFY(!rpc.init(m_box->settings()));
        QCOMPARE(getRpcLastError().code, int(RpcError::NoHub));
        QVERIFY(m_box->startHubAlone());
        QVERIFY2(rpc.init(m_box->settings()), qPrintable(lastError()));

        QVERIFY(freeze(static_cast<pid_t>(m_box->hub()->processId())));
        QVERIFY(!rpc.init(m_box->settings()));
        kill(static_cast<pid_t>(m_box->hub()->processId()), SIGCONT);
        QTRY_VERIFY(rpc.init(m_box->settings()));
        QVERIFY2(clock.elapsed() < 15000, qPrintable(QString::number(clock.elapsed()))); // calls may take 30 s
    }

    /// By their deadline, by shutdown() and by the peer's death.
    void callsEndEarly()
    {
        const auto peer = m_box->startPeer("a");
        const auto a = proxy("a");
        QVERIFY(peer && a);
        const auto hang = [&a](int timeoutMs) { return a->call("UntilCancelled", {}, timeoutMs).error.code; };
        QElapsedTimer clock;
        clock.start();
        QCOMPARE(hang(200), int(RpcError::Timeout));
        QVERIFY(clock.elapsed() < 5000);                   // the core's own limit is 10 s
        QTRY_COMPARE(a->call("Cancelled", {}).retCode, 1); // the server has learnt of it

        auto caller = std::async(std::launch::async, hang, 20000);
        QTRY_COMPARE(a->call("Started", {}).retCode, 2);
        m_rpc->shutdown();
        QVERIFY(caller.get() != RpcError::None);
        QCOMPARE(a->call(Echo, {}).error.code, int(RpcError::NotInitialized));
        QVERIFY(m_rpc->init(m_box->settings()));
        QTRY_COMPARE(a->call("Cancelled", {}).retCode, 2); // long before the deadline

        caller = std::async(std::launch::async, hang, 20000);
        QTRY_COMPARE(a->call("Started", {}).retCode, 3);
        peer->kill();
        QCOMPARE(caller.get(), int(RpcError::NoConnection));
        QTRY_VERIFY(!proxy("a")); // its lease has ended
        QCOMPARE(getRpcLastError().code, int(RpcError::NotFound));
    }

    void tagOfALivePeerIsTakenOverAfterIt()
    {
        auto peer = m_box->startPeer("a");
        QVERIFY(peer);
        const QString expected = QString("tag \"a\" is registered by rpcpeer (process %1)").arg(peer->processId());
        const auto other = serve(*m_rpc, "other");
        QVERIFY(other && !other->add(object(), Interface, "a"));
        QCOMPARE(lastError(), expected);
        QVERIFY2(other->add(object(), Interface, "more"), qPrintable(lastError())); // without the refused tag
        const auto adapter = m_rpc->createAdapter("second");
        QVERIFY(adapter->add(object(), Interface, "a"));
        QVERIFY(!adapter->active());
        QCOMPARE(lastError(), expected);
        QVERIFY(proxy("a")->call("Pid", {}).arrived()); // still the first
        peer = nullptr;
        QTRY_VERIFY(answers("a")); // without another active()
        const auto a = proxy("a");

        QVERIFY(adapter->unactive() && answers("other")); // the endpoint stays open, and has no "a" any more
        peer = m_box->startPeer("a");
        QCOMPARE(a->call("Pid", {}).output.values.value("pid").toLongLong(), peer->processId());

        QVERIFY(other->remove("other"));
        QVERIFY(!proxy("other"));
        QVERIFY(other->unactive());
        const auto socketName = QString("ep-%1-*").arg(QCoreApplication::applicationPid());
        QTRY_COMPARE(QDir(m_box->runtimeDir()).entryList({socketName}, QDir::System), QStringList());
    }

    /// An adapter that is not active leaves its tags to others.
    void tagOfAnotherAdapter()
    {
        const auto first = serve(*m_rpc, "own");
        const auto second = m_rpc->createAdapter("second");
        QVERIFY(first && second->add(object([] { return CallResult(); }), Interface, "own"));
        QVERIFY(!second->add(object(), Interface, "own"));
        QVERIFY(!second->active());
        QVERIFY2(lastError().contains("another adapter of this process"), qPrintable(lastError()));
        QVERIFY(proxy("own")->call(Echo, {}).accepted);
        QVERIFY(first->unactive());
        QVERIFY2(second->active(), qPrintable(lastError()));
        const CallResult refused = proxy("own")->call(Echo, {});
        QVERIFY(refused.arrived() && !refused.accepted);
        QVERIFY(!first->active());
        const auto third = serve(*m_rpc, "other");
        QVERIFY(third && !third->add(object(), Interface, "own"));
        QVERIFY(second->remove("own") && first->active() && proxy("own")->call(Echo, {}).accepted);
    }

    /// Between two calls nothing of this process uses the connection: a call must not be lost on a closed one.
    void restartedPeerIsFoundAfterARest()
    {
        auto peer = m_box->startPeer("a");
        const auto a = proxy("a");
        QVERIFY(peer && a);
        for (int round = 0; round < 3; ++round) {
            QVERIFY(a->call(Echo, {}).arrived());
            peer = nullptr;
            const auto isStarted = [&] { return bool(peer = m_box->startPeer("a")); };
            QVERIFY(QTest::qWaitFor(isStarted)); // refused while the hub has not noticed the end
        }
        QVERIFY(a->call(Echo, {}).arrived());
    }

    void frozenPeerLosesItsLease()
    {
        cleanup();
        qputenv("TARN_LEASE_MS", "400");
        init();
        const auto peer = m_box->startPeer("a");
        QVERIFY(peer && proxy("a"));
        QVERIFY(freeze(static_cast<pid_t>(peer->processId())));
        QTRY_VERIFY(!proxy("a"));
        kill(static_cast<pid_t>(peer->processId()), SIGCONT);
        QTRY_VERIFY(answers("a")); // registers again by itself
    }

    /// The peer accepts again once it has a free descriptor, and closes a connection that never speaks.
    void peerWithoutDescriptors()
    {
#ifdef TARN_SANITIZED
        QSKIP("without a descriptor the sanitizer takes every object for an invalid one");
#endif
        qputenv("TARN_LEASE_MS", "1000");
        const auto peer = m_box->startPeer("a");
        QVERIFY(peer);
        const auto pid = static_cast<pid_t>(peer->processId());
        const QDir directory(m_box->runtimeDir());
        const QString socket = directory.entryList({QString("ep-%1-*").arg(pid)}, QDir::System).value(0);
        rlimit limit = {};
        QCOMPARE(::prlimit(pid, RLIMIT_NOFILE, nullptr, &limit), 0);
        const rlimit none = {3, limit.rlim_max}; // no new descriptor can be opened
        QCOMPARE(::prlimit(pid, RLIMIT_NOFILE, &none, nullptr), 0);
        const int silent = connectTo(QFile::encodeName(directory.filePath(socket)));
        QVERIFY(!awaitLine(peer.get(), "a connection waits: ").isNull());
        QCOMPARE(::prlimit(pid, RLIMIT_NOFILE, &limit, nullptr), 0);
        QTRY_VERIFY(answers("a"));
        char bytes[1024];
        QTRY_COMPARE(::recv(silent, bytes, sizeof bytes, MSG_DONTWAIT), ssize_t(0));
        ::close(silent);
    }

    void killedHubComesBack()
    {
        std::atomic_int notices = 0;
        m_rpc->setHubLost([&] { ++notices; });
        const auto peer = m_box->startPeer("a");
        const auto a = proxy("a");
        const auto adapter = serve(*m_rpc, "own");
        QVERIFY(peer && a && adapter);
        QElapsedTimer clock;
        for (int loss = 1; loss <= 2; ++loss) { // each has its own two seconds
            const QString later = QString("later %1").arg(loss);
            m_box->killHub();
            clock.start();
            QVERIFY(a->call(Echo, {}).arrived()); // the hub is not in the data path
            QVERIFY(!proxy("a"));
            QCOMPARE(getRpcLastError().code, int(RpcError::NoHub));
            QVERIFY2(adapter->add(object(), Interface, later), qPrintable(lastError()));
            QVERIFY(!adapter->add(object(), Interface, later)); // it is there
            QTRY_COMPARE(notices.load(), loss);
            QVERIFY(clock.elapsed() >= 1900);
            QVERIFY(QFile::resize(m_box->runtimeDir() + "/hub.lock", 0)); // forgets the number and the socket's name
            QVERIFY(m_box->startHubAlone());
            clock.start();
            QTRY_VERIFY(proxy("a") && proxy("own") && proxy(later));
            QVERIFY2(clock.elapsed() < 3000, qPrintable(QString::number(clock.elapsed()))); // gRPC's back-off is longer
            QTRY_VERIFY(answers("own"));
        }
        m_rpc->setHubLost({});
    }

    void unactiveWaitsForRunningCalls()
    {
        QSemaphore started;
        QSemaphore release;
        const auto adapter = serve(*m_rpc, "own", [&] {
            started.release();
            release.acquire();
            return accept();
        });
        QVERIFY(adapter);
        const auto own = proxy("own");
        auto caller = std::async(std::launch::async, [&] { return own->call(Echo, {}); });
        started.acquire();
        const auto stopper = std::async(std::launch::async, [&] { adapter->unactive(); });
        // New calls are refused while the old one still runs.
        const bool refuses =
            QTest::qWaitFor([&] { return own->call(Echo, {}, 1000).error.code == RpcError::NotFound; });
        const bool waits = stopper.wait_for(std::chrono::seconds(0)) == std::future_status::timeout;
        release.release(100); // also the calls that came in before unactive() had begun
        stopper.wait();
        const CallResult answer = caller.get();
        QVERIFY(refuses && waits);
        QVERIFY2(answer.accepted, answer.error.message.c_str());
        QVERIFY(adapter->active());
        QVERIFY(proxy("own")->call(Echo, {}).accepted);
    }

    /// Two calls end the adapter that they run in: neither waits for the other for ever.
    void endedInsideCalls()
    {
        for (const char *how : {"unactive", "shutdown", "destroy"}) {
            QSemaphore inside;
            QSemaphore go;
            QSemaphore returned;
            QMutex mutex;
            Rpc core;
            QVERIFY(core.init(m_box->settings()));
            QSharedPointer<RpcAdapter> adapter;
            adapter = serve(core, "own", [&] {
                inside.release();
                go.acquire();
                if (!qstrcmp(how, "unactive")) {
                    adapter->unactive();
                } else if (!qstrcmp(how, "shutdown")) {
                    core.shutdown();
                } else {
                    QMutexLocker lock(&mutex);
                    const auto last = std::exchange(adapter, {});
                    lock.unlock();
                }
                returned.release();
                return CallResult();
            });
            QVERIFY2(adapter, how);
            const auto own = proxy("own");
            const auto call = [&] { return own->call(Echo, {}, 5000); };
            const auto one = std::async(std::launch::async, call), other = std::async(std::launch::async, call);
            inside.acquire(2);
            go.release(2);
            QVERIFY2(returned.tryAcquire(2, 5000), how);
        }
    }

    void addressBeyondTheMachineNeedsCertificates()
    {
        const QString address = outerAddress();
        if (address.isEmpty())
            QSKIP("the machine has no address but loopback");
        Rpc server;
        const auto outside = m_box->settings({{keys::EndpointIp, address}});
        QVERIFY(server.init(outside));
        const QString refusal = "an address that is not local needs certificates: TARN_TLS_CA is not set";
        QTest::ignoreMessage(QtWarningMsg, qPrintable("cannot serve: " + refusal));
        QVERIFY(!serve(server, "tls"));
        QCOMPARE(lastError(), refusal);

        QVERIFY(certify(address));
        // A certificate of the authority is not enough: its name has to be among the callers'.
        for (const QString &names : {QString("another.example"), "another.example, " + address}) {
            qputenv("TARN_TLS_NAMES", names.toLatin1());
            Rpc tls;
            QVERIFY(tls.init(outside));
            const auto adapter = serve(tls, "tls");
            QVERIFY2(adapter, qPrintable(lastError()));
            const auto object = proxy("tls");
            QVERIFY(object);
            QCOMPARE(object->call(Echo, {}, 3000).arrived(), names.contains(address));
        }
    }

private:
    QSharedPointer<RpcProxy> proxy(const QString &tag)
    {
        return m_rpc->stringToProxy(tag);
    }
    bool answers(const QString &tag) // one look-up: a second one may find nothing while an object moves
    {
        const auto found = proxy(tag);
        return found && found->call(Echo, {}, 1000).arrived();
    }

    /// Has this process, and its peers, serve by TLS with a self-signed certificate that is its own authority.
    bool certify(const QString &address)
    {
        const QString certificate = m_box->path("cert.pem");
        const QString key = m_box->path("key.pem");
        const QStringList arguments = QString("req -x509 -newkey rsa:2048 -nodes -subj /CN=test -addext").split(' ')
                                      << "subjectAltName=IP:" + address << "-keyout" << key << "-out" << certificate;
        qputenv("TARN_TLS_CA", certificate.toLocal8Bit());
        qputenv("TARN_TLS_CERT", certificate.toLocal8Bit());
        qputenv("TARN_TLS_KEY", key.toLocal8Bit());
        qputenv("TARN_TLS_NAMES", address.toLatin1());
        QProcess openssl;
        openssl.start("openssl", arguments);
        return openssl.waitForFinished() && openssl.exitCode() == 0;
    }

    std::unique_ptr<Sandbox> m_box;
    std::unique_ptr<Rpc> m_rpc;
};

QTEST_GUILESS_MAIN(tst_Rpc)
#include "tst_rpc.moc"
