#pragma once
#include "tarn/client/IServiceAssistant.h"
#include "tarn/core/BagArgs.h"
#include "tarn/link/MessageWire.h"
#include "tarn/link/ServiceConnection.h"
#include "tarn/rpc/HubPort.h"
#include <QSharedPointer>
#include <atomic>

namespace tarn::client {

// Milliseconds. Windows wait for most calls on the GUI thread.
constexpr int LookUpTimeout = 3000; ///< the service answers from memory or its database
constexpr int ListTimeout = 5000;   ///< all pages of a list
constexpr int ActionTimeout = 5000;
constexpr int SignInTimeout = 30000; ///< not called on a GUI thread

/// The return codes of a service family for what the client library itself finds.
struct FamilyCodes
{
    int callFailed;
    int refused;
    int invalidArgs;
    int noConnection;
    QString unreached = QStringLiteral("%1"); ///< error text for callFailed and noConnection; %1: the reason
};

/// The family's code for a failure of the transport; otherwise the service's own code.
inline int codeOf(const rpc::CallResult &result, const FamilyCodes &codes)
{
    switch (result.error.code) {
    case rpc::RpcError::None:
        return !result.accepted && result.retCode == 0 ? codes.refused : result.retCode;
    case rpc::RpcError::Timeout:
    case rpc::RpcError::Failed:
        return codes.callFailed;
    case rpc::RpcError::InvalidArgument:
        return codes.invalidArgs;
    case rpc::RpcError::NotFound: // with a text the object exists: it is the service that has no such method
        return result.errorText.isEmpty() ? codes.noConnection : codes.refused;
    default:
        return codes.noConnection;
    }
}

/// The common part of the assistants: a connection to one service and the forwarding of a call. Any thread.
template <class Interface>
class Assistant : public Interface
{
public:
    virtual ~Assistant() = default;

    /// False when no hub runs yet; the assistant is usable all the same and connects with its first call.
    bool Initialize(const QString &, int, QString &errorText) override
    {
        m_connection.open();
        m_initialized = true;
        errorText.clear();
        return rpc::hubPort(&errorText) != 0;
    }

    void UnInitialize() override
    {
        m_initialized = false;
        m_connection.close();
    }

protected:
    using Late = link::ServiceConnection::Late;

    Assistant(QString tag, const FamilyCodes &codes)
        : m_tag(std::move(tag))
        , m_codes(codes)
    {
    }
    /// Sends input's whole bag to the service's method and writes the outcome into output.
    template <class Input, class Output>
    void forward(const char *method, const QSharedPointer<Input> &input, const QSharedPointer<Output> &output,
                 int timeoutMs, Late late = Late::Silent)
    {
        forwardBy(input, output, [&](const rpc::Bag &bag) {
            return m_connection.call(m_tag, QString::fromLatin1(method), bag, timeoutMs, late);
        });
    }

    /// The same for a list that may be larger than one message.
    /// @param key under which the values get the joined list; empty: it stays the bag's list
    template <class Input, class Output>
    void forwardPaged(const char *method, const QSharedPointer<Input> &input, const QSharedPointer<Output> &output,
                      int timeoutMs, const QString &key = QString())
    {
        forwardBy(input, output, [&](const rpc::Bag &bag) {
            auto result = m_connection.callPaged(m_tag, QString::fromLatin1(method), bag, timeoutMs);
            if (!key.isEmpty() && !result.output.list.isEmpty())
                result.output.values.insert(key, std::exchange(result.output.list, {}));
            return result;
        });
    }

private:
    template <class Input, class Output, class Call>
    void forwardBy(const QSharedPointer<Input> &input, const QSharedPointer<Output> &output, Call call)
    {
        if (!output)
            return;
        const auto *args = dynamic_cast<const core::InputArgs<Input> *>(input.data());
        if (!args)
            return deliver(m_codes.invalidArgs, QStringLiteral("the input was not made by this assistant"), {},
                           *output);
        if (!m_initialized)
            return deliver(m_codes.noConnection,
                           m_codes.unreached.arg(QLatin1String("the assistant is not initialized")), {}, *output);
        const rpc::CallResult result = call(args->bag());
        const int code = codeOf(result, m_codes);
        QString error = result.arrived() ? result.errorText : QString::fromStdString(result.error.message);
        if (!result.arrived() && (code == m_codes.callFailed || code == m_codes.noConnection))
            error = m_codes.unreached.arg(error);
        deliver(code, error, result.output, *output);
    }
    template <class Output>
    static void deliver(int code, const QString &error, const rpc::Bag &bag, Output &output)
    {
        for (auto it = bag.values.cbegin(); it != bag.values.cend(); ++it)
            output.SetValue(it.key(), it.value());
        output.SetValueList(bag.list);
        output.SetError(error);
        output.SetRetCode(code);
    }

    link::ServiceConnection m_connection;
    const QString m_tag;
    const FamilyCodes m_codes;
    std::atomic<bool> m_initialized{false};
};

} // namespace tarn::client
