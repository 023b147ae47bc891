#include "tarn/link/PagedCall.h"
#include "tarn/link/MessageWire.h"
#include <QDeadlineTimer>

namespace tarn::link {

namespace {

constexpr int Attempts = 3;

int timeLeft(const QDeadlineTimer &deadline)
{
    return static_cast<int>(qMax<qint64>(1, deadline.remainingTime()));
}

// False: a page failed; result is then the failed call's.
bool fetchPages(ServiceConnection &connection, const QString &tag, const QString &method, const rpc::Bag &input,
                const QDeadlineTimer &deadline, rpc::CallResult *result)
{
    *result = connection.call(tag, method, input, timeLeft(deadline));
    while (true) {
        const QString cursor = result->output.values.take(wire::Cursor).toString();
        if (cursor.isEmpty())
            return true;
        rpc::Bag next = input;
        next.values.insert(wire::Cursor, cursor);
        const auto page = connection.call(tag, method, next, timeLeft(deadline));
        if (!page.arrived() || !page.accepted) {
            *result = page;
            return false;
        }
        result->output.list += page.output.list;
        const QVariant further = page.output.values.value(wire::Cursor);
        if (further.isValid())
            result->output.values.insert(wire::Cursor, further);
    }
}

} // namespace

rpc::CallResult callPaged(ServiceConnection &connection, const QString &tag, const QString &method,
                          const rpc::Bag &input, int limitMs)
{
    const QDeadlineTimer deadline(limitMs);
    rpc::CallResult result;
    for (int attempt = 0; attempt == 0 || (attempt < Attempts && !deadline.hasExpired()); ++attempt) {
        if (fetchPages(connection, tag, method, input, deadline, &result))
            return result;
    }
    result.output.list.clear();
    return result;
}

} // namespace tarn::link
