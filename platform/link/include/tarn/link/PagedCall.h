#pragma once
#include "tarn/link/ServiceConnection.h"

namespace tarn::link {

/// Fetches a list that may be larger than one message: calls method until the service has no further page and joins
/// the pages. When the service loses its place (it was restarted, the pause between two pages was too long) the whole
/// list is asked for again, three times at most.
/// @param limitMs deadline of all pages together, in milliseconds
/// @return the first page's result with the whole list, or the result of the call that failed, with an empty list
rpc::CallResult callPaged(ServiceConnection &connection, const QString &tag, const QString &method,
                          const rpc::Bag &input, int limitMs = ServiceConnection::DefaultTimeout);

} // namespace tarn::link
