#pragma once

#include <QIcon>
#include <QImage>
#include <functional>

/// Pictures whose path came from outside, and may name a pipe, a huge file or a small one that decodes to a huge image:
/// only regular files with a sane header are opened, and they are decoded at the size that is shown.
namespace tarn::visualized::picture {

/// The picture, as large as fits into the box with its proportions kept; never enlarged. Null when it cannot be shown.
/// @param path a file or a resource (":/...")
/// @param box size in logical pixels
/// @param ratio device pixels per logical pixel of where it will be shown
QPixmap load(const QString &path, const QSize &box, qreal ratio = 1.0);

/// The same for work on another thread, in device pixels. An SVG file fills the box; it is read when it names nothing
/// outside of it, is not compressed and has at most 256 KiB. Any thread.
QImage read(const QString &path, const QSize &pixels);

/// Reads the picture on a thread of outsideWork(), since its file system may not answer.
/// @param box size in logical pixels
/// @param ratio device pixels per logical pixel; the image has it
/// @param done called on the GUI thread unless the receiver has been destroyed; a null image when it cannot be read
void readLater(QObject *receiver, const QString &path, const QSize &box, qreal ratio,
               std::function<void(const QImage &)> done);

/// The icon as large as it fits into the box, which is in device pixels. GUI thread.
QPixmap ofIcon(const QIcon &icon, const QSize &pixels);

/// An icon for a window, in the sizes that task bars and window lists show. Every window carries all sizes to the X server
/// when it opens, so the large ones of an .ico are left out.
QIcon windowIcon(const QString &path);

} // namespace tarn::visualized::picture
