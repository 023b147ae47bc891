#include "widgets/Picture.h"
#include "base/RegularFile.h"
#include "base/WorkPool.h"
#include <QBuffer>
#include <QFile>
#include <QIcon>
#include <QImageReader>
#include <QPainter>
#include <QPixmapCache>
#include <QXmlStreamReader>

namespace tarn::visualized::picture {
namespace {

constexpr qint64 MaxFileBytes = qint64{64} * 1024 * 1024;
constexpr qint64 MaxPixels = qint64{16} * 1000 * 1000; // some formats are decoded whole first, at 4 to 8 bytes a pixel
// Drawings (SVG)
constexpr qint64 MaxDrawingBytes = 256 * 1024;
constexpr int MaxElements = 5000;
constexpr int MaxDepth = 64;
constexpr int MaxCopies = 8; // of other elements, which may hold copies

// Whether a drawing names nothing outside of it and is drawn at once. Its own parser would open the files that it names,
// expand entities, and draw copies of copies; it is called only after this.
bool isHarmlessDrawing(const QByteArray &bytes)
{
    QXmlStreamReader xml(bytes);
    int elements = 0;
    int copies = 0;
    int depth = 0;
    while (!xml.atEnd()) {
        const QXmlStreamReader::TokenType token = xml.readNext();
        if (token == QXmlStreamReader::ProcessingInstruction) // may name a style sheet, which the parser opens
            return false;
        depth += token == QXmlStreamReader::StartElement ? 1 : token == QXmlStreamReader::EndElement ? -1 : 0;
        if (token == QXmlStreamReader::StartElement) {
            if (xml.name() == QLatin1String("style")) // its rules are matched with every element
                return false;
            ++elements;
            copies += xml.name() == QLatin1String("use") ? 1 : 0;
            const QXmlStreamAttributes attributes = xml.attributes();
            for (const QXmlStreamAttribute &attribute : attributes) {
                if (attribute.name() == QLatin1String("href") && !attribute.value().startsWith(QLatin1Char('#')))
                    return false;
            }
        }
        if (elements > MaxElements || copies > MaxCopies || depth > MaxDepth || !xml.entityDeclarations().isEmpty())
            return false;
    }
    return !xml.hasError() && bytes.size() <= MaxDrawingBytes;
}

} // namespace

QImage read(const QString &path, const QSize &pixels)
{
    QFile file;
    if (!tarn::visualized::openRegular(file, path) || file.size() > MaxFileBytes)
        return QImage();
    QBuffer drawing; // holds the bytes that were judged, since the file may change meanwhile
    QImageReader reader(&file);
    reader.setDecideFormatFromContent(true);
    const QByteArray format = reader.format();
    const bool isDrawing = format == "svg";
    if (isDrawing) {
        drawing.setData(file.read(MaxDrawingBytes + 1));
        reader.setDevice(&drawing);
    }
    if (format == "svgz" || (isDrawing && !isHarmlessDrawing(drawing.data())))
        return QImage();
    const QSize full = reader.size();
    if (full.isEmpty() || (!isDrawing && qint64(full.width()) * full.height() > MaxPixels))
        return QImage();
    if (isDrawing || full.width() > pixels.width() || full.height() > pixels.height())
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
    const QString key = QStringLiteral("tarn:%1:%2x%3").arg(path).arg(pixels.width()).arg(pixels.height());
    QPixmap pixmap;
    if (!path.startsWith(QLatin1String(":/"))) {
        pixmap = QPixmap::fromImage(read(path, pixels));
    } else if (!QPixmapCache::find(key, &pixmap)) { // every box shows some of the resources
        pixmap = ofIcon(QIcon(path), pixels);       // sharp at any size
        QPixmapCache::insert(key, pixmap);
    }
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
