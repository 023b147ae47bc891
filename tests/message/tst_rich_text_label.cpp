#include "message/RichTextLabel.h"
#include "widgets/SafeHtml.h"
#include <QElapsedTimer>
#include <QSignalSpy>
#include <QTcpServer>
#include <QTemporaryDir>
#include <QTest>

using namespace tarn::visualized;

// Texts from outside in their widget: their look, and that none of them does harm.
class TestRichTextLabel final : public QObject
{
    Q_OBJECT
private slots:
    void hostileContent_data()
    {
        QTest::addColumn<QString>("part");
        for (const char *part :
             {"<table><tr><td>", "<ul><li>", "<div>", "a", "！", "<", "<b", "&#x0300;", "<br>", "<big><sub>"})
            QTest::newRow(part) << QString::fromUtf8(part);
    }

    void hostileContent()
    {
        QFETCH(QString, part);
        const QString content = part.repeated((1 << 20) / part.size()); // 1 MiB
        RichTextLabel text(320, 250, nullptr);
        QElapsedTimer clock;
        clock.start();
        text.showHtml("<p style='white-space: pre-wrap;'>" + safehtml::reduce(content, safehtml::notice()).text);
        QCOMPARE(text.width(), 320);
        QVERIFY2(clock.elapsed() < 5000, qPrintable(QString::number(clock.elapsed()))); // minutes, or a crash, without
        text.setFixedHeight(200);
        text.grab();
    }

    void nothingIsFetched()
    {
        QTcpServer server;
        QVERIFY(server.listen(QHostAddress::LocalHost));
        const QString url = QStringLiteral("http://127.0.0.1:%1/x.png").arg(server.serverPort());
        RichTextLabel text(320, 250, nullptr);
        // Past the reducer.
        text.showHtml(QStringLiteral("<img src='%1'><p style=\"background-image:url('%1')\">x</p>").arg(url));
        text.grab();
        QVERIFY(!server.waitForNewConnection(300));
    }

    void localPicturesAreBounded()
    {
        const QTemporaryDir dir;
        const QString path = dir.filePath("a b.png");
        QImage image(3000, 1000, QImage::Format_RGB32);
        image.fill(Qt::red);
        QVERIFY(image.save(path));
        RichTextLabel text(320, 250, nullptr);
        QSignalSpy grown(&text, &RichTextLabel::heightChanged);
        text.showHtml(safehtml::reduce("<img width=9999 src='" + path + "'>", safehtml::notice()).text);
        const int before = text.height();
        QVERIFY(grown.wait());
        QVERIFY(text.height() > before + 80 && text.height() < 160);
        QCOMPARE(text.grab().toImage().pixelColor(310, 50), QColor(Qt::red));
    }

    void styleSheetsApply()
    {
        QWidget window;
        auto *text = new RichTextLabel(320, 250, &window);
        text->setObjectName("text");
        window.setStyleSheet("#text{font-size:30px;color:red;background-color:blue;}");
        text->showHtml("<p>█</p>");
        QVERIFY(text->height() >= 30);
        const QImage image = text->grab().toImage();
        QCOMPARE(image.pixelColor(319, 5), QColor(Qt::blue));
        bool isRed = false;
        for (int x = 0; x < 30; ++x)
            isRed = isRed || image.pixelColor(x, text->height() / 2) == QColor(Qt::red);
        QVERIFY(isRed);
    }
};

QTEST_MAIN(TestRichTextLabel)
#include "tst_rich_text_label.moc"
