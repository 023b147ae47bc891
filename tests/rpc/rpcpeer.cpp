// rpcpeer PORT TAG: serves one object of interface "ITest" until its standard input ends.
#include "tarn/rpc/IInvocable.h"
#include "tarn/rpc/Rpc.h"
#include <QCoreApplication>
#include <QSemaphore>
#include <atomic>
#include <cstdio>
#include <stdexcept>
#include <unistd.h>

using namespace tarn::rpc;

namespace {

CallResult invoke(const QString &method, const Bag &input, const ICallContext &context)
{
    static std::atomic_int started = 0;
    static std::atomic_int cancelled = 0;
    CallResult result;
    result.accepted = true;
    if (method == QLatin1String("Echo")) {
        result.retCode = 42;
        result.errorText = QStringLiteral("回声");
        result.output = input;
    } else if (method == QLatin1String("Pid")) {
        result.output.values.insert(QStringLiteral("pid"), QCoreApplication::applicationPid());
    } else if (method == QLatin1String("Die")) {
        ::_exit(9);
    } else if (method == QLatin1String("Throw")) {
        throw std::runtime_error("thrown on purpose");
    } else if (method == QLatin1String("ThrowInt")) {
        throw 1;
    } else if (method == QLatin1String("Huge")) {
        result.output.values.insert(QStringLiteral("x"), QByteArray(5 * 1024 * 1024, 'x'));
    } else if (method == QLatin1String("UntilCancelled")) {
        QSemaphore never;
        ++started;
        while (!context.isCancelled())
            never.tryAcquire(1, 5);
        ++cancelled;
    } else if (method == QLatin1String("Started")) {
        result.retCode = started;
    } else if (method == QLatin1String("Cancelled")) {
        result.retCode = cancelled;
    } else {
        result.error.code = RpcError::NotFound;
    }
    return result;
}

} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    const QStringList arguments = app.arguments();
    if (arguments.size() < 3)
        return 2;
    Rpc rpc;
    if (!rpc.init({{keys::Port, arguments.at(1)}})) {
        std::printf("no hub: %s\n", getRpcLastError().message.c_str());
        return 1;
    }
    const auto adapter = rpc.createAdapter(QStringLiteral("peer"));
    const QSharedPointer<IInvocable> object(new Invocable(invoke));
    if (!adapter->add(std::any(object), QStringLiteral("ITest"), arguments.at(2)) || !adapter->active()) {
        std::printf("refused: %s\n", getRpcLastError().message.c_str());
        return 1;
    }
    std::printf("ready %d\n", static_cast<int>(getpid()));
    std::fflush(stdout);
    char byte = 0;
    while (::read(0, &byte, 1) > 0) {
    }
    return 0;
}
