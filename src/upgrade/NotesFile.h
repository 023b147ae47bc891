#pragma once
#include <QByteArray>
#include <QFont>
#include <QString>
#include <memory>
#include <optional>

class QTextDocument;
class QThread;

/// @return name of the codec in which the bytes of a notes file are read: "UTF8" when they hold nothing that is invalid
///         in UTF-8, else "GBK". A file cut in the middle of a UTF-8 character is still UTF-8.
QByteArray GetCorrectUnicode(const QByteArray &bytes);

/// Release-notes files. Their paths and contents come from outside: only a regular file is opened, nothing that a file
/// refers to is fetched, and no page takes the GUI thread for long. Any thread.
namespace tarn::visualized::notes {

constexpr qint64 MaxFileSize = 4 * 1024 * 1024; ///< bytes that are shown; the rest of a larger file is left out

/// @return the text of the file; nothing when it is missing, unreadable or no regular file (the reason is logged)
std::optional<QString> readFile(const QString &path);

/// A page read as HTML. A page that would take the GUI thread too long is shown as plain text: its words when its markup
/// could be read, else the file's characters.
/// @param owner the thread on which the document will be used; it may be dropped on any
std::shared_ptr<QTextDocument> makeDocument(const QString &text, const QFont &font, QThread *owner);

/// The first screens of a long page, to be shown until the whole page is made; null for a short page, or when its beginning
/// shows no text.
std::shared_ptr<QTextDocument> makeBeginning(const QString &text, const QFont &font, QThread *owner);

} // namespace tarn::visualized::notes
