#include "support/LogCatcher.h"
#include <QtTest>
#include <QtWidgets>

class TestImages : public QObject
{
    Q_OBJECT
private slots:
    // Every ":/image..." in the sources exists, and each is used: a misspelt path would show at run time only.
    void everyPathIsAPicture()
    {
        QSet<QString> used;
        const QRegularExpression pattern("[\"(](:/image[^\")]*[^/\")])[\")]");
        QDirIterator files(TARN_SOURCE_DIR "/src", {"*.cpp", "*.h"}, QDir::Files, QDirIterator::Subdirectories);
        while (files.hasNext()) {
            QFile file(files.next());
            QVERIFY(file.open(QIODevice::ReadOnly));
            for (auto it = pattern.globalMatch(QString::fromUtf8(file.readAll())); it.hasNext();)
                used.insert(it.next().captured(1));
        }
        QVERIFY(used.size() > 20);
        for (const QString &path : qAsConst(used)) {
            const LogCatcher log;
            for (const int side : {16, 32, 96})
                QVERIFY2(isDrawing(QIcon(path).pixmap(side, side)) || path.endsWith(".gif"), qPrintable(path));
            QCOMPARE(log.texts(QtWarningMsg), QStringList()); // of the SVG parser
        }
        QDirIterator compiled(":/images", QDir::Files, QDirIterator::Subdirectories);
        while (compiled.hasNext())
            QVERIFY2(used.contains(compiled.next()) || compiled.filePath().contains("@2x"),
                     qPrintable(compiled.filePath() + " is not used"));
    }

    void spinnerTurnsForEver()
    {
        QMovie movie(":/image/progress.gif");
        QVERIFY2(movie.isValid(), qPrintable(movie.lastErrorString()));
        QCOMPARE(movie.loopCount(), -1);
        for (int i = 0; i < movie.frameCount(); ++i)
            QVERIFY(movie.jumpToFrame(i));
    }

private:
    // Whether something is painted and something left free.
    static bool isDrawing(const QPixmap &picture)
    {
        const QImage image = picture.toImage().convertToFormat(QImage::Format_ARGB32);
        int opaque = 0;
        int clear = 0;
        for (int i = 0; i < image.width() * image.height(); ++i) {
            const int alpha = qAlpha(image.pixel(i % image.width(), i / image.width()));
            opaque += alpha > 200 ? 1 : 0;
            clear += alpha < 8 ? 1 : 0;
        }
        return opaque * 200 > image.width() * image.height() && clear > 0;
    }
};

QTEST_MAIN(TestImages)
#include "tst_images.moc"
