#pragma once
#include <QVariantMap>

/// Calls to the upgrade service that several windows make. GUI thread; they block until the service has answered, and log
/// the ending.
namespace tarn::visualized::upgradecalls {

void startDownload(const QVariantMap &request);
/// Stops a product's task.
/// @param function the caller's name for the log
/// @param success what the log says of an accepted call; may be empty
/// @return whether the service accepted
bool stop(const QString &product, const char *function, const QString &success = QString());

} // namespace tarn::visualized::upgradecalls
