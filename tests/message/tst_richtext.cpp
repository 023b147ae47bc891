#include "message/LabelRows.h"
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
    void sanitized_data();
    void sanitized();
    void longContentIsCut();
    void hostileContent_data();
    void hostileContent();
    void nothingIsFetched();
    void plainTextIsElided();
    void rows_data();
    void rows();
};

void TestRichText::sanitized_data()
{
    QTest::addColumn<QString>("in");
    QTest::addColumn<QString>("out");
    QTest::newRow("plain") << "文字\n  空格"
                           << "文字\n  空格";
    QTest::newRow("bold") << "a <b>b</b> <STRONG>c</STRONG>"
                          << "a <b>b</b> <strong>c</strong>";
    QTest::newRow("colour") << "<font color=\"#d00\" size=7>x</font><span style='color: red;font-size:900px'>y</span>"
                            << "<font style=\"color:#d00\">x</font><span style=\"color:red\">y</span>";
    QTest::newRow("background is no colour") << "<span style=\"background-color:red\">y</span>"
                                             << "<span>y</span>";
    QTest::newRow("nothing rides on a colour") << "<font color=\"red;font-size:900px\">y</font>"
                                               << "<font style=\"color:red\">y</font>";
    QTest::newRow("comparison") << "x < 5 && y > 3, <5, a<b"
                                << "x &lt; 5 && y > 3, &lt;5, a&lt;b";
    QTest::newRow("image") << "a<img src=\"file:///etc/passwd\">b"
                           << "ab";
    QTest::newRow("link") << "<a href=\"x\">y</a>"
                          << "y";
    QTest::newRow("table") << "<table><tr><td>1</td><td>2</td></tr></table>"
                           << "<br> 1 2";
    QTest::newRow("hidden") << "a<style>p{font-size:900px}</style>b<script>x</script>c<!-- d -->e"
                            << "abce";
    QTest::newRow("hidden, open") << "a<style>p{font-size:900px}"
                                  << "a";
    QTest::newRow("entities") << "&lt;b&gt; &amp;"
                              << "&lt;b&gt; &amp;";
    QTest::newRow("nested brackets") << "<<b>b>"
                                     << "&lt;<b>b>";
}

void TestRichText::sanitized()
{
    QFETCH(QString, in);
    QFETCH(QString, out);
    QCOMPARE(safehtml::sanitized(in, 1000), out);
}

void TestRichText::longContentIsCut()
{
    QCOMPARE(safehtml::sanitized("一二三四五", 5), QString("一二三四五"));
    QCOMPARE(safehtml::sanitized("一二三四五六", 5), QString("一二三四五……"));
}

void TestRichText::hostileContent_data()
{
    QTest::addColumn<QString>("part");
    const QStringList parts{"<table><tr><td>",
                            "<table width=100000 cellpadding=100000000><tr><td>x</table>",
                            "<ul><li>",
                            "<div>",
                            "a",
                            "<img src=x width=999999999 height=999999999>",
                            "<span style=\"letter-spacing:1000000px\">x</span>",
                            "<td colspan=100000000>",
                            "<",
                            "<b",
                            "<!--",
                            "&#x0300;",
                            "<p style=\"line-height:1000000%\">x",
                            "<style>"};
    for (const QString &part : parts)
        QTest::newRow(qPrintable(part)) << part;
}

void TestRichText::hostileContent()
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

void TestRichText::nothingIsFetched()
{
    QTcpServer server;
    QVERIFY(server.listen(QHostAddress::LocalHost));
    const QString url = QStringLiteral("http://127.0.0.1:%1/x.png").arg(server.serverPort());
    CRichText text(320, nullptr);
    // Past the first defence.
    text.showHtml(
        QStringLiteral("<img src='%1'><p style=\"background-image:url('%1')\">x</p><img src='/etc/passwd'>").arg(url));
    text.grab();
    QVERIFY(!server.waitForNewConnection(300));
}

void TestRichText::plainTextIsElided()
{
    QFont font;
    font.setPixelSize(15);
    CRichText text(320, nullptr);
    text.showPlain("短", font, 2);
    const int oneLine = text.height();
    QVERIFY(text.toolTip().isEmpty());
    const QStringList long_{QString(1 << 20, QChar(0x4e2d)), QString("word ").repeated(1 << 18),
                            QString(1 << 20, QLatin1Char('W')), QString("行\n").repeated(1 << 18)};
    for (const QString &huge : long_) {
        text.showPlain(huge, font, 2);
        QVERIFY(text.height() > oneLine && text.height() <= 2 * oneLine + 2);
        QVERIFY(!text.toolTip().isEmpty());
    }
    text.showPlain("<b>粗</b>", font, 2); // is text, not markup
    QCOMPARE(text.accessibleName(), QString("<b>粗</b>"));
    QVERIFY(text.toolTip().isEmpty());
    text.showPlain(QString(), font, 2);
}

void TestRichText::rows_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<int>("width");
    QTest::addColumn<int>("rows");
    QTest::newRow("empty") << "" << 100 << 1;
    QTest::newRow("one, too wide") << "字" << 1 << 1;
    QTest::newRow("two, first too wide") << "字字" << 1 << 2;
    QTest::newRow("fits") << "字字字字" << 1000 << 1;
    QTest::newRow("last is not measured") << "字字字字" << 38 << 1;
    QTest::newRow("breaks before the fourth") << "字字字字字" << 38 << 2;
    QTest::newRow("three rows") << "字字字字字字字字" << 38 << 3;
}

void TestRichText::rows()
{
    QFETCH(QString, text);
    QFETCH(int, width);
    QFETCH(int, rows);
    QFont font("Noto Sans CJK SC");
    font.setPixelSize(10); // so wide is every 字
    const QFontMetrics metrics(font);
    if (metrics.horizontalAdvance("字字字字") != 40)
        QSKIP("needs a Chinese face");
    QCOMPARE(GetRowsByLabelText(metrics, text, width), rows);
}

QTEST_MAIN(TestRichText)
#include "tst_richtext.moc"
