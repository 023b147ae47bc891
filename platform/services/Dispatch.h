#pragma once
#include "services/Log.h"
#include "tarn/rpc/IInvocable.h"
#include <QHash>

/// What the services share on the way from a method's name to its answer.
namespace tarn::services {

template <class Service>
using Handler = rpc::CallResult (Service::*)(const rpc::Bag &);

template <class Service>
using HandlerTable = QHash<QString, Handler<Service>>;

inline rpc::CallResult refusedWith(int code, const QString &error)
{
    rpc::CallResult result;
    result.retCode = code;
    result.errorText = error;
    return result;
}

inline rpc::CallResult acceptedWith(int code, rpc::Bag output = {})
{
    rpc::CallResult result;
    result.accepted = true;
    result.retCode = code;
    result.output = std::move(output);
    return result;
}

/// Passes result on, with a log line when it is a refusal.
inline rpc::CallResult logged(const QString &method, rpc::CallResult result)
{
    if (!result.accepted)
        qCInfo(servicesLog).noquote()
            << QStringLiteral("%1 refused with %2: %3").arg(method, QString::number(result.retCode), result.errorText);
    return result;
}

/// Why an operation of the visualized service has shown nothing, with a log line; empty when it has.
inline QString whyNotShown(const QString &operation, const rpc::CallResult &result)
{
    QString reason;
    if (!result.arrived())
        reason = QString::fromStdString(result.error.message);
    else if (!result.accepted)
        reason = result.errorText.isEmpty() ? QStringLiteral("the visualized service refused it") : result.errorText;
    if (!reason.isEmpty())
        qCWarning(servicesLog).noquote() << QStringLiteral("%1: %2").arg(operation, reason);
    return reason;
}

/// @param name how the service is called in the answer to a method that it does not have
template <class Service>
rpc::CallResult dispatch(Service *service, const HandlerTable<Service> &handlers, const QString &name,
                         const QString &method, const rpc::Bag &input)
{
    if (const Handler<Service> handler = handlers.value(method, nullptr))
        return logged(method, (service->*handler)(input));
    rpc::CallResult result;
    result.error = {rpc::RpcError::NotFound,
                    QStringLiteral("the %1 service has no method \"%2\"").arg(name, method).toStdString()};
    return result;
}

} // namespace tarn::services
