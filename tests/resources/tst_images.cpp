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
                QVERIFY2(!QIcon(path).pixmap(side, side).isNull(), qPrintable(path));
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
        QVERIFY(movie.isValid() && movie.frameCount() > 1);
        QCOMPARE(movie.loopCount(), -1);
    }
};

QTEST_MAIN(TestImages)
#include "tst_images.moc"
