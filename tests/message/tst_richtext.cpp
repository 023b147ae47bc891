#include "message/RichText.h"
#include "widgets/SafeHtml.h"
#include <QElapsedTimer>
#include <QTcpServer>
#include <QTest>

// Texts from outside in their widget: none of them hurts.
class TestRichText final : public QObject
{
    Q_OBJECT
private slots:
    void hostileContent_data()
    {
        QTest::addColumn<QString>("part");
        for (const char *part : {"<table><tr><td>", "<ul><li>", "<div>", "a", "<img src=x width=999999999>",
                                 "<span style=\"letter-spacing:1000000px\">x</span>", "<td colspan=100000000>", "<",
                                 "<b", "<!--", "&#x0300;"})
            QTest::newRow(part) << QString::fromLatin1(part);
    }

    void hostileContent()
    {
        QFETCH(QString, part);
        const QString content = part.repeated((1 << 20) / part.size()); // 1 MiB
        CRichText text(320, nullptr);
        QElapsedTimer clock;
        clock.start();
        text.showHtml("<p style='white-space: pre-wrap;'>" +
                      tarn::visualized::safehtml::reduce(content, tarn::visualized::safehtml::notice()).text + "</p>");
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
        CRichText text(320, nullptr);
        // Past the first defence.
        text.showHtml(
            QStringLiteral("<img src='%1'><p style=\"background-image:url('%1')\">x</p><img src='/etc/passwd'>")
                .arg(url));
        text.grab();
        QVERIFY(!server.waitForNewConnection(300));
    }

    void plainTextIsElided()
    {
        QFont font;
        font.setPixelSize(15);
        CRichText text(320, nullptr);
        text.showPlain("短", font, 2);
        const int oneLine = text.height();
        QVERIFY(text.toolTip().isEmpty());
        for (const QString &huge : {QString(1 << 20, QChar(0x4e2d)), QString("行\n").repeated(1 << 18)}) {
            text.showPlain(huge, font, 2);
            QVERIFY(text.height() > oneLine && text.height() <= 2 * oneLine + 2);
            QVERIFY(!text.toolTip().isEmpty());
        }
        text.showPlain("<b>粗</b>", font, 2); // is text, not markup
        QCOMPARE(text.accessibleName(), QString("<b>粗</b>"));
        QVERIFY(text.toolTip().isEmpty());
    }
};

QTEST_MAIN(TestRichText)
#include "tst_richtext.moc"
