#pragma once

#include <QImage>

// Pictures of the X display as the user sees it, taken from the server: foreign windows and what covers a window are in
// them. On another platform plug-in the results are null images.
namespace screenshot {

// The screen's area under the window, cut at the screen's edges; `id` may belong to another process.
QImage window(quint32 id);
// Writes a PNG and makes its folder; false when the image is null or the file cannot be written.
bool save(const QImage &image, const QString &path);

} // namespace screenshot
