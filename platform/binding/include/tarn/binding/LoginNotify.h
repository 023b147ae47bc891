#pragma once
#include <QString>

namespace tarn::binding {

/// Interface name of the object that a caller of "ShowCloudLogin" is notified by (ICloudLoginNotify).
inline const QString LoginNotifyInterface = QStringLiteral("ICloudLoginNotify");

/// Key of that operation's input bag under which the object travels, as an ObjectRef. The operation itself does not see
/// it.
inline const QString NotifyKey = QStringLiteral("$notify");

} // namespace tarn::binding
