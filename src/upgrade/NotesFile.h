#pragma once
#include <QByteArray>
#include <QFont>
#include <QString>
#include <memory>
#include <optional>

class QTextDocument;

/// @return name of the codec in which the bytes of a notes file are read: "UTF8" when they hold nothing that is invalid
///         in UTF-8, else "GBK". A file cut in the middle of a UTF-8 character is still UTF-8.
QByteArray GetCorrectUnicode(const QByteArray &bytes);

/// Release-notes files. Their paths and contents come from outside: nothing but a regular file is opened, and nothing
/// that a file refers to is fetched. Any thread.
namespace notes {

constexpr qint64 MaxFileSize = 16 * 1024 * 1024; ///< bytes that are shown; the rest of a larger file is left out

/// The text of the file; nothing when it is missing, unreadable or no regular file (the reason is logged).
std::optional<QString> readFile(const QString &path);

/// A document with the text, read as HTML; it belongs to the application's thread and may be dropped on any. Text whose
/// mark-up would take unbounded time or stack to lay out is shown as it stands.
std::shared_ptr<QTextDocument> makeDocument(const QString &text, const QFont &font);

/// Both in one; null when there is no text to show.
std::shared_ptr<QTextDocument> load(const QString &path, const QFont &font);

} // namespace notes
