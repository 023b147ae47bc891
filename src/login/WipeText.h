#pragma once
#include <QString>

namespace tarn::visualized {

/// Overwrites and empties a secret, so that its characters do not stay in freed memory. A text whose buffer another
/// QString shares is only emptied. Best effort: copies of the toolkit and of the RPC layer are not reached. Any thread.
void wipeText(QString *text);

} // namespace tarn::visualized
