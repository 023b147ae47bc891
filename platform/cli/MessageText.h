#pragma once
#include <QString>
#include <QVariantMap>

/// Messages as a person reads them in a terminal.
namespace tarn::cli {

/// Without control characters, which could drive the terminal.
QString printable(const QString &text);

/// A table with one line per message; wide characters keep the columns straight.
/// @param records as ListMessages gives them
QString messageTable(const QVariantList &records);

/// Everything about one message.
QString messageDetails(const QVariantMap &record);

} // namespace tarn::cli
