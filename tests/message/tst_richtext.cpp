#include "message/RichText.h"
#include "message/SafeHtml.h"
#include <QElapsedTimer>
#include <QTcpServer>
#include <QTest>

// Texts from outside: what is kept of them, and that none of them hurts.
class TestRichText final : public QObject
{
    Q_OBJECT
private slots:

    void sanitized()
    {
        const auto clean = [](const QString &in) { return safehtml::sanitized(in, 1000); };
        QCOMPARE(clean("文字\n  空格"), QString("文字\n  空格"));
        QCOMPARE(clean(QString(1000, 'x') + "y"), QString(1000, 'x') + "……");
        QCOMPARE(clean("a <b>b</b> <STRONG>c</STRONG>"), QString("a <b>b</b> <strong>c</strong>"));
        QCOMPARE(clean("<font color=\"#d00\" size=7>x</font><span style='color: red;font-size:900px'>y</span>"),
                 QString("<font style=\"color:#d00\">x</font><span style=\"color:red\">y</span>"));
        QCOMPARE(clean("<font color=\"red;font-size:900px\">y</font>"), // nothing rides on a colour
                 QString("<font style=\"color:red\">y</font>"));
        QCOMPARE(clean("x < 5 && y > 3, <5, a<b"), QString("x &lt; 5 && y > 3, &lt;5, a&lt;b"));
        QCOMPARE(clean("a<img src=\"file:///etc/passwd\">b"), QString("ab"));
        QCOMPARE(clean("<a href=\"x\">y</a>"), QString("y"));
        QCOMPARE(clean("<table><tr><td>1</td><td>2</td></tr></table>"), QString("<br> 1 2"));
        QCOMPARE(clean("a<style>p{font-size:900px}</style>b<script>x</script>c<!-- d -->e"), QString("abce"));
        QCOMPARE(clean("<<b>b>"), QString("&lt;<b>b>"));
    }

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
        text.showHtml("<p style='white-space: pre-wrap;'>" + safehtml::sanitized(content, 20000) + "</p>");
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
