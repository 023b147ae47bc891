#pragma once
#include <QString>

/// Rich text from outside, reduced to what cannot hurt: QTextDocument hangs or crashes on nested or padded tables,
/// fetches images and loses minutes on megabyte-long words.
namespace safehtml {

/// Keeps the simple text tags (bold, lists, headings, paragraphs, ...) without attributes, apart from a colour. Table
/// cells become plain text, images, links, style sheets and scripts go, and a "<" that opens no tag is shown.
/// @param maxChars longer content is cut and ends in "……"
QString sanitized(const QString &content, int maxChars);

} // namespace safehtml
