// Paints every compiled-in picture at the sizes in use, at 96 and at 192 dpi, to one PNG file.

#include <QtWidgets>

namespace {

const QString Folder = QStringLiteral(":/images/images/");
constexpr int Column = 300;
constexpr int Row = 64;
constexpr int Columns = 4;
constexpr int Foot = 144; // the pictures in use, below the spinner's row

void paintIcon(QPainter &painter, const QIcon &icon, const QRect &area, int scale)
{
    const QPixmap pixmap = icon.pixmap(area.size() * scale);
    const QSize shown = pixmap.size() / scale;
    const QRect target(area.x() + (area.width() - shown.width()) / 2, area.y() + (area.height() - shown.height()) / 2,
                       shown.width(), shown.height());
    painter.drawPixmap(target, pixmap);
}

void paintCell(QPainter &painter, const QPoint &at, const QString &name, int scale)
{
    const QIcon icon(Folder + name);
    int x = at.x() + 12;
    for (const int side : {16, 20, 24, 48}) {
        paintIcon(painter, icon, QRect(x, at.y() + (48 - side) / 2, side, side), scale);
        x += side + 12;
    }
    painter.setPen(QColor(0x45, 0x4d, 0x5a));
    painter.drawText(QRect(x, at.y(), Column - (x - at.x()), 48), Qt::AlignVCenter | Qt::AlignLeft, name);
}

void paintSpinner(QPainter &painter, const QPoint &at, int scale)
{
    QMovie movie(QStringLiteral(":/image/progress.gif"));
    movie.setScaledSize(QSize(24, 24) * scale);
    for (int i = 0; i < movie.frameCount(); ++i) {
        movie.jumpToFrame(i);
        painter.drawImage(QRect(at.x() + 12 + i * 36, at.y() + 12, 24, 24), movie.currentImage());
    }
    painter.drawText(QRect(at.x() + 12 + movie.frameCount() * 36, at.y(), Column, 48), Qt::AlignVCenter,
                     QStringLiteral("progress.gif"));
}

// The empty list's drawing, and the badge over the button as the notification shows it.
void paintFoot(QPainter &painter, int top, int scale)
{
    painter.fillRect(QRect(0, top, Columns * Column, Foot), Qt::white);
    paintIcon(painter, QIcon(Folder + QStringLiteral("NoMsgTip.svg")), QRect(12, top + 12, 160, 120), scale);
    QRect place(220, top + 60, 24, 24);
    for (const QString &count : {QStringLiteral("1"), QStringLiteral("9"), QStringLiteral("50")}) {
        paintIcon(painter, QIcon(Folder + QStringLiteral("msgCenter.svg")), place, scale);
        const QRect badge(place.right() - 8, place.top() - 10, 19, 19);
        painter.drawPixmap(badge, QPixmap(Folder + QStringLiteral("RedNum.png")));
        painter.setPen(Qt::white);
        painter.drawText(badge, Qt::AlignCenter, count);
        place.translate(70, 0);
    }
}

QImage paintSheet(const QStringList &names, int scale)
{
    const int rows = (names.size() + Columns - 1) / Columns;
    QImage sheet(QSize(Columns * Column, (rows + 1) * Row + Foot) * scale, QImage::Format_RGB32);
    sheet.fill(Qt::white);
    QPainter painter(&sheet);
    painter.setRenderHint(QPainter::SmoothPixmapTransform);
    painter.setFont(QApplication::font());
    painter.scale(scale, scale);
    // The right half on the grey of the title bars and boxes.
    painter.fillRect(QRect(Columns * Column / 2, 0, Columns * Column / 2, rows * Row), QColor(238, 240, 245));
    for (int i = 0; i < names.size(); ++i)
        paintCell(painter, QPoint(i / rows * Column, i % rows * Row + 8), names.at(i), scale);
    painter.fillRect(QRect(0, rows * Row, Columns * Column, Row), QColor(0xf8, 0xf8, 0xf8));
    paintSpinner(painter, QPoint(0, rows * Row + 8), scale);
    paintFoot(painter, (rows + 1) * Row, scale);
    return sheet;
}

} // namespace

int main(int argc, char **argv)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    QFont font = QApplication::font();
    font.setPixelSize(12);
    QApplication::setFont(font);
    if (argc != 2) {
        qCritical("usage: contactsheet FILE.png");
        return 2;
    }
    QStringList names = QDir(Folder).entryList(QDir::Files, QDir::Name | QDir::IgnoreCase);
    names.removeAll(QStringLiteral("RedNum@2x.png"));
    const QImage small = paintSheet(names, 1);
    const QImage large = paintSheet(names, 2);
    QImage both(large.width(), small.height() + large.height(), QImage::Format_RGB32);
    both.fill(Qt::white);
    QPainter painter(&both);
    painter.drawImage(0, 0, small);
    painter.drawImage(0, small.height(), large);
    painter.end();
    if (both.save(QString::fromLocal8Bit(argv[1])))
        return 0;
    qCritical("contactsheet: cannot write %s", argv[1]);
    return 1;
}
