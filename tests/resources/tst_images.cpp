// The compiled-in pictures: every name a window asks for resolves and shows a clean picture at every size and scale.

#include "support/LogCatcher.h"
#include <QtTest>
#include <QtWidgets>

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

// Whether something is painted and something left free.
bool isDrawing(const QPixmap &picture)
{
    const QImage image = picture.toImage().convertToFormat(QImage::Format_ARGB32);
    int opaque = 0;
    int clear = 0;
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x) {
            opaque += qAlpha(image.pixel(x, y)) > 200 ? 1 : 0;
            clear += qAlpha(image.pixel(x, y)) < 8 ? 1 : 0;
        }
    }
    const int all = image.width() * image.height();
    return opaque * 200 > all && clear * 100 > all;
}

} // namespace

class TestImages : public QObject
{
    Q_OBJECT
private slots:
    void pictureIsCleanAtEverySize_data()
    {
        QTest::addColumn<QString>("name");
        for (const QString &name : expectedNames())
            QTest::newRow(qPrintable(name)) << name;
    }

    void pictureIsCleanAtEverySize()
    {
        QFETCH(QString, name);
        const LogCatcher log;
        const QIcon icon(Folder + name);
        QVERIFY(!QPixmap(Folder + name).isNull());
        for (const int side : {16, 32, 48, 96}) {
            const QPixmap pixmap = icon.pixmap(side, side);
            // A picture that is not square keeps its shape, so only the longer side has to fit.
            QCOMPARE(qMax(pixmap.width(), pixmap.height()),
                     name == QLatin1String("RedNum.png") ? qMin(side, 38) : side);
            QVERIFY2(isDrawing(pixmap), qPrintable(QString::number(side)));
        }
        QCOMPARE(log.texts(QtWarningMsg), QStringList()); // of the SVG parser
    }

    void windowIconHasEverySize()
    {
        for (const char *name : {"VtSoftMgr.ico", "logo3.ico"}) {
            QImageReader reader(Folder + QLatin1String(name));
            QList<int> sides;
            do {
                const QImage image = reader.read();
                QVERIFY2(!image.isNull(), qPrintable(reader.errorString()));
                QCOMPARE(image.width(), image.height());
                sides.append(image.width());
            } while (reader.jumpToNextImage());
            std::sort(sides.begin(), sides.end());
            QCOMPARE(sides, (QList<int>{16, 24, 32, 48, 64, 128}));
        }
    }

    void spinnerTurnsForEver()
    {
        QMovie movie(QStringLiteral(":/image/progress.gif"));
        QVERIFY2(movie.isValid(), qPrintable(movie.lastErrorString()));
        QVERIFY(movie.frameCount() >= 12);
        QCOMPARE(movie.loopCount(), -1);
        for (int i = 0; i < movie.frameCount(); ++i)
            QVERIFY(movie.jumpToFrame(i));
        QVERIFY(movie.nextFrameDelay() > 0);
    }
};

QTEST_MAIN(TestImages)
#include "tst_images.moc"
