#pragma once
#include <QImage>
#include <QString>

// Writes a picture of one colour. Returns its path.
inline QString savedPicture(const QString &path, const QSize &size, Qt::GlobalColor colour = Qt::red)
{
    QImage image(size, QImage::Format_RGB32);
    image.fill(colour);
    return image.save(path) ? path : QString();
}
