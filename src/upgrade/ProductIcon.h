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

/// Looks for a product's icon: the picture beside its executable ("bin/draw.png" for "bin/draw"), the icon
/// of the desktop entry that starts it, the icon of its file type. Reads regular files only, of limited size and number.
/// Any thread.
/// @param executable path; without this file nothing is found
/// @param pixels the size to which a larger picture is reduced
FoundIcon findProductIcon(const QString &executable, const QSize &pixels);

/// Shows the icon of a product, centred. A worker thread looks for it when the widget is first painted: the paths come from
/// outside, and their file system may not answer. GUI thread.
class ProductIcon final : public QLabel
{
public:
    /// @param side of the icon in pixels
    ProductIcon(const QString &executable, int side, QWidget *parent);

protected:
    void paintEvent(QPaintEvent *event) override;

private:
    void showFound(const FoundIcon &found);

    const QString m_executable;
    const int m_side;
    bool m_searched = false;
};

} // namespace tarn::visualized
