#include "widgets/SafeDocument.h"

#include "widgets/Picture.h"

#include <QImage>
#include <QTextOption>
#include <QUrl>

namespace tarn::visualized {
namespace {

QImage transparentPixel()
{
    QImage pixel(1, 1, QImage::Format_ARGB32_Premultiplied);
    pixel.fill(Qt::transparent);
    return pixel;
}

QString localPath(const QUrl &name)
{
    return name.isLocalFile() ? name.toLocalFile() : name.scheme().isEmpty() ? name.path() : QString();
}

} // namespace

SafeDocument::SafeDocument(QObject *parent)
    : QTextDocument(parent)
{
    setUndoRedoEnabled(false);
    setDocumentMargin(0);
    QTextOption option;
    option.setWrapMode(QTextOption::WrapAtWordBoundaryOrAnywhere);
    setDefaultTextOption(option);
}

void SafeDocument::showPictures(const QSize &box, qreal ratio)
{
    m_box = box;
    m_ratio = ratio;
}

// An image always gets a pixel: without one the layout would load the name as a file itself.
QVariant SafeDocument::loadResource(int type, const QUrl &name)
{
    if (type != ImageResource)
        return QString();
    if (!m_box.isEmpty() && !m_asked.contains(name.toString())) { // the reducer bounds their number
        m_asked.insert(name.toString());
        picture::readLater(this, localPath(name), m_box, m_ratio, [this, name](const QImage &image) {
            if (image.isNull())
                return;
            addResource(ImageResource, name, image);
            markContentsDirty(0, characterCount());
            emit pictureRead();
        });
    }
    return transparentPixel();
}

} // namespace tarn::visualized
