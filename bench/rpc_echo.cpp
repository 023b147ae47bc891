// rpc_echo TAG: serves an object with the methods "ack" and "convert" (see bare_echo) on the platform's RPC core under
// this tag, until its input ends.

#include "tarn/rpc/HubPort.h"
#include "tarn/rpc/IInvocable.h"
#include "tarn/rpc/Rpc.h"

#include <QCoreApplication>

#include <iostream>

namespace {

class Echo final : public tarn::rpc::IInvocable
{
public:
    tarn::rpc::CallResult invoke(const QString &method, const tarn::rpc::Bag &input,
                                 const tarn::rpc::ICallContext &) override
    {
        tarn::rpc::CallResult result;
        result.accepted = true;
        result.retCode = 2000;
        if (method == QLatin1String("convert"))
            result.output = input;
        return result;
    }
};

} // namespace

int main(int argc, char **argv)
{
    const QCoreApplication application(argc, argv);
    const QString tag = QString::fromLocal8Bit(argv[argc - 1]);
    const quint16 port = tarn::rpc::hubPort();
    tarn::rpc::Rpc rpc;
    if (!rpc.init({{tarn::rpc::keys::IP, QStringLiteral("127.0.0.1")},
                   {tarn::rpc::keys::Port, QString::number(port)},
                   {tarn::rpc::keys::ThreadNum, QStringLiteral("4")}})) {
        std::cerr << tarn::rpc::getRpcLastError().message << '\n';
        return 1;
    }
    const QSharedPointer<tarn::rpc::RpcAdapter> adapter = rpc.createAdapter(QStringLiteral("bench"));
    const QSharedPointer<tarn::rpc::IInvocable> echo(new Echo);
    if (!adapter->add(std::any(echo), QStringLiteral("IBenchEcho"), tag) || !adapter->active()) {
        std::cerr << tarn::rpc::getRpcLastError().message << '\n';
        return 1;
    }
    std::cout << "ready" << std::endl;
    std::string line;
    std::getline(std::cin, line);
    return 0;
}
