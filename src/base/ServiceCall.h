#pragma once
#include "base/Log.h"
#include "base/ServiceLease.h"
#include "tarn/keys/CloudKeys.h"
#include "tarn/keys/MessageKeys.h"
#include "tarn/keys/UpgradeKeys.h"
#include <QSharedPointer>
#include <QStringList>
#include <QVariantMap>
#include <type_traits>

class ICloudServiceAssistant;
class IMessageServiceAssistant;
class IUpgaredService_InputParam;
class IUpgaredService_OutputParam;
class IUpgaredSoftInfoService_InputParam;
class IUpgaredSoftInfoService_OutputParam;
class IUpgradeServiceAssistant;

/// The one road to a service:
///
///     const auto outcome = call(service::upgrade(), &IUpgradeServiceAssistant::StopUpgrade, {{key::SoftwareName, name}});
///     VT_LOG_OUTCOME(outcome, QStringLiteral("【取消下载】调用停止升级接口"), QStringLiteral("调用停止升级接口成功。"));
///
/// The functions that return an assistant (service::upgrade() and its neighbours) are in frame/VtServiceClient.h.
namespace tarn::visualized {

/// How a call to a service ended, in copies: holds nothing of the client library.
struct ServiceOutcome
{
    enum class Ending {
        NoAssistant,     ///< no client library, or the plug-in is stopping; no call was made
        NoArguments,     ///< the assistant created no argument objects; no call was made
        TransportFailed, ///< the call did not reach the service, or its answer did not come back
        Refused,         ///< the service answered with another code than success
        Accepted,
    };

    Ending ending = Ending::NoAssistant;
    int code = 0;
    QString error;
    QVariantMap values; ///< of the requested output keys; a key without a value has an invalid QVariant
    QVariantList list;  ///< the output's list

    bool accepted() const { return ending == Ending::Accepted; }
    bool transportFailed() const { return ending == Ending::TransportFailed; }
    /// Whether the service was called; false: there is no code and no error text.
    bool called() const { return ending >= Ending::TransportFailed; }

    /// The sentence about a call that was made and not accepted.
    /// @param where the bracketed place and the call, e.g. "【检测升级窗口】调用忽略升级接口"
    QString failure(const QString &where) const;
    /// The same with sentences of the caller, in which %1 is the code and %2 the error text.
    /// @param lost for a transport failure
    QString failure(const QString &lost, const QString &refused) const;
    /// For places whose log has the sentence about a refusal only: a failed transport counts as refused.
    ServiceOutcome transportAsRefusal() const;
    /// Use VT_LOG_OUTCOME. Nothing is logged when no call was made, or when it was accepted and success is empty.
    void log(const QMessageLogger &logger, const QString &where, const QString &success) const;
};

/// Logs the ending of a call under the name of the calling function: success at info level, failures at critical level.
#define VT_LOG_OUTCOME(outcome, where, success)                                                                        \
    (outcome).log(QMessageLogger(DllInfo::sDllName, __LINE__, __func__), where, success)

/// An assistant together with the lease that keeps it usable. Taken by value into tasks of other threads. The GUI thread
/// never holds one while it runs an event loop: destroy() may run inside and would wait for the lease in vain.
template <class Assistant>
class ServiceHandle
{
public:
    /// @param find returns the assistant, or null; called only when the lease was granted
    template <class Find>
    explicit ServiceHandle(Find find)
        : m_assistant(m_lease.isGranted() ? find() : nullptr)
    {
    }

    explicit operator bool() const { return m_assistant != nullptr; }
    Assistant *operator->() const { return m_assistant; }
    Assistant *get() const { return m_assistant; }

private:
    ServiceLease m_lease; // before m_assistant, which is looked up under it
    Assistant *m_assistant;
};
template <class Find>
ServiceHandle(Find find) -> ServiceHandle<std::remove_pointer_t<decltype(find())>>;

namespace servicecall {

/// A new argument object of the given interface.
template <class Argument, class Assistant>
QSharedPointer<Argument> create(Assistant *assistant)
{
    if constexpr (std::is_same_v<Argument, IUpgaredSoftInfoService_InputParam>)
        return assistant->CreateSoftInfoInputParam();
    else if constexpr (std::is_same_v<Argument, IUpgaredSoftInfoService_OutputParam>)
        return assistant->CreateSoftInfoOutputParam();
    else if constexpr (std::is_same_v<Argument, IUpgaredService_InputParam>)
        return assistant->CreateInputParam();
    else if constexpr (std::is_same_v<Argument, IUpgaredService_OutputParam>)
        return assistant->CreateOutputParam();
    else if constexpr (std::is_constructible_v<QSharedPointer<Argument>, decltype(assistant->CreateInputArgs())>)
        return assistant->CreateInputArgs();
    else
        return assistant->CreateOutputArgs();
}

template <class Assistant>
ServiceOutcome::Ending endingOf(int code)
{
    const auto judge = [code](int ok, bool transport) {
        using Ending = ServiceOutcome::Ending;
        return code == ok ? Ending::Accepted : transport ? Ending::TransportFailed : Ending::Refused;
    };
    if constexpr (std::is_same_v<Assistant, ICloudServiceAssistant>)
        return judge(cloud::code::Ok, cloud::code::isTransport(code));
    else if constexpr (std::is_same_v<Assistant, IMessageServiceAssistant>)
        return judge(message::code::Ok, message::code::isTransport(code));
    else if constexpr (std::is_same_v<Assistant, IUpgradeServiceAssistant>)
        return judge(upgrade::code::Ok, upgrade::code::isTransport(code));
    else
        static_assert(!sizeof(Assistant *), "a family without return codes");
}

template <class Input>
void fill(Input &input, const QVariantMap &values)
{
    for (auto it = values.cbegin(); it != values.cend(); ++it)
        input.SetValue(it.key(), it.value());
}

/// A copy of the characters: a text may lie in the client library's own data, which is unloaded one day.
QString ownCopy(const QString &text);

/// How a call of the assistant ended.
/// @param keys the output values to copy
template <class Assistant, class Output>
ServiceOutcome outcomeOf(Output &output, const QStringList &keys = {})
{
    ServiceOutcome outcome;
    outcome.code = output.GetRetCode();
    outcome.error = ownCopy(output.GetError());
    outcome.ending = endingOf<Assistant>(outcome.code);
    for (const QString &key : keys)
        outcome.values.insert(key, output.GetValue(key));
    outcome.list = output.GetValueList();
    return outcome;
}

} // namespace servicecall

/// Calls with an input object that the caller has filled. Blocks until the service has answered or the call has timed
/// out. Any thread.
/// @param keys the output values to copy
template <class Assistant, class Input, class Output>
ServiceOutcome callWith(const ServiceHandle<Assistant> &service,
                        void (Assistant::*operation)(QSharedPointer<Input>, QSharedPointer<Output>),
                        const QSharedPointer<Input> &input, const QStringList &keys = {})
{
    ServiceOutcome outcome;
    if (!service)
        return outcome;
    const auto output = servicecall::create<Output>(service.get());
    outcome.ending = ServiceOutcome::Ending::NoArguments;
    if (!input || !output)
        return outcome;
    (service.get()->*operation)(input, output);
    return servicecall::outcomeOf<Assistant>(*output, keys);
}

/// Calls with these input values.
template <class Assistant, class Input, class Output>
ServiceOutcome call(const ServiceHandle<Assistant> &service,
                    void (Assistant::*operation)(QSharedPointer<Input>, QSharedPointer<Output>),
                    const QVariantMap &values, const QStringList &keys = {})
{
    if (!service)
        return {};
    const auto input = servicecall::create<Input>(service.get());
    if (input)
        servicecall::fill(*input, values);
    return callWith(service, operation, input, keys);
}

} // namespace tarn::visualized
