#include "support/LogCatcher.h"
#include <QtTest>
#include <QtWidgets>

namespace {

// Every ":/image..." in the sources: a misspelt path would show at run time only.
QMap<QString, QString> usedPaths()
{
    QMap<QString, QString> fileOfPath;
    const QRegularExpression pattern(QStringLiteral("[\"(](:/image[^\")]*[^/\")])[\")]"));
    QDirIterator files(QStringLiteral(TARN_SOURCE_DIR "/src"), {QStringLiteral("*.cpp"), QStringLiteral("*.h")},
                       QDir::Files, QDirIterator::Subdirectories);
    while (files.hasNext()) {
        QFile file(files.next());
        if (!file.open(QIODevice::ReadOnly))
            return {};
        for (auto it = pattern.globalMatch(QString::fromUtf8(file.readAll())); it.hasNext();)
            fileOfPath.insert(it.next().captured(1), file.fileName());
    }
    return fileOfPath;
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
    void usedPathsExist()
    {
        const auto used = usedPaths();
        QVERIFY(used.size() > 20);
        for (auto it = used.cbegin(); it != used.cend(); ++it)
            QVERIFY2(QFile::exists(it.key()), qPrintable(it.key() + " in " + it.value()));
        QDirIterator compiled(QStringLiteral(":/images"), QDir::Files, QDirIterator::Subdirectories);
        while (compiled.hasNext())
            QVERIFY2(used.contains(compiled.next()) || compiled.filePath().contains("@2x"),
                     qPrintable(compiled.filePath() + " is not used"));
    }

    void pictureIsCleanAtEverySize_data()
    {
        QTest::addColumn<QString>("path");
        const QStringList paths = usedPaths().keys();
        for (const QString &path : paths) {
            if (!path.endsWith(QLatin1String(".gif")))
                QTest::newRow(qPrintable(path)) << path;
        }
    }

    void pictureIsCleanAtEverySize()
    {
        QFETCH(QString, path);
        const LogCatcher log;
        const QIcon icon(path);
        for (const int side : {16, 32, 96}) {
            const QPixmap pixmap = icon.pixmap(side, side);
            QVERIFY2(!pixmap.isNull() && isDrawing(pixmap), qPrintable(QString::number(side)));
        }
        QCOMPARE(log.texts(QtWarningMsg), QStringList()); // of the SVG parser
    }

    void spinnerTurnsForEver()
    {
        QMovie movie(QStringLiteral(":/image/progress.gif"));
        QVERIFY2(movie.isValid(), qPrintable(movie.lastErrorString()));
        QCOMPARE(movie.loopCount(), -1);
        for (int i = 0; i < movie.frameCount(); ++i)
            QVERIFY(movie.jumpToFrame(i));
        QVERIFY(movie.nextFrameDelay() > 0);
    }
};

QTEST_MAIN(TestImages)
#include "tst_images.moc"
