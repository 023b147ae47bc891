#include "widgets/Picture.h"
#include "base/RegularFile.h"
#include "base/WorkPool.h"
#include <QFile>
#include <QIcon>
#include <QImageReader>
#include <QPainter>
#include <QPixmapCache>

namespace tarn::visualized::picture {
namespace {

constexpr qint64 MaxFileBytes = qint64{64} * 1024 * 1024;
constexpr qint64 MaxPixels = qint64{16} * 1000 * 1000; // some formats are decoded whole first, at 4 to 8 bytes a pixel

bool isSelfContained(const QByteArray &format)
{
    return format != "svg" && format != "svgz"; // these may name other files
}

// Pictures among the resources, sharp at any size by the icon engine, and cached since every box shows some of them.
QPixmap loadResource(const QString &path, const QSize &pixels)
{
    const QString key = QStringLiteral("tarn:%1:%2x%3").arg(path).arg(pixels.width()).arg(pixels.height());
    QPixmap pixmap;
    if (!QPixmapCache::find(key, &pixmap)) {
        pixmap = ofIcon(QIcon(path), pixels);
        QPixmapCache::insert(key, pixmap);
    }
    return pixmap;
}

} // namespace

QImage read(const QString &path, const QSize &pixels)
{
    QFile file;
    if (!tarn::visualized::openRegular(file, path) || file.size() > MaxFileBytes)
        return QImage();
    QImageReader reader(&file);
    reader.setDecideFormatFromContent(true);
    const QSize full = reader.size();
    if (full.isEmpty() || qint64(full.width()) * full.height() > MaxPixels || !isSelfContained(reader.format()))
        return QImage();
    if (full.width() > pixels.width() || full.height() > pixels.height())
        reader.setScaledSize(full.scaled(pixels, Qt::KeepAspectRatio).expandedTo(QSize(1, 1)));
    const QImage image = reader.read(); // a file's frame may be larger than its header says
    const bool fits = image.width() <= pixels.width() && image.height() <= pixels.height();
    return fits ? image : image.scaled(pixels, Qt::KeepAspectRatio, Qt::SmoothTransformation);
}

void readLater(QObject *receiver, const QString &path, const QSize &box, qreal ratio,
               std::function<void(const QImage &)> done)
{
    outsideWork().run(
        receiver, [path, pixels = box * ratio](const WorkCancel &) { return read(path, pixels); },
        [ratio, done = std::move(done)](QImage image) {
            image.setDevicePixelRatio(ratio);
            done(image);
        });
}

QPixmap ofIcon(const QIcon &icon, const QSize &pixels)
{
    QPixmap pixmap(icon.actualSize(pixels));
    pixmap.fill(Qt::transparent);
    QPainter painter(&pixmap); // QIcon::pixmap() enlarges in a host with AA_UseHighDpiPixmaps
    icon.paint(&painter, pixmap.rect());
    return pixmap;
}

QPixmap load(const QString &path, const QSize &box, qreal ratio)
{
    if (path.isEmpty() || box.isEmpty())
        return QPixmap();
    const QSize pixels = box * ratio;
    QPixmap pixmap =
        path.startsWith(QLatin1String(":/")) ? loadResource(path, pixels) : QPixmap::fromImage(read(path, pixels));
    pixmap.setDevicePixelRatio(ratio);
    return pixmap;
}

QIcon windowIcon(const QString &path)
{
    QIcon icon;
    for (const int side : {16, 32, 48})
        icon.addPixmap(load(path, QSize(side, side)));
    return icon;
}

} // namespace tarn::visualized::picture
