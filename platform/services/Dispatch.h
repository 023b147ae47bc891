#pragma once
#include "services/Log.h"
#include "services/RequestReader.h"
#include "tarn/rpc/IInvocable.h"
#include <QHash>

/// The steps from a method's name to its answer, which all services share.
namespace tarn::services {

/// One call of a service's method.
struct Request : RequestReader
{
    Request(const rpc::Bag &bag, const rpc::ICallContext &callContext)
        : RequestReader(bag.values)
        , list(bag.list)
        , context(callContext)
    {
    }
    const QVariantList &list;
    const rpc::ICallContext &context;
};

template <class Service>
using HandlerTable = QHash<QString, rpc::CallResult (Service::*)(const Request &)>;

/// The service's name in log lines and answers, and its return codes.
struct ServiceFamily
{
    QString name;
    int refused = 0;     ///< with the text of a Failure, which the handler has thrown
    int invalidArgs = 0; ///< with the text of a BadRequest
    QString broken{};    ///< for the user, in place of a Failure's text, which is logged; empty: the text is answered
};

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

/// Why an operation of the visualized service has shown nothing, with a log line; empty when it has.
/// @param subject the beginning of the log line
inline QString whyNotShown(const QString &subject, const rpc::CallResult &result)
{
    QString reason;
    if (!result.arrived())
        reason = QString::fromStdString(result.error.message);
    else if (!result.accepted)
        reason = result.errorText.isEmpty() ? QStringLiteral("the visualized service refused it") : result.errorText;
    if (!reason.isEmpty())
        qCWarning(servicesLog).noquote() << QStringLiteral("%1: %2").arg(subject, reason);
    return reason;
}

/// Calls `work` and returns its answer, or the refusal that an exception of it describes. For a Failure, the refusal
/// carries the family's text for the user, if the family has such a text.
template <class Work>
rpc::CallResult answerOf(const ServiceFamily &family, Work work)
{
    try {
        return work();
    } catch (const Refusal &refusal) {
        return refusedWith(refusal.code, refusal.text());
    } catch (const BadRequest &wrong) {
        return refusedWith(family.invalidArgs, wrong.text());
    } catch (const Failure &failure) {
        if (family.broken.isEmpty())
            return refusedWith(family.refused, failure.text());
        qCCritical(servicesLog).noquote()
            << QStringLiteral("the %1 service fails: %2").arg(family.name, failure.text());
        return refusedWith(family.refused, family.broken);
    }
}

/// Calls a method's handler. A refusal is logged.
template <class Service>
rpc::CallResult dispatch(Service *service, const HandlerTable<Service> &handlers, const ServiceFamily &family,
                         const QString &method, const Request &request)
{
    const auto handler = handlers.value(method, nullptr);
    if (!handler) {
        rpc::CallResult result;
        result.error = {rpc::RpcError::NotFound,
                        QStringLiteral("the %1 service has no method \"%2\"").arg(family.name, method).toStdString()};
        return result;
    }
    rpc::CallResult result = answerOf(family, [&] { return (service->*handler)(request); });
    if (!result.accepted)
        qCInfo(servicesLog).noquote()
            << QStringLiteral("%1 refused with %2: %3").arg(method, QString::number(result.retCode), result.errorText);
    return result;
}

} // namespace tarn::services
