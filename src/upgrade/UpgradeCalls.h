#pragma once
#include <QVariantMap>

namespace tarn::visualized::upgradecalls {

/// Has the upgrade service start a download and logs the ending. GUI thread; blocks until the service has answered.
void startDownload(const QVariantMap &request);

} // namespace tarn::visualized::upgradecalls
