#pragma once
#include <QVariantMap>

/// Calls to the upgrade service that several windows make. GUI thread; they block until the service has answered, and log
/// the ending under the name of the calling function.
namespace tarn::visualized::upgradecalls {

void startDownload(const char *function, const QVariantMap &request);
/// Stops a product's task.
/// @param success what the log says of an accepted call; may be empty
/// @return whether the service accepted
bool stop(const char *function, const QString &product, const QString &success = QString());

} // namespace tarn::visualized::upgradecalls
