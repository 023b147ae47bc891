// The compiled-in pictures: every name a window asks for resolves and shows a clean picture at every size and scale.

#include <QSvgRenderer>
#include <QtTest>
#include <QtWidgets>

#include <algorithm>

namespace {

const QString Folder = QStringLiteral(":/images/images/");

QStringList expectedNames()
{
    return {"NoMsgTip.svg", "ReadAll.svg",     "RedNum.png",  "Unread.svg",       "VtSoftMgr.ico", "cancel.svg",
            "close3.svg",   "closeEye.svg",    "code.svg",    "delete.svg",       "error.png",     "expand.svg",
            "gather.svg",   "lock.svg",        "logo3.ico",   "max2.png",         "min2.png",      "msgCenter.svg",
            "normal.png",   "notifyClose.svg", "openEye.svg", "phone.svg",        "qq.svg",        "question.png",
            "quit.svg",     "restore2.png",    "success.png", "upgrade_logo.svg", "user.svg",      "warning.png",
            "weixin.svg"};
}

struct Coverage
{
    double opaque = 0; // shares of all pixels
    double clear = 0;
};

Coverage measure(const QImage &source)
{
    const QImage image = source.convertToFormat(QImage::Format_ARGB32);
    Coverage result;
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x) {
            const QRgb pixel = image.pixel(x, y);
            result.opaque += qAlpha(pixel) > 200 ? 1 : 0;
            result.clear += qAlpha(pixel) < 8 ? 1 : 0;
        }
    }
    const double all = qMax(1, image.width() * image.height());
    return {result.opaque / all, result.clear / all};
}

// The digit is as red as the disc, so that only the disc's shape is seen.
QString badgeSheet()
{
    return QStringLiteral("QLabel{border-image: url(:/images/images/RedNum.png);color: #e54545;}");
}

QStringList g_warnings;

void collect(QtMsgType type, const QMessageLogContext &, const QString &text)
{
    if (type != QtDebugMsg && type != QtInfoMsg)
        g_warnings.append(text);
}

} // namespace

class TestImages : public QObject
{
    Q_OBJECT
    QtMessageHandler m_before = nullptr;

private slots:
    void init()
    {
        g_warnings.clear();
        m_before = qInstallMessageHandler(collect);
    }
    void cleanup()
    {
        qInstallMessageHandler(m_before);
        QVERIFY2(g_warnings.isEmpty(), qPrintable(g_warnings.join('\n')));
    }

    void pictureIsCleanAtEverySize_data();
    void pictureIsCleanAtEverySize();
    void drawingFillsItsGrid_data();
    void drawingFillsItsGrid();
    void pairsDiffer_data();
    void pairsDiffer();
    void windowIconHasEverySize_data();
    void windowIconHasEverySize();
    void badgeIsRoundWhenStretched();
    void spinnerTurnsForEver();
};

void TestImages::pictureIsCleanAtEverySize_data()
{
    QTest::addColumn<QString>("name");
    for (const QString &name : expectedNames())
        QTest::newRow(qPrintable(name)) << name;
}

void TestImages::pictureIsCleanAtEverySize()
{
    QFETCH(QString, name);
    const QIcon icon(Folder + name);
    QVERIFY(!QPixmap(Folder + name).isNull());
    for (const int side : {16, 24, 48}) {
        for (const int scale : {1, 2}) {
            const QSize size = QSize(side, side) * scale;
            const QPixmap pixmap = icon.pixmap(size);
            // A picture that is not square keeps its shape, so only the longer side has to fit.
            const QSize shown = pixmap.size() / pixmap.devicePixelRatio();
            const int expected = name == QLatin1String("RedNum.png") ? qMin(size.width(), 38) : size.width();
            QCOMPARE(qMax(shown.width(), shown.height()), expected);
            const Coverage coverage = measure(pixmap.toImage());
            const QByteArray where = QStringLiteral("%1 px: opaque %2, clear %3")
                                         .arg(size.width())
                                         .arg(coverage.opaque)
                                         .arg(coverage.clear)
                                         .toUtf8();
            QVERIFY2(coverage.opaque > 0.005, where.constData());
            QVERIFY2(coverage.clear > 0.01, where.constData());
        }
    }
}

void TestImages::drawingFillsItsGrid_data()
{
    QTest::addColumn<QString>("path");
    for (const QString &name : expectedNames()) {
        if (name.endsWith(QLatin1String(".svg")))
            QTest::newRow(qPrintable(name)) << Folder + name;
    }
}

// What a drawing paints lies inside its view box with room for antialiasing: nothing is cut off at the border.
void TestImages::drawingFillsItsGrid()
{
    QFETCH(QString, path);
    QSvgRenderer renderer(path);
    QVERIFY(renderer.isValid());
    const QSizeF box = renderer.viewBoxF().size();
    QVERIFY(box == QSizeF(24, 24) || box == QSizeF(160, 120));
    QImage image((box * 4).toSize(), QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    renderer.render(&painter);
    painter.end();
    QRegion border(image.rect());
    border -= image.rect().adjusted(2, 2, -2, -2);
    for (const QRect &part : border)
        QCOMPARE(measure(image.copy(part)).clear, 1.0);
}

void TestImages::pairsDiffer_data()
{
    QTest::addColumn<QString>("one");
    QTest::addColumn<QString>("other");
    QTest::newRow("password") << "openEye.svg"
                              << "closeEye.svg";
    QTest::newRow("row") << "expand.svg"
                         << "gather.svg";
    QTest::newRow("window") << "max2.png"
                            << "restore2.png";
    QTest::newRow("sign-in") << "weixin.svg"
                             << "qq.svg";
    QTest::newRow("notice and error") << "normal.png"
                                      << "error.png";
    QTest::newRow("notice and question") << "normal.png"
                                         << "question.png";
}

// Two pictures that one control swaps must be told apart at the smallest size, not by colour alone.
void TestImages::pairsDiffer()
{
    QFETCH(QString, one);
    QFETCH(QString, other);
    const QImage left = QIcon(Folder + one).pixmap(16, 16).toImage().convertToFormat(QImage::Format_Grayscale8);
    const QImage right = QIcon(Folder + other).pixmap(16, 16).toImage().convertToFormat(QImage::Format_Grayscale8);
    QCOMPARE(left.size(), right.size());
    int different = 0;
    for (int y = 0; y < left.height(); ++y) {
        for (int x = 0; x < left.width(); ++x)
            different += qAbs(qGray(left.pixel(x, y)) - qGray(right.pixel(x, y))) > 40 ? 1 : 0;
    }
    QVERIFY2(different >= 12, qPrintable(QString::number(different)));
}

void TestImages::windowIconHasEverySize_data()
{
    QTest::addColumn<QString>("path");
    QTest::newRow("message box") << Folder + "VtSoftMgr.ico";
    QTest::newRow("sign-in") << Folder + "logo3.ico";
}

void TestImages::windowIconHasEverySize()
{
    QFETCH(QString, path);
    QImageReader reader(path);
    QList<int> sides;
    do {
        const QImage image = reader.read();
        QVERIFY2(!image.isNull(), qPrintable(reader.errorString()));
        QCOMPARE(image.width(), image.height());
        QCOMPARE(qAlpha(image.pixel(0, 0)), 0);
        sides.append(image.width());
    } while (reader.jumpToNextImage());
    std::sort(sides.begin(), sides.end());
    QCOMPARE(sides, (QList<int>{16, 24, 32, 48, 64, 128}));
}

void TestImages::badgeIsRoundWhenStretched()
{
    QLabel label(QStringLiteral("5"));
    label.setStyleSheet(badgeSheet());
    label.setFixedSize(19, 19);
    QImage image(label.size(), QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    label.render(&image, QPoint(), QRegion(), QWidget::DrawChildren);
    for (const QPoint &corner : {QPoint(0, 0), QPoint(18, 0), QPoint(0, 18), QPoint(18, 18)})
        QVERIFY(qAlpha(image.pixel(corner)) < 8);
    for (const QPoint &edge : {QPoint(9, 1), QPoint(17, 9), QPoint(9, 17), QPoint(1, 9)})
        QVERIFY(QColor(image.pixel(edge)).red() > 200 && qAlpha(image.pixel(edge)) > 200);
}

void TestImages::spinnerTurnsForEver()
{
    QMovie movie(QStringLiteral(":/image/progress.gif"));
    QVERIFY2(movie.isValid(), qPrintable(movie.lastErrorString()));
    QVERIFY(movie.frameCount() >= 12);
    QCOMPARE(movie.loopCount(), -1);
    movie.setScaledSize(QSize(24, 24));
    QImage previous;
    int turn = 0;
    for (int i = 0; i < movie.frameCount(); ++i) {
        QVERIFY(movie.jumpToFrame(i));
        const QImage frame = movie.currentImage();
        const Coverage coverage = measure(frame);
        // The hole and the corners stay clear in each frame: nothing of the frame before is left standing.
        QCOMPARE(qAlpha(frame.pixel(12, 12)), 0);
        QVERIFY(coverage.opaque > 0.15 && coverage.clear > 0.3);
        QVERIFY(frame != previous);
        previous = frame;
        turn += movie.nextFrameDelay();
    }
    QVERIFY2(turn >= 500 && turn <= 2000, qPrintable(QString::number(turn)));
}

QTEST_MAIN(TestImages)
#include "tst_images.moc"
