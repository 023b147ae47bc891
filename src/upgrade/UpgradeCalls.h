#pragma once
#include "tarn/upgrade/IUpgradeServiceAssistant.h"
#include <QVariantMap>

/// The calls to the upgrade service that several windows make. GUI thread; a call blocks until the service has answered.
namespace upgradecalls {

/// The upgrade assistant; null while the client library is missing.
IUpgradeServiceAssistant *assistant();
/// A request with the values of these keys of the record; keys that the record lacks are left out.
IUpgradeServiceAssistant::SoftInfoInput request(IUpgradeServiceAssistant &assistant, const QVariantMap &record,
                                                const QStringList &keys);
/// Has the service start a download and logs how that ended.
void startDownload(IUpgradeServiceAssistant &assistant, const IUpgradeServiceAssistant::SoftInfoInput &request);
/// Has the service remember that a version is not to be offered again and logs how that ended.
void ignore(IUpgradeServiceAssistant &assistant, const IUpgradeServiceAssistant::SoftInfoInput &request);

} // namespace upgradecalls
