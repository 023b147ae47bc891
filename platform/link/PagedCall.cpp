#include "tarn/link/PagedCall.h"
#include "tarn/link/MessageWire.h"

namespace tarn::link {

namespace {

constexpr int Attempts = 3;

// False: a page failed; result is then the failed call's.
bool fetchPages(ServiceConnection &connection, const QString &tag, const QString &method, const rpc::Bag &input,
                rpc::CallResult *result)
{
    *result = connection.call(tag, method, input);
    while (true) {
        const QString cursor = result->output.values.take(wire::Cursor).toString();
        if (cursor.isEmpty())
            return true;
        rpc::Bag next = input;
        next.values.insert(wire::Cursor, cursor);
        const auto page = connection.call(tag, method, next);
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
                          const rpc::Bag &input)
{
    rpc::CallResult result;
    for (int attempt = 0; attempt < Attempts; ++attempt) {
        if (fetchPages(connection, tag, method, input, &result))
            return result;
    }
    result.output.list.clear();
    return result;
}

} // namespace tarn::link
