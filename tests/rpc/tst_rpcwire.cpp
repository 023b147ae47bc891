// A foreign client: generated code and gRPC only, no library of the platform. Speaks to a rpcpeer process, friendly and
// hostile, and watches that it goes on serving in little memory.
#include "Sandbox.h"
#include "tarn/v1/hub.grpc.pb.h"
#include "tarn/v1/invoker.grpc.pb.h"
#include <QtTest>
#include <google/protobuf/util/message_differencer.h>
#include <grpcpp/generic/generic_stub.h>
#include <grpcpp/grpcpp.h>

Q_DECLARE_METATYPE(std::string)

using namespace tarn;
using google::protobuf::util::MessageDifferencer;

namespace {

const QString Tag = QStringLiteral("wire");
#ifdef TARN_SANITIZED
constexpr qint64 MemoryLimitKiB = 1024 * 1024; // freed memory is kept back
#else
constexpr qint64 MemoryLimitKiB = 150 * 1024;
#endif

std::shared_ptr<grpc::Channel> channelTo(const std::string &target)
{
    grpc::ChannelArguments args;
    args.SetMaxReceiveMessageSize(-1);
    args.SetMaxSendMessageSize(-1);
    return grpc::CreateCustomChannel(target, grpc::InsecureChannelCredentials(), args);
}

void setDeadline(grpc::ClientContext &context)
{
    context.set_deadline(std::chrono::system_clock::now() + std::chrono::seconds(30));
}

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
    std::string all;
    all.reserve(bytes.size() * static_cast<size_t>(times));
    for (int i = 0; i < times; ++i)
        all += bytes;
    return all;
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

} // namespace

class tst_RpcWire : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void everyTypeComesBack_data();
    void everyTypeComesBack();
    void hostileBytes_data();
    void hostileBytes();
    void wrongAddressee_data();
    void wrongAddressee();
    void oversize_data();
    void oversize();
    void hugeAnswerIsRefused();
    void hundredBigMessagesAtOnce();
    void compressionIsRefused_data();
    void compressionIsRefused();
    void healthAndReflection();
    void registryRefusesBadEntries_data();
    void registryRefusesBadEntries();
    void cleanup();

private:
    grpc::Status sendRaw(const std::string &bytes, std::string *answer = nullptr, const char *method = nullptr);

    Sandbox m_box;
    ProcessPtr m_peer;
    std::shared_ptr<grpc::Channel> m_hub;
    std::shared_ptr<grpc::Channel> m_channel;
};

void tst_RpcWire::initTestCase()
{
    QVERIFY(m_box.startHub());
    m_peer = m_box.startPeer(Tag);
    QVERIFY(m_peer);
    m_hub = channelTo("unix:" + m_box.runtimeDir().toStdString() + "/hub-" + std::to_string(m_box.hubPort()) + ".sock");
    grpc::ClientContext context;
    v1::ResolveRequest request;
    v1::ObjectRef ref;
    request.set_tag("wire");
    const grpc::Status status = v1::Hub::NewStub(m_hub)->Resolve(&context, request, &ref);
    QVERIFY2(status.ok(), status.error_message().c_str());
    QCOMPARE(ref.interface_name(), std::string("ITest"));
    m_channel = channelTo(ref.endpoint());
}

/// After every test: the peer still answers and has stayed small.
void tst_RpcWire::cleanup()
{
    grpc::ClientContext context;
    setDeadline(context);
    context.set_wait_for_ready(true); // a hostile connection may have been closed
    v1::CallResponse response;
    const grpc::Status status = v1::Invoker::NewStub(m_channel)->Call(&context, echoRequest(), &response);
    QVERIFY2(status.ok(), status.error_message().c_str());
    const qint64 peak = memoryKiB(m_peer->processId(), "VmHWM");
    QVERIFY2(peak > 0 && peak < MemoryLimitKiB, qPrintable(QString::number(peak)));
}

grpc::Status tst_RpcWire::sendRaw(const std::string &bytes, std::string *answer, const char *method)
{
    grpc::Slice slice(bytes);
    const grpc::ByteBuffer out(&slice, 1);
    grpc::ByteBuffer in;
    grpc::ClientContext context;
    setDeadline(context);
    grpc::CompletionQueue queue;
    grpc::GenericStub stub(m_channel);
    const auto call = stub.PrepareUnaryCall(&context, method ? method : "/tarn.v1.Invoker/Call", out, &queue);
    grpc::Status status;
    void *tag = nullptr;
    bool ok = false;
    call->StartCall();
    call->Finish(&in, &status, nullptr);
    queue.Next(&tag, &ok);
    if (answer && status.ok() && in.DumpToSingleSlice(&slice).ok())
        answer->assign(reinterpret_cast<const char *>(slice.begin()), slice.size());
    return status;
}

void tst_RpcWire::everyTypeComesBack_data()
{
    QTest::addColumn<QByteArray>("bytes");
    const auto row = [](const char *name, auto fill) {
        v1::Value value;
        fill(value);
        QTest::newRow(name) << QByteArray::fromStdString(value.SerializeAsString());
    };
    row("null", [](v1::Value &v) { v.set_null_value(v1::NULL_VALUE); });
    row("true", [](v1::Value &v) { v.set_bool_value(true); });
    row("false", [](v1::Value &v) { v.set_bool_value(false); });
    row("int min", [](v1::Value &v) { v.set_int32_value(INT32_MIN); });
    row("uint max", [](v1::Value &v) { v.set_uint32_value(UINT32_MAX); });
    row("int64 min", [](v1::Value &v) { v.set_int64_value(INT64_MIN); });
    row("uint64 max", [](v1::Value &v) { v.set_uint64_value(UINT64_MAX); });
    row("double", [](v1::Value &v) { v.set_double_value(-0.1); });
    row("infinity", [](v1::Value &v) { v.set_double_value(std::numeric_limits<double>::infinity()); });
    row("empty text", [](v1::Value &v) { v.set_string_value(""); });
    row("text", [](v1::Value &v) { v.set_string_value(u8"\ufeff消息\U0001F600"); });
    row("text with NUL", [](v1::Value &v) { v.set_string_value(std::string("a\0b", 3)); });
    row("bytes", [](v1::Value &v) { v.set_bytes_value(std::string("\xff\x00\xc0", 3)); });
    row("empty list", [](v1::Value &v) { v.mutable_list_value(); });
    row("list", [](v1::Value &v) { v.mutable_list_value()->add_items()->set_bool_value(true); });
    row("empty map", [](v1::Value &v) { v.mutable_map_value(); });
    row("map", [](v1::Value &v) { (*v.mutable_map_value()->mutable_values())["软件"].set_int32_value(-1); });
    row("rect", [](v1::Value &v) {
        v.mutable_rect_value()->set_x(-5);
        v.mutable_rect_value()->set_width(INT32_MAX / 2);
    });
    row("object", [](v1::Value &v) {
        v.mutable_object_value()->set_tag("t");
        v.mutable_object_value()->set_epoch(UINT64_MAX);
    });
}

void tst_RpcWire::everyTypeComesBack()
{
    QFETCH(QByteArray, bytes);
    v1::Value value;
    QVERIFY(value.ParseFromString(bytes.toStdString()));
    v1::CallRequest request = echoRequest();
    (*request.mutable_input()->mutable_values())["键"] = value;
    *request.mutable_input()->add_list() = value;
    grpc::ClientContext context;
    setDeadline(context);
    v1::CallResponse response;
    const grpc::Status status = v1::Invoker::NewStub(m_channel)->Call(&context, request, &response);
    QVERIFY2(status.ok(), status.error_message().c_str());
    QVERIFY(response.accepted());
    QCOMPARE(response.code(), 42);
    QCOMPARE(response.error(), std::string("回声"));
    QVERIFY2(MessageDifferencer::Equals(request.input(), response.output()), response.DebugString().c_str());
}

void tst_RpcWire::hostileBytes_data()
{
    QTest::addColumn<std::string>("bytes");
    QTest::addColumn<QString>("expected"); // part of the error; empty: accepted
    const QString deep = QStringLiteral("nested deeper than 16");
    const QString many = QStringLiteral("more than 65536 values");
    const QString text = QStringLiteral("not valid UTF-8");
    const QString damaged = QStringLiteral("damaged");
    const std::string empty = field(v1::Bag::kListFieldNumber, "");
    const std::string good = echoWithBag(bagValue(field(v1::Value::kStringValueFieldNumber, "abc")));

    QTest::newRow("depth 16") << echoWithBag(bagValue(nestedList(16))) << QString();
    QTest::newRow("depth 17") << echoWithBag(bagValue(nestedList(17))) << deep;
    QTest::newRow("depth 10000") << echoWithBag(bagValue(nestedList(10000))) << deep;
    QTest::newRow("65536 values") << echoWithBag(repeated(empty, 65536)) << QString();
    QTest::newRow("65537 values") << echoWithBag(repeated(empty, 65537)) << many;
    QTest::newRow("two million values") << echoWithBag(repeated(empty, 2000000)) << many;
    QTest::newRow("a million empty entries") << echoWithBag(repeated(field(1, ""), 1000000)) << many;
    QTest::newRow("values inside one entry") << echoWithBag(field(1, repeated(field(2, ""), 1000000))) << QString();
    QTest::newRow("invalid key") << echoWithBag(field(1, field(1, "\xc0\x80") + field(2, ""))) << text;
    QTest::newRow("invalid text") << echoWithBag(bagValue(field(v1::Value::kStringValueFieldNumber, "\xff"))) << text;
    QTest::newRow("cut text") << echoWithBag(bagValue(field(v1::Value::kStringValueFieldNumber, "\xe6\xb6"))) << text;
    QTest::newRow("encoded surrogate") << echoWithBag(
                                              bagValue(field(v1::Value::kStringValueFieldNumber, "\xed\xa0\x80")))
                                       << text;
    QTest::newRow("invalid method") << field(v1::CallRequest::kMethodFieldNumber, "\xff") << text;
    QTest::newRow("truncated") << good.substr(0, good.size() - 1) << damaged;
    QTest::newRow("length beyond the end") << good + std::string("\x2a\xff\xff\xff\xff\x0f") << damaged;
    QTest::newRow("endless varint") << good + std::string(20, '\xff') << damaged;
    QTest::newRow("end of a group") << good + std::string("\x7c") << damaged;
    QTest::newRow("open groups") << good + repeated("\x7b", 100000) << damaged;
    QTest::newRow("wrong wire type") << good + std::string("\x28\x01") << QString();
    QTest::newRow("fields of a later version") << good + field(15, "later") + std::string("\x70\x01") << QString();
}

void tst_RpcWire::hostileBytes()
{
    QFETCH(std::string, bytes);
    QFETCH(QString, expected);
    const grpc::Status status = sendRaw(bytes);
    const QString message = QString::fromStdString(status.error_message());
    QCOMPARE(int(status.error_code()),
             int(expected.isEmpty() ? grpc::StatusCode::OK : grpc::StatusCode::INVALID_ARGUMENT));
    QVERIFY2(message.contains(expected), qPrintable(message));
}

void tst_RpcWire::wrongAddressee_data()
{
    QTest::addColumn<QString>("interfaceName");
    QTest::addColumn<QString>("object");
    QTest::addColumn<QString>("method");
    QTest::addColumn<quint64>("epoch");
    QTest::addColumn<int>("code");
    const QString right = QStringLiteral("ITest");
    const QString echo = QStringLiteral("Echo");
    const QString other = QStringLiteral("other");
    QTest::newRow("interface") << other << Tag << echo << quint64(0) << int(grpc::StatusCode::NOT_FOUND);
    QTest::newRow("object") << right << other << echo << quint64(0) << int(grpc::StatusCode::NOT_FOUND);
    QTest::newRow("long object") << right << QString(100000, 'x') << echo << quint64(0)
                                 << int(grpc::StatusCode::NOT_FOUND);
    QTest::newRow("method") << right << Tag << other << quint64(0) << int(grpc::StatusCode::UNIMPLEMENTED);
    QTest::newRow("nothing") << QString() << QString() << QString() << quint64(0) << int(grpc::StatusCode::NOT_FOUND);
    QTest::newRow("epoch") << right << Tag << echo << quint64(1) << int(grpc::StatusCode::FAILED_PRECONDITION);
}

void tst_RpcWire::wrongAddressee()
{
    QFETCH(QString, interfaceName);
    QFETCH(QString, object);
    QFETCH(QString, method);
    QFETCH(quint64, epoch);
    QFETCH(int, code);
    v1::CallRequest request;
    request.set_interface_name(interfaceName.toStdString());
    request.set_object(object.toStdString());
    request.set_method(method.toStdString());
    request.set_epoch(epoch);
    const grpc::Status status = sendRaw(request.SerializeAsString());
    QCOMPARE(int(status.error_code()), code);
    QVERIFY(!status.error_message().empty() && status.error_message().size() < 2000);
}

void tst_RpcWire::oversize_data()
{
    QTest::addColumn<int>("megabytes");
    QTest::newRow("5 MB") << 5;
    QTest::newRow("500 MB") << 500;
}

void tst_RpcWire::oversize()
{
    QFETCH(int, megabytes);
    const grpc::Status status =
        sendRaw(echoWithBag(bagValue(field(v1::Value::kBytesValueFieldNumber, std::string(megabytes << 20, 'x')))));
    QCOMPARE(int(status.error_code()), int(grpc::StatusCode::RESOURCE_EXHAUSTED));
}

void tst_RpcWire::hugeAnswerIsRefused()
{
    v1::CallRequest request = echoRequest();
    request.set_method("Huge");
    const grpc::Status status = sendRaw(request.SerializeAsString());
    QCOMPARE(int(status.error_code()), int(grpc::StatusCode::INTERNAL));
    QVERIFY(QString::fromStdString(status.error_message()).contains(QLatin1String("cannot be sent")));
}

/// 300 MB at once, each message within its limit: some may be refused, none lost, the peer stays small.
void tst_RpcWire::hundredBigMessagesAtOnce()
{
    constexpr int Calls = 100;
    const auto stub = v1::Invoker::NewStub(m_channel);
    v1::CallRequest request = echoRequest();
    (*request.mutable_input()->mutable_values())["x"].set_bytes_value(std::string(3 << 20, 'x'));
    struct Call
    {
        grpc::ClientContext context;
        v1::CallResponse response;
        grpc::Status status;
        std::unique_ptr<grpc::ClientAsyncResponseReader<v1::CallResponse>> reader;
    };
    grpc::CompletionQueue queue;
    std::vector<std::unique_ptr<Call>> calls;
    for (int i = 0; i < Calls; ++i) {
        calls.push_back(std::make_unique<Call>());
        Call &call = *calls.back();
        setDeadline(call.context);
        call.reader = stub->AsyncCall(&call.context, request, &queue);
        call.reader->Finish(&call.response, &call.status, &call);
    }
    int served = 0;
    for (int i = 0; i < Calls; ++i) {
        void *tag = nullptr;
        bool ok = false;
        QVERIFY(queue.Next(&tag, &ok));
        const Call &call = *static_cast<Call *>(tag);
        if (call.status.ok())
            served += static_cast<int>(call.response.output().values().count("x"));
        else
            QVERIFY2(call.status.error_code() == grpc::StatusCode::RESOURCE_EXHAUSTED ||
                         call.status.error_code() == grpc::StatusCode::UNAVAILABLE, // the whole connection
                     call.status.error_message().c_str());
    }
    QVERIFY(served > 0);
}

void tst_RpcWire::compressionIsRefused_data()
{
    QTest::addColumn<int>("algorithm");
    QTest::newRow("gzip") << int(GRPC_COMPRESS_GZIP);
    QTest::newRow("deflate") << int(GRPC_COMPRESS_DEFLATE);
}

/// 256 MB of zeros are 256 KB on the wire.
void tst_RpcWire::compressionIsRefused()
{
    QFETCH(int, algorithm);
    v1::CallRequest request = echoRequest();
    (*request.mutable_input()->mutable_values())["x"].set_bytes_value(std::string(256 << 20, '\0'));
    grpc::ClientContext context;
    setDeadline(context);
    context.set_compression_algorithm(static_cast<grpc_compression_algorithm>(algorithm));
    v1::CallResponse response;
    const grpc::Status status = v1::Invoker::NewStub(m_channel)->Call(&context, request, &response);
    QCOMPARE(int(status.error_code()), int(grpc::StatusCode::UNIMPLEMENTED));
}

void tst_RpcWire::healthAndReflection()
{
    std::string answer;
    const grpc::Status status = sendRaw(std::string(), &answer, "/grpc.health.v1.Health/Check");
    QVERIFY2(status.ok(), status.error_message().c_str());
    QCOMPARE(answer, std::string("\x08\x01")); // SERVING

    grpc::ClientContext context;
    setDeadline(context);
    grpc::CompletionQueue queue;
    grpc::GenericStub stub(m_channel);
    const auto stream =
        stub.PrepareCall(&context, "/grpc.reflection.v1alpha.ServerReflection/ServerReflectionInfo", &queue);
    void *tag = nullptr;
    bool ok = false;
    const auto next = [&] { return queue.Next(&tag, &ok) && ok; };
    grpc::Slice slice(field(7, "")); // list_services
    grpc::ByteBuffer in;
    stream->StartCall(nullptr);
    QVERIFY(next());
    stream->Write(grpc::ByteBuffer(&slice, 1), nullptr);
    QVERIFY(next());
    stream->Read(&in, nullptr);
    QVERIFY(next());
    QVERIFY(in.DumpToSingleSlice(&slice).ok());
    const std::string services(reinterpret_cast<const char *>(slice.begin()), slice.size());
    QVERIFY(services.find("tarn.v1.Invoker") != std::string::npos);
    context.TryCancel();
}

void tst_RpcWire::registryRefusesBadEntries_data()
{
    QTest::addColumn<QString>("tag");
    QTest::addColumn<int>("objects");
    QTest::addColumn<QString>("expected");
    QTest::newRow("taken") << Tag << 1 << QStringLiteral("tag \"wire\" is registered by rpcpeer (process ");
    QTest::newRow("the hub's own") << QStringLiteral("IServiceHub") << 1 << QStringLiteral("the hub's own");
    QTest::newRow("no tag") << QString() << 1 << QStringLiteral("lacks its tag");
    QTest::newRow("long tag") << QString(100000, 'x') << 1 << QStringLiteral("more than 256 characters");
    QTest::newRow("too many") << QStringLiteral("t") << 257 << QStringLiteral("too many objects");
}

void tst_RpcWire::registryRefusesBadEntries()
{
    QFETCH(QString, tag);
    QFETCH(int, objects);
    QFETCH(QString, expected);
    grpc::ClientContext context;
    setDeadline(context);
    v1::RegisterRequest request;
    request.set_endpoint("unix:/nowhere");
    request.set_epoch(7);
    for (int i = 0; i < objects; ++i) {
        v1::Registration *object = request.add_objects();
        object->set_interface_name("ITest");
        object->set_tag(tag.toStdString());
    }
    v1::RegisterReply reply;
    const auto reader = v1::Hub::NewStub(m_hub)->Register(&context, request);
    QVERIFY(!reader->Read(&reply));
    const QString message = QString::fromStdString(reader->Finish().error_message());
    QVERIFY2(message.contains(expected), qPrintable(message));
}

QTEST_GUILESS_MAIN(tst_RpcWire)
#include "tst_rpcwire.moc"
