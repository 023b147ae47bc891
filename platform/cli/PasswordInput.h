#pragma once
#include <QString>

namespace tarn::cli {

/// A new password: typed twice without echo where the standard input is a terminal, otherwise its first line.
/// @return false with error when there is none, it is no UTF-8, or the two differ
bool readPassword(QString *password, QString *error);

/// Overwrites a text that nothing else shares.
void wipe(QString *text);

} // namespace tarn::cli
