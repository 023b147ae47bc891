#pragma once
#include <QString>

/// How processes of the platform find the hub.
namespace tarn::hub {

/// QSharedMemory key of the segment that holds the hub's port: decimal ASCII text, NUL-terminated, in PortSegmentSize
/// bytes. It exists while a hub runs; a killed hub leaves it behind until the next process attaches and detaches. One
/// user of a machine has it, so tarn::rpc::hubPort() is asked first.
inline const QString PortSegmentKey = QStringLiteral("VtServicePort");
constexpr int PortSegmentSize = 16;

inline const QString HubInterface = QStringLiteral("IServiceHub"); ///< interface and tag of the hub itself
inline const QString HubProgram = QStringLiteral("ServiceHub");    ///< entry of the hub in "installation.ini"
inline const QString StartArgument = QStringLiteral("quickboot");  ///< the hub program's only argument

} // namespace tarn::hub
