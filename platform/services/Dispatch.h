#pragma once
#include "services/ValueReader.h"
#include "tarn/link/MessageWire.h"
#include "tarn/rpc/IInvocable.h"
#include <QDataStream>
#include <QHash>
#include <functional>

/// The steps from a method's name to its answer, which all services share.
namespace tarn::services {

/// One call of a service's method.
struct Request : ValueReader
{
    Request(const rpc::Bag &bag, const rpc::ICallContext &callContext)
        : ValueReader(bag.values)
        , list(bag.list)
        , context(callContext)
    {
    }
    const QVariantList &list;
    const rpc::ICallContext &context;
};

/// The service's name in log lines and answers, and its return codes.
struct ServiceFamily
{
    QString name;
    int ok = 0;
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

/// An answer with the family's code for success.
inline rpc::CallResult ok(const QVariantMap &values = {}, const QVariantList &list = {})
{
    rpc::CallResult result;
    result.accepted = true;
    result.output = {values, list};
    return result;
}

/// Calls an operation of the visualized service.
using Presenter = std::function<rpc::CallResult(const QString &operation, const rpc::Bag &)>;

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

/// A service whose methods are member functions of `Service`. A refusal is logged.
template <class Service>
class Dispatcher : public rpc::IInvocable
{
public:
    using Handler = rpc::CallResult (Service::*)(const Request &);
    using Handlers = QHash<QString, Handler>;

    Dispatcher(ServiceFamily family, const Handlers &handlers)
        : m_family(std::move(family))
        , m_handlers(handlers)
    {
    }

    rpc::CallResult invoke(const QString &method, const rpc::Bag &input, const rpc::ICallContext &context) final
    {
        rpc::CallResult result;
        const auto handler = m_handlers.value(method, nullptr);
        if (!handler) {
            const QString error = QStringLiteral("the %1 service has no method \"%2\"").arg(m_family.name, method);
            result.error = {rpc::RpcError::NotFound, error.toStdString()};
            return result;
        }
        result = answer(handler, Request(input, context));
        if (result.accepted && result.retCode == 0)
            result.retCode = m_family.ok;
        if (!result.accepted)
            qCInfo(servicesLog).noquote() << QStringLiteral("%1 refused with %2: %3")
                                                 .arg(method, QString::number(result.retCode), result.errorText);
        return result;
    }

private:
    rpc::CallResult answer(Handler handler, const Request &request)
    {
        try {
            return (static_cast<Service *>(this)->*handler)(request);
        } catch (const Refusal &refusal) {
            return refusedWith(refusal.code, refusal.text());
        } catch (const BadRequest &wrong) {
            return refusedWith(m_family.invalidArgs, wrong.text());
        } catch (const Failure &failure) {
            if (m_family.broken.isEmpty())
                return refusedWith(m_family.refused, failure.text());
            qCCritical(servicesLog).noquote()
                << QStringLiteral("the %1 service fails: %2").arg(m_family.name, failure.text());
            return refusedWith(m_family.refused, m_family.broken);
        }
    }

    const ServiceFamily m_family;
    const Handlers m_handlers;
};

/// The failure for a cursor that no page has named.
inline Failure noSuchPlace(const QString &cursor)
{
    return Failure(QStringLiteral("no such place in the list: \"%1\"; ask for the list again").arg(cursor.left(100)));
}

/// One page of a list that may be too long for one message of the RPC layer. A page that is not the last names its
/// last record's place: the next page begins behind it.
class Page
{
public:
    static constexpr int MaxRecords = 1000;

    /// @param maxBytes a larger record is a page by itself. A value takes at least 6 bytes.
    explicit Page(int maxBytes = 1536 * 1024)
        : m_maxBytes(maxBytes)
    {
    }

    /// @return false when the record belongs to the next page
    bool add(const QVariantMap &record, const QString &place)
    {
        QByteArray bytes; // at most twice as many in a message, which has room for 4 MiB
        QDataStream stream(&bytes, QIODevice::WriteOnly);
        stream << record;
        m_bytes += bytes.size();
        if (!list.isEmpty() && (list.size() == MaxRecords || m_bytes > m_maxBytes)) {
            values.insert(link::wire::Cursor, m_last);
            return false;
        }
        list.append(record);
        m_last = place;
        return true;
    }

    QVariantMap values; ///< of the answer; empty for the last page
    QVariantList list;

private:
    QString m_last;
    const int m_maxBytes;
    int m_bytes = 0;
};

} // namespace tarn::services
