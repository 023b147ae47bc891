#pragma once
#include <QString>

class QFile;

namespace tarn::visualized {

/// Opens a file for reading whose path came from outside, without ever waiting: a path may name a pipe or a device, and
/// it may name another file at any moment. Any thread.
/// @param error receives the reason; may be null
/// @return false when it cannot be opened or is no regular file
bool openRegular(QFile &file, const QString &path, QString *error = nullptr);

} // namespace tarn::visualized
