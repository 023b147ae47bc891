#pragma once
#include <QString>

namespace tarn::link {

/// The port that the hub publishes in shared memory; attaches, reads and detaches. Any thread.
/// @param error receives the reason when the result is 0
/// @return 0 when no hub has published a port
quint16 readHubPort(QString *error = nullptr);

} // namespace tarn::link
