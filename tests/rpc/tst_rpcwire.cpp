// A foreign client: generated code and gRPC only, no library of the platform. Speaks to a rpcpeer process, friendly and
// hostile, and checks that it continues to serve in little memory.
#include "support/Sandbox.h"
#include "tarn/v1/hub.grpc.pb.h"
#include "tarn/v1/invoker.grpc.pb.h"
#include <QtTest>
#include <future>
#include <grpcpp/generic/generic_stub.h>
#include <grpcpp/grpcpp.h>

Q_DECLARE_METATYPE(std::string)

using namespace tarn;

namespace {

const QString Tag = "wire";
const std::string CallMethod = "/tarn.v1.Invoker/Call";
#ifdef TARN_SANITIZED
constexpr qint64 MemoryLimitKiB = 1024 * 1024; // freed memory is kept back
#else
constexpr qint64 MemoryLimitKiB = 150 * 1024;
#endif
constexpr qint64 FloodLimitKiB = 200 * 1024;

/// @param windowGrows whether a caller that does not read takes more than the first bytes of an answer
std::shared_ptr<grpc::Channel> channelTo(const std::string &target, bool windowGrows = true)
{
    grpc::ChannelArguments args;
    args.SetMaxReceiveMessageSize(-1);
    args.SetMaxSendMessageSize(-1);
    args.SetInt(GRPC_ARG_HTTP2_BDP_PROBE, windowGrows ? 1 : 0);
    return grpc::CreateCustomChannel(target, grpc::InsecureChannelCredentials(), args);
}

/// Of a call with a deadline.
struct Context final : grpc::ClientContext
{
    Context() { set_deadline(std::chrono::system_clock::now() + std::chrono::seconds(30)); }
};

v1::CallRequest echoRequest()
{
    v1::CallRequest request;
    request.set_interface_name("ITest");
    request.set_object("wire");
    request.set_method("Echo");
    return request;
}

/// Length-delimited field of raw protobuf.
std::string field(int number, const std::string &content)
{
    std::string bytes(1, static_cast<char>(number << 3 | 2));
    size_t size = content.size();
    for (; size >= 0x80; size >>= 7)
        bytes += static_cast<char>(size | 0x80);
    return bytes + static_cast<char>(size) + content;
}

std::string nestedList(int depth)
{
    std::string value;
    for (int i = 0; i < depth; ++i)
        value = field(v1::Value::kListValueFieldNumber, i == 0 ? std::string() : field(1, value));
    return value;
}

std::string repeated(const std::string &bytes, int times)
{
    return QByteArray::fromStdString(bytes).repeated(times).toStdString();
}

/// An Echo request whose bag holds the given bytes.
std::string echoWithBag(const std::string &bag)
{
    return echoRequest().SerializeAsString() + field(v1::CallRequest::kInputFieldNumber, bag);
}

std::string bagValue(const std::string &value)
{
    return field(v1::Bag::kValuesFieldNumber, field(1, "k") + field(2, value));
}

/// Peak of a process's memory in KiB.
qint64 peakOf(qint64 pid)
{
    QFile status(QString("/proc/%1/status").arg(pid));
    if (!status.open(QIODevice::ReadOnly))
        return -1;
    return QString::fromLatin1(status.readAll()).section("VmHWM:", 1).simplified().section(' ', 0, 0).toLongLong();
}

} // namespace

class tst_RpcWire : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(m_box.startHubAlone());
        m_peer = m_box.startPeer(Tag);
        QVERIFY(m_peer);
        m_hub =
            channelTo("unix:" + m_box.runtimeDir().toStdString() + "/hub-" + std::to_string(m_box.hubPort()) + ".sock");
        QCOMPARE(resolve().interface_name(), std::string("ITest"));
        Context context;
        v1::ListReply list;
        QVERIFY(v1::Hub::NewStub(m_hub)->List(&context, v1::ListRequest(), &list).ok());
        QCOMPARE(list.entries_size(), 1);
        QCOMPARE(list.entries(0).object().tag(), std::string("wire"));
        QCOMPARE(list.entries(0).program(), std::string("rpcpeer"));
        m_channel = channelTo(resolve().endpoint());
    }

    void hostileBytes_data()
    {
        QTest::addColumn<std::string>("bytes");
        QTest::addColumn<QString>("expected"); // part of the error; empty: accepted
        const QString deep = "nested deeper than 16";
        const QString many = "more than 65536 values";
        const QString text = "not valid UTF-8";
        const QString damaged = "damaged";
        const std::string empty = field(v1::Bag::kListFieldNumber, "");
        const std::string good = echoWithBag(bagValue(field(v1::Value::kStringValueFieldNumber, "abc")));

        QTest::newRow("depth 16") << echoWithBag(bagValue(nestedList(16))) << QString();
        QTest::newRow("depth 17") << echoWithBag(bagValue(nestedList(17))) << deep;
        QTest::newRow("depth 10000") << echoWithBag(bagValue(nestedList(10000))) << deep;
        QTest::newRow("65536 values") << echoWithBag(repeated(empty, 65536)) << QString();
        QTest::newRow("two million values") << echoWithBag(repeated(empty, 2000000)) << many;
        QTest::newRow("a million maps") << echoWithBag(repeated(field(2, field(11, "")), 1000000)) << many;
        QTest::newRow("65537 entries") << echoWithBag(repeated(field(1, field(1, "k")), 65537)) << many;
        QTest::newRow("two million unknown fields") << echoWithBag(repeated(field(15, ""), 2000000)) << QString();
        QTest::newRow("values inside one entry") << echoWithBag(field(1, repeated(field(2, ""), 1000000))) << QString();
        const auto rect = [](const QByteArray &fields) {
            return echoWithBag(bagValue(field(v1::Value::kRectValueFieldNumber, fields.toStdString())));
        };
        QTest::newRow("rectangle") << rect("\x18\x04\x20\x04") << QString();
        QTest::newRow("width of -2^31") << rect("\x18\xff\xff\xff\xff\x0f") << "out of range";
        QTest::newRow("right edge beyond 2^31") << rect("\x08\xfe\xff\xff\xff\x0f\x18\x04") << "out of range";
        QTest::newRow("invalid text") << echoWithBag(bagValue(field(v1::Value::kStringValueFieldNumber, "\xff")))
                                      << text;
        QTest::newRow("invalid method") << field(v1::CallRequest::kMethodFieldNumber, "\xff") << text;
        QTest::newRow("truncated") << good.substr(0, good.size() - 1) << damaged;
        QTest::newRow("length beyond the end") << good + std::string("\x2a\xff\xff\xff\xff\x0f") << damaged;
        QTest::newRow("open groups") << good + repeated("\x7b", 100000) << damaged;
        QTest::newRow("fields of a later version") << good + field(15, "later") + std::string("\x70\x01") << QString();
    }

    void hostileBytes()
    {
        QFETCH(std::string, bytes);
        QFETCH(QString, expected);
        const grpc::Status status = sendRaw(bytes);
        const QString message = QString::fromStdString(status.error_message());
        QCOMPARE(int(status.error_code()),
                 int(expected.isEmpty() ? grpc::StatusCode::OK : grpc::StatusCode::INVALID_ARGUMENT));
        QVERIFY2(message.contains(expected), qPrintable(message));
    }

    void oversize()
    {
        for (const size_t megabytes : {5, 500}) {
            const std::string bytes(megabytes << 20, 'x');
            const grpc::Status status = sendRaw(echoWithBag(bagValue(field(v1::Value::kBytesValueFieldNumber, bytes))));
            QCOMPARE(int(status.error_code()), int(grpc::StatusCode::RESOURCE_EXHAUSTED));
        }
    }

    /// Five answers of 3 MiB wait for a caller that does not read them: there is no room for a sixth until it ends.
    void unreadAnswersAreHeld()
    {
        const std::string value = field(v1::Value::kBytesValueFieldNumber, std::string(3 << 20, 'x'));
        const std::string bytes = echoWithBag(bagValue(value));
        const grpc::Slice slice(bytes);
        grpc::GenericStub stub(channelTo(resolve().endpoint(), false));
        grpc::CompletionQueue queue;
        std::array<Context, 5> contexts;
        std::vector<std::unique_ptr<grpc::GenericClientAsyncReaderWriter>> streams;
        void *tag = nullptr;
        bool ok = false;
        for (Context &context : contexts) {
            streams.push_back(stub.PrepareCall(&context, CallMethod, &queue));
            streams.back()->StartCall(nullptr);
            QVERIFY(queue.Next(&tag, &ok) && ok);
            streams.back()->WriteLast(grpc::ByteBuffer(&slice, 1), {}, nullptr);
            QVERIFY(queue.Next(&tag, &ok) && ok);
            streams.back()->ReadInitialMetadata(nullptr); // comes with the answer
            QVERIFY(queue.Next(&tag, &ok) && ok);
        }
        QTRY_COMPARE(int(sendRaw(bytes).error_code()), int(grpc::StatusCode::RESOURCE_EXHAUSTED));
        for (Context &context : contexts)
            context.TryCancel();
        QTRY_COMPARE(int(sendRaw(bytes).error_code()), int(grpc::StatusCode::OK));
    }

    /// 256 MB of zeros are 256 KB on the wire.
    void compressionIsRefused()
    {
        v1::CallRequest request = echoRequest();
        (*request.mutable_input()->mutable_values())["x"].set_bytes_value(std::string(256 << 20, '\0'));
        Context context;
        context.set_compression_algorithm(GRPC_COMPRESS_GZIP);
        v1::CallResponse response;
        const grpc::Status status = v1::Invoker::NewStub(m_channel)->Call(&context, request, &response);
        QCOMPARE(int(status.error_code()), int(grpc::StatusCode::UNIMPLEMENTED));
    }

    void registryRefusesBadEntries()
    {
        const auto refusal = [this](const std::string &tag, int objects) {
            v1::RegisterRequest request;
            request.set_endpoint("unix:/nowhere");
            request.set_epoch(7);
            for (int i = 0; i < objects; ++i) {
                v1::Registration *object = request.add_objects();
                object->set_interface_name("ITest");
                object->set_tag(tag);
            }
            return QString::fromStdString(endOfLease(request).error_message());
        };
        QVERIFY(refusal("IServiceHub", 1).contains("the hub's own"));
        QVERIFY(refusal(std::string(100000, 'x'), 1).contains("more than 256 characters"));
        QVERIFY(refusal("t", 257).contains("too many objects"));
    }

    /// Resolve tells every caller the epoch and the endpoint of an object: they are no keys to it.
    void wrongEpochsAndInterfaces()
    {
        const v1::ObjectRef ref = resolve();
        v1::CallRequest stale = echoRequest(); // meant for an earlier process
        stale.set_epoch(ref.epoch() + 1);
        QCOMPARE(int(sendRaw(stale.SerializeAsString()).error_code()), int(grpc::StatusCode::FAILED_PRECONDITION));
        v1::CallRequest mistaken = echoRequest();
        mistaken.set_interface_name("IOther");
        QCOMPARE(int(sendRaw(mistaken.SerializeAsString()).error_code()), int(grpc::StatusCode::NOT_FOUND));
        v1::RegisterRequest request; // without objects: takes them away, until their owner registers again
        request.set_epoch(ref.epoch());
        request.set_endpoint("unix:/nowhere");
        QCOMPARE(int(endOfLease(request).error_code()), int(grpc::StatusCode::ALREADY_EXISTS));
        QCOMPARE(resolve().endpoint(), ref.endpoint());
        request.set_endpoint(ref.endpoint());
        QCOMPARE(int(endOfLease(request).error_code()), int(grpc::StatusCode::ABORTED));
        QCOMPARE(resolve().endpoint(), ref.endpoint());
    }

    /// 300 MB at once, each message within its limit: each is answered or refused, none lost; the peer stays small. gRPC
    /// may refuse all of them. The last test, since the C library keeps some memory back for each thread.
    void hundredBigMessagesAtOnce()
    {
        m_limitKiB = qMax(MemoryLimitKiB, FloodLimitKiB);
        const auto stub = v1::Invoker::NewStub(m_channel);
        v1::CallRequest request = echoRequest();
        (*request.mutable_input()->mutable_values())["x"].set_bytes_value(std::string(3 << 20, 'x'));
        const auto call = [&] {
            Context context;
            v1::CallResponse response;
            const grpc::Status status = stub->Call(&context, request, &response);
            const bool isEchoed = response.output().values().count("x") == 1;
            return status.ok() && !isEchoed ? grpc::StatusCode::DATA_LOSS : status.error_code();
        };
        std::vector<std::future<grpc::StatusCode>> calls;
        for (int i = 0; i < 100; ++i)
            calls.push_back(std::async(std::launch::async, call));
        for (std::future<grpc::StatusCode> &each : calls) {
            const grpc::StatusCode code = each.get();
            QVERIFY2(code == grpc::StatusCode::OK || code == grpc::StatusCode::RESOURCE_EXHAUSTED ||
                         code == grpc::StatusCode::UNAVAILABLE, // the whole connection
                     qPrintable(QString::number(code)));
        }
    }

    /// After every test: the peer still answers and has stayed small.
    void cleanup()
    {
        const auto answers = [this] {
            Context context;
            context.set_wait_for_ready(true); // a hostile connection may have been closed
            v1::CallResponse response;
            return int(v1::Invoker::NewStub(m_channel)->Call(&context, echoRequest(), &response).error_code());
        };
        // The memory of answered calls is given back a moment later.
        QTRY_VERIFY(answers() != int(grpc::StatusCode::RESOURCE_EXHAUSTED));
        QCOMPARE(answers(), int(grpc::StatusCode::OK));
        const qint64 peak = peakOf(m_peer->processId());
        QVERIFY2(peak > 0 && peak < m_limitKiB, qPrintable(QString::number(peak)));
    }

private:
    v1::ObjectRef resolve()
    {
        Context context;
        v1::ResolveRequest request;
        v1::ObjectRef ref;
        request.set_tag("wire");
        v1::Hub::NewStub(m_hub)->Resolve(&context, request, &ref);
        return ref;
    }
    /// Registers, and waits until the hub ends the lease.
    grpc::Status endOfLease(const v1::RegisterRequest &request)
    {
        Context context;
        v1::RegisterReply reply;
        const auto reader = v1::Hub::NewStub(m_hub)->Register(&context, request);
        while (reader->Read(&reply)) {
        }
        return reader->Finish();
    }
    grpc::Status sendRaw(const std::string &bytes)
    {
        const grpc::Slice slice(bytes);
        const grpc::ByteBuffer out(&slice, 1);
        grpc::ByteBuffer in;
        Context context;
        grpc::CompletionQueue queue;
        grpc::GenericStub stub(m_channel);
        const auto call = stub.PrepareUnaryCall(&context, CallMethod, out, &queue);
        grpc::Status status;
        void *tag = nullptr;
        bool ok = false;
        call->StartCall();
        call->Finish(&in, &status, nullptr);
        queue.Next(&tag, &ok);
        return status;
    }

    Sandbox m_box;
    ProcessPtr m_peer;
    std::shared_ptr<grpc::Channel> m_hub;
    std::shared_ptr<grpc::Channel> m_channel;
    qint64 m_limitKiB = MemoryLimitKiB; ///< of the peer's peak
};

QTEST_GUILESS_MAIN(tst_RpcWire)
#include "tst_rpcwire.moc"
