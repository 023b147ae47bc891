#pragma once
#include <QImage>
#include <QPixmap>
#include <QSize>
#include <QStringList>

namespace tarn::visualized {

/// The icon of an installed program: a picture or, without one, names of icons in the theme, the better one first.
struct ProductIcon
{
    QImage picture;
    QStringList themeNames; ///< for QIcon::fromTheme() on the GUI thread

    bool isEmpty() const { return picture.isNull() && themeNames.isEmpty(); } ///< the program does not exist
    /// The icon to be shown. GUI thread.
    /// @param side in logical pixels
    QPixmap pixmap(int side, qreal ratio) const;
};

/// Looks for a program's icon: the picture beside the executable ("bin/draw.png" for "bin/draw"), the icon of the desktop
/// entry that starts it, the icon of its file type. Paths and files come from outside: reads regular files only, of limited
/// size and number. Can take long on a slow file system. Any thread.
/// @param executable a program without this file has no icon
/// @param pixels the size to which a larger picture is reduced
ProductIcon findProductIcon(const QString &executable, const QSize &pixels);

} // namespace tarn::visualized
