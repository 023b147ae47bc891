// bare_echo serve SOCKET | bare_echo call SOCKET: the plainest gRPC that carries our messages, to compare with: callback
// API, one unix socket, no thread pool, no checks. Methods: "ack" answers a code, "post" posts an event to the main thread
// before that, "convert" turns the input into variants and back. The caller takes the orders of Orders.h; its records are
// converted as well.

#include "BareConverter.h"
#include "Orders.h"
#include "Samples.h"

#include "tarn/v1/invoker.grpc.pb.h"

#include <QCoreApplication>
#include <QEvent>

#include <grpcpp/grpcpp.h>

namespace {

class Echo final : public tarn::v1::Invoker::CallbackService
{
public:
    grpc::ServerUnaryReactor *Call(grpc::CallbackServerContext *context, const tarn::v1::CallRequest *request,
                                   tarn::v1::CallResponse *response) override
    {
        response->set_accepted(true);
        response->set_code(2000);
        if (request->method() == "post") {
            QCoreApplication::postEvent(qApp, new QEvent(QEvent::User));
        } else if (request->method() == "convert") {
            QVariantMap values;
            QVariantList list;
            bare::decodeBag(request->input(), &values, &list);
            bare::encodeBag(values, list, response->mutable_output());
        }
        auto *reactor = context->DefaultReactor();
        reactor->Finish(grpc::Status::OK);
        return reactor;
    }
};

grpc::ChannelArguments channelArguments()
{
    grpc::ChannelArguments arguments;
    arguments.SetInt(GRPC_ARG_ENABLE_HTTP_PROXY, 0);
    return arguments;
}

int serve(const std::string &address)
{
    Echo echo;
    grpc::ServerBuilder builder;
    builder.AddListeningPort(address, grpc::InsecureServerCredentials());
    builder.RegisterService(&echo);
    const std::unique_ptr<grpc::Server> server = builder.BuildAndStart();
    if (!server)
        return 1;
    std::thread reader([] { // serves until the input ends
        std::string line;
        std::getline(std::cin, line);
        QMetaObject::invokeMethod(qApp, &QCoreApplication::quit, Qt::QueuedConnection);
    });
    std::cout << "ready" << std::endl;
    const int code = QCoreApplication::exec();
    reader.join();
    server->Shutdown();
    return code;
}

class Caller final
{
public:
    explicit Caller(const std::string &address)
        : m_stub(tarn::v1::Invoker::NewStub(
              grpc::CreateCustomChannel(address, grpc::InsecureChannelCredentials(), channelArguments())))
    {
        bare::encodeBag(samples::notice(), {}, &m_encodedNotice);
    }

    bool operator()(const Order &order, int number) const
    {
        tarn::v1::CallRequest request;
        tarn::v1::CallResponse response;
        request.set_interface_name("IVisualizedService");
        request.set_object("IVisualizedService");
        request.set_method(order.method);
        const bool convert = order.method == "convert";
        if (convert)
            bare::encodeBag({{QStringLiteral("number"), number}}, samples::records(order.records),
                            request.mutable_input());
        else
            *request.mutable_input() = m_encodedNotice;
        grpc::ClientContext context;
        context.set_deadline(std::chrono::system_clock::now() + std::chrono::seconds(30));
        if (!m_stub->Call(&context, request, &response).ok())
            return false;
        if (!convert)
            return response.accepted();
        QVariantMap values;
        QVariantList list;
        bare::decodeBag(response.output(), &values, &list);
        return values.value(QStringLiteral("number")).toInt() == number;
    }

private:
    std::unique_ptr<tarn::v1::Invoker::Stub> m_stub;
    tarn::v1::Bag m_encodedNotice;
};

} // namespace

int main(int argc, char **argv)
{
    if (argc != 3) {
        std::cerr << "usage: bare_echo serve|call SOCKET\n";
        return 2;
    }
    const QCoreApplication application(argc, argv);
    const std::string address = std::string("unix:") + argv[2];
    if (std::string(argv[1]) == "serve")
        return serve(address);
    const Caller caller(address);
    obey([&caller](const Order &order, int number) { return caller(order, number); },
         [](const std::string &) { return false; });
    return 0;
}
