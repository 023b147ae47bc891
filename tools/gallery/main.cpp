// gallery --out DIR [--dpi N] [--only TEXT] [--check OTHER] [--foreign]: opens every registered scene and saves a picture
// of each, as NAME.png at 96 dpi and NAME@N.png at any other; then writes DIR/README.md, the index of all pictures that are
// there. --check compares each picture with that in the folder OTHER. --foreign: in a host with another style, palette and
// font and with a style sheet, none of which may show. Runs without a display. Exit status: 0, or 1 when a picture could not
// be taken or written, or differs, or 2 for a wrong command line.
#include "gallery/Gallery.h"
#include <QApplication>
#include <QCommandLineParser>
#include <QDeadlineTimer>
#include <QDir>
#include <QFutureWatcher>
#include <QImage>
#include <QTextStream>
#include <QWidget>
#include <QWindow>
#include <algorithm>
#include <memory>

namespace gallery {

QVector<Scene> &scenes()
{
    static QVector<Scene> all;
    return all;
}

void waitFor(const std::function<bool()> &condition)
{
    for (const QDeadlineTimer limit(5000); !condition() && !limit.hasExpired();)
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents, 50);
}

} // namespace gallery

using gallery::Scene;
using gallery::waitFor;

namespace {

constexpr int DesignDpi = 96;
constexpr int ClearlyOther = 32;        // of 255, in one of the colours: edges and glyphs differ between processors
constexpr double AllowedShare = 0.0001; // of a picture's pixels, less than a small icon takes
constexpr int FaintlyOther = 3;         // of 255, more than rounding makes
constexpr int GroundSize = 8;           // pixels; no edge or glyph fills a square of this size

QString fileName(const Scene &scene, int dpi)
{
    return dpi == DesignDpi ? QStringLiteral("%1.png").arg(scene.name)
                            : QStringLiteral("%1@%2.png").arg(scene.name, QString::number(dpi));
}

QImage pictureOf(const Scene &scene)
{
    const std::unique_ptr<QWidget> widget(scene.make());
    if (!widget)
        return QImage();
    if (!widget->focusWidget())
        widget->setFocus(); // else the first button takes it
    widget->show();
    waitFor([&] { return widget->windowHandle() && widget->windowHandle()->isExposed(); });
    QCoreApplication::sendPostedEvents();
    QCoreApplication::processEvents(); // the windows begin to read icons and pictures
    waitFor([&] { return widget->findChildren<QFutureWatcherBase *>().isEmpty(); });
    QCoreApplication::processEvents();
    QImage image(widget->size() * widget->devicePixelRatioF(), QImage::Format_ARGB32);
    image.setDevicePixelRatio(widget->devicePixelRatioF());
    image.fill(Qt::transparent);
    widget->render(&image, QPoint(), QRegion(), QWidget::DrawWindowBackground | QWidget::DrawChildren);
    return image;
}

int difference(QRgb one, QRgb other)
{
    return std::max({qAbs(qRed(one) - qRed(other)), qAbs(qGreen(one) - qGreen(other)), qAbs(qBlue(one) - qBlue(other)),
                     qAbs(qAlpha(one) - qAlpha(other))});
}

// Where the pictures differ; empty when the windows look the same.
QString differingPart(const QImage &one, const QImage &other)
{
    if (other.isNull())
        return QStringLiteral("no picture there");
    if (one.isNull() || one.size() != other.size())
        return QStringLiteral("another size");
    const int columns = one.width() / GroundSize + 1;
    QVector<int> faintlyOther(columns * (one.height() / GroundSize + 1)); // pixels in each square
    int clearlyOther = 0;
    for (int y = 0; y < one.height(); ++y) {
        for (int x = 0; x < one.width(); ++x) {
            const int byHowMuch = difference(one.pixel(x, y), other.pixel(x, y));
            clearlyOther += byHowMuch > ClearlyOther;
            faintlyOther[y / GroundSize * columns + x / GroundSize] += byHowMuch > FaintlyOther;
        }
    }
    if (clearlyOther > AllowedShare * one.width() * one.height())
        return QStringLiteral("%1 pixels").arg(clearlyOther);
    const int ground = faintlyOther.indexOf(GroundSize * GroundSize);
    if (ground < 0)
        return QString();
    return QStringLiteral("the ground at %1, %2").arg(ground % columns * GroundSize).arg(ground / columns * GroundSize);
}

bool takePicture(const Scene &scene, int dpi, const QDir &folder, const QString &compared)
{
    const QImage image = pictureOf(scene);
    const QString name = fileName(scene, dpi);
    if (image.isNull() || !image.save(folder.filePath(name), "PNG", 0)) {
        QTextStream(stderr) << "gallery: no picture of " << scene.name << '\n';
        return false;
    }
    const QString part = compared.isEmpty() ? QString() : differingPart(image, QImage(QDir(compared).filePath(name)));
    if (part.isEmpty())
        return true;
    QTextStream(stderr) << "gallery: " << folder.filePath(name) << " differs from that in " << compared << ": " << part
                        << '\n';
    return false;
}

bool writeIndex(const QVector<Scene> &scenes, const QDir &folder)
{
    QFile file(folder.filePath(QStringLiteral("README.md")));
    if (!file.open(QIODevice::WriteOnly))
        return false;
    QTextStream out(&file);
    out.setCodec("UTF-8");
    out << "# Gallery\n\nEvery window and widget with fixed data, drawn by `gallery --out docs/gallery [--dpi N]`. "
           "The picture shown is the one at 96 dpi; larger screens are linked. "
           "[By keyboard](keyboard.md): the keys of each window.\n";
    QString section;
    for (const Scene &scene : scenes) {
        if (!QFile::exists(folder.filePath(fileName(scene, DesignDpi))))
            continue;
        const QString part = scene.name.section(QLatin1Char('-'), 0, 0);
        if (part != section)
            out << "\n## " << part << '\n';
        section = part;
        out << "\n### " << scene.name.section(QLatin1Char('-'), 1) << "\n\n" << scene.caption;
        for (const int dpi : {120, 144, 192}) {
            if (QFile::exists(folder.filePath(fileName(scene, dpi))))
                out << QStringLiteral(" [%1](%2)").arg(QString::number(dpi), fileName(scene, dpi));
        }
        out << "\n\n![" << scene.name << "](" << fileName(scene, DesignDpi) << ")\n";
    }
    out.flush();
    return out.status() == QTextStream::Ok;
}

// The platform without a display says of each window what it cannot do.
void printUseful(QtMsgType, const QMessageLogContext &, const QString &text)
{
    if (!text.startsWith(QLatin1String("This plugin does not support")))
        QTextStream(stderr) << text << '\n';
}

// The application reads these when it starts.
void prepareEnvironment(const QString &dpi)
{
    qputenv("QT_FONT_DPI", dpi.toLatin1());
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    if (qEnvironmentVariableIsEmpty("FONTCONFIG_FILE"))
        qputenv("FONTCONFIG_FILE", GALLERY_FONTS);
    qputenv("QT_STYLE_OVERRIDE", "Fusion");
}

QString foreignSheet()
{
    return QStringLiteral("QPushButton{padding:9px;margin:2px;background-color:#444444;color:white;border-radius:8px;}"
                          "QLabel{color:red;}"
                          "QCheckBox{spacing:20px;color:red;}"
                          "QCheckBox::indicator{width:20px;height:20px;}"
                          "QLineEdit[frame=\"false\"]{border:2px solid green;padding:4px;}"
                          "QScrollBar:vertical{width:20px;}");
}

// What a host can set for all its windows.
void makeForeign(QApplication &application)
{
    application.setAttribute(Qt::AA_UseHighDpiPixmaps);
    application.setStyle(QStringLiteral("Windows"));
    QPalette dark(QColor(0x2B, 0x2B, 0x2B));
    dark.setColor(QPalette::Disabled, QPalette::Window, QColor(0xEF, 0xEF, 0xEF)); // Qt greys every icon by this one
    application.setPalette(dark);
    application.setFont(QFont(QStringLiteral("Noto Serif CJK SC"), 15, QFont::Bold));
    application.setStyleSheet(foreignSheet());
}

} // namespace

int main(int argc, char **argv)
{
    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral("Saves a picture of every window and widget."));
    const QCommandLineOption out(QStringLiteral("out"), QStringLiteral("Folder for the pictures."),
                                 QStringLiteral("DIR"));
    const QCommandLineOption dpi(QStringLiteral("dpi"), QStringLiteral("Dots per inch, 48 to 480; 96 by default."),
                                 QStringLiteral("N"), QString::number(DesignDpi));
    const QCommandLineOption only(QStringLiteral("only"), QStringLiteral("Only scenes whose name contains this."),
                                  QStringLiteral("TEXT"));
    const QCommandLineOption check(QStringLiteral("check"), QStringLiteral("Folder with pictures to compare with."),
                                   QStringLiteral("OTHER"));
    const QCommandLineOption foreign(QStringLiteral("foreign"), QStringLiteral("In a host with another look."));
    parser.addOptions({out, dpi, only, check, foreign});
    parser.addHelpOption();
    QStringList arguments;
    std::transform(argv, argv + argc, std::back_inserter(arguments),
                   [](const char *argument) { return QString::fromLocal8Bit(argument); });
    parser.parse(arguments);
    prepareEnvironment(parser.value(dpi));
    qInstallMessageHandler(printUseful);
    QApplication application(argc, argv);
    application.setQuitOnLastWindowClosed(false);
    parser.process(application);
    if (parser.isSet(foreign))
        makeForeign(application);
    const int dots = parser.value(dpi).toInt();
    if (!parser.isSet(out) || dots < 48 || dots > 480 || !QDir().mkpath(parser.value(out))) {
        QTextStream(stderr) << "gallery: needs --out DIR, and --dpi between 48 and 480\n";
        return 2;
    }

    QVector<Scene> scenes = gallery::scenes();
    std::sort(scenes.begin(), scenes.end(), [](const Scene &a, const Scene &b) { return a.name < b.name; });
    const QDir folder(parser.value(out));
    bool good = true;
    for (const Scene &scene : qAsConst(scenes)) {
        if (scene.name.contains(parser.value(only)))
            good = takePicture(scene, dots, folder, parser.value(check)) && good;
    }
    return writeIndex(scenes, folder) && good ? 0 : 1;
}
