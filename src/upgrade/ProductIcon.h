#pragma once
#include <QImage>
#include <QLabel>
#include <QStringList>

namespace tarn::visualized {

/// A program's icon as it is found: a picture, or else names of icons in the theme, the better one first.
struct FoundIcon
{
    QImage picture;
    QStringList themeNames;
};

/// Looks for a program's icon: the picture beside the executable ("bin/draw.png" for "bin/draw"), the icon of the desktop
/// entry that starts it, the icon of its file type. Reads regular files only, of limited size and number. Any thread.
/// @param executable a program without this file has no icon
/// @param pixels the size to which a larger picture is reduced
FoundIcon findProductIcon(const QString &executable, const QSize &pixels);

/// Shows the icon of a program, centred. A worker thread looks for it when the widget is first painted: the path comes from
/// outside, and its file system may not answer. GUI thread.
class ProductIcon final : public QLabel
{
public:
    /// @param side of the icon in pixels
    ProductIcon(const QString &executable, int side, QWidget *parent);

protected:
    void paintEvent(QPaintEvent *event) override;

private:
    void find();
    void showFound(const FoundIcon &found);

    QString m_executable; ///< empty once the search has begun
    const int m_side;
};

} // namespace tarn::visualized
