// rpc_caller TAG: calls the object with this tag over the platform's RPC core. Takes the orders of Orders.h and
//   show TITLE     (the rest of the line) a notice with a window; answers with the CLOCK_MONOTONIC nanoseconds of the
//                  sending, or "error"

#include "Orders.h"
#include "Samples.h"

#include "tarn/rpc/HubPort.h"
#include "tarn/rpc/Rpc.h"

#include <QCoreApplication>

namespace {

const QString ShowOperation = QStringLiteral("ShowNotifyMessage");

class Caller final
{
public:
    explicit Caller(const QSharedPointer<tarn::rpc::RpcProxy> &proxy)
        : m_proxy(proxy)
    {
    }

    bool operator()(const Order &order, int number) const
    {
        const bool convert = order.method == "convert";
        tarn::rpc::Bag bag;
        if (convert)
            bag.values.insert(QStringLiteral("number"), number);
        else
            bag.values = m_notice;
        bag.list = samples::records(order.records);
        const tarn::rpc::CallResult result = m_proxy->call(QString::fromStdString(order.method), bag);
        if (!result.arrived() || !result.accepted)
            return false;
        return !convert || result.output.values.value(QStringLiteral("number")).toInt() == number;
    }

    bool show(const std::string &line)
    {
        if (line.rfind("show ", 0) != 0)
            return false;
        tarn::rpc::Bag bag;
        bag.values = m_notice;
        bag.values.insert(QStringLiteral("MsgId"), QString::number(++m_shown));
        bag.values.insert(QStringLiteral("MsgTitle"), QString::fromStdString(line.substr(5)));
        const int64_t sent = Latencies::now();
        const tarn::rpc::CallResult result = m_proxy->call(ShowOperation, bag);
        if (!result.arrived() || !result.accepted)
            return false;
        std::cout << sent << std::endl;
        return true;
    }

private:
    QSharedPointer<tarn::rpc::RpcProxy> m_proxy;
    QVariantMap m_notice = samples::notice();
    int m_shown = 0;
};

} // namespace

int main(int argc, char **argv)
{
    const QCoreApplication application(argc, argv);
    const quint16 port = tarn::rpc::hubPort();
    tarn::rpc::Rpc rpc;
    if (!rpc.init(
            {{tarn::rpc::keys::IP, QStringLiteral("127.0.0.1")}, {tarn::rpc::keys::Port, QString::number(port)}})) {
        std::cerr << tarn::rpc::getRpcLastError().message << '\n';
        return 1;
    }
    const QSharedPointer<tarn::rpc::RpcProxy> proxy = rpc.stringToProxy(QString::fromLocal8Bit(argv[argc - 1]));
    if (!proxy) {
        std::cerr << tarn::rpc::getRpcLastError().message << '\n';
        return 1;
    }
    Caller caller(proxy);
    obey([&caller](const Order &order, int number) { return caller(order, number); },
         [&caller](const std::string &line) { return caller.show(line); });
    return 0;
}
