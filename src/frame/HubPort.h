#pragma once
#include <QString>

/// The hub's port, as the hub publishes it.
namespace tarn::visualized::hubport {

/// Asks the user's runtime directory, then the shared-memory segment, where it waits for a second at most: any user of
/// the machine can hold the segment's lock. GUI thread.
/// @param errorText receives the reason when the result is 0
/// @return 1 to 65535, or 0 when no hub publishes one. A segment that a killed hub left behind counts as none and is
///         removed by the reading.
int read(QString &errorText);

} // namespace tarn::visualized::hubport
