#include "widgets/Picture.h"
#include <QFileInfo>
#include <QIcon>
#include <QImageReader>
#include <algorithm>

namespace picture {
namespace {

constexpr qint64 MaxFileBytes = qint64{64} * 1024 * 1024;
constexpr qint64 MaxPixels = qint64{40} * 1000 * 1000; // 160 MB decoded

QPixmap loadFile(const QString &path, const QSize &pixels)
{
    const QFileInfo file(path);
    if (!file.isFile() || file.size() > MaxFileBytes)
        return QPixmap();
    QImageReader reader(path);
    reader.setDecideFormatFromContent(true);
    const QSize full = reader.size();
    if (full.isEmpty() || qint64(full.width()) * full.height() > MaxPixels)
        return QPixmap();
    if (full.width() > pixels.width() || full.height() > pixels.height())
        reader.setScaledSize(full.scaled(pixels, Qt::KeepAspectRatio).expandedTo(QSize(1, 1)));
    return QPixmap::fromImageReader(&reader);
}

} // namespace

QPixmap load(const QString &path, const QSize &box, qreal ratio)
{
    if (path.isEmpty() || box.isEmpty())
        return QPixmap();
    const QSize pixels = box * ratio;
    // Our own resources: the icon engine draws vector pictures sharp at any size.
    QPixmap pixmap = path.startsWith(QLatin1String(":/")) ? QIcon(path).pixmap(pixels) : loadFile(path, pixels);
    pixmap.setDevicePixelRatio(ratio);
    return pixmap;
}

} // namespace picture
