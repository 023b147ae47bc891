// Pictures whose path came from outside.
#include "widgets/Picture.h"
#include "fuzz/Target.h"

using namespace tarn::visualized;

TARN_FUZZ_TARGET("picture")
{
    const tarn::fuzz::Scratch scratch;
    const QString path = scratch.file("picture", input);
    const QSize box(64, 64);
    const QPixmap pixmap = picture::load(path, box); // calls picture::read()
    tarn::fuzz::require(pixmap.width() <= box.width() && pixmap.height() <= box.height(), "a picture fits its box");
}
