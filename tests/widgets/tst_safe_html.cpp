#include "widgets/SafeHtml.h"
#include "widgets/WebLink.h"
#include <QElapsedTimer>
#include <QTest>
#include <QTextDocument>
#include <QUrl>

using namespace tarn::visualized;
using safehtml::Policy;
using safehtml::reduce;

namespace {
QString card(const QString &text)
{
    return reduce(text, safehtml::card()).text;
}

QString shown(const QString &html)
{
    QTextDocument document;
    document.setHtml(QStringLiteral("<p style='white-space:pre-wrap'>%1</p>").arg(html));
    return document.toPlainText().remove(QChar(0x200B));
}
} // namespace

// Markup from outside: the part that stays, that no word is lost, and that none of it takes unbounded time.
class TestSafeHtml final : public QObject
{
    Q_OBJECT
private slots:
    void kept_data()
    {
        QTest::addColumn<QString>("source");
        QTest::addColumn<QString>("expected");
        const auto row = [](const char *source, const char *expected) {
            QTest::newRow(source) << QString::fromUtf8(source) << QString::fromUtf8(expected);
        };
        row("文字\n  空格", "文字\n  空格");
        row("a <b>b</b> <STRONG>c</STRONG>", "a <b>b</b> <strong>c</strong>");
        row("<font color=\"#d00\" size=7>x</font>", "<font style=\"color:#d00;\" size=\"7\">x</font>");
        row("<span style='COLOR: red;font-size:900px'>y</span>", "<span style=\"color:red;font-size:32px;\">y</span>");
        row("<span style='font-size:1pt;font-family:x;position:fixed'>y", "<span style=\"font-size:6pt;\">y</span>");
        row("<font color=\"red;font-size:900px\">y</font>", "<font>y</font>"); // nothing rides on a colour
        row("<p align='center\" onclick=\"x'>y</p>", "<p>y</p>");
        row("x < 5 && y > 3, <5, a<b", "x &lt; 5 && y > 3, &lt;5, a&lt;b");
        row("a<img src=\"http://x/y.png\">b<img src=//x/y>c<img src='file://x/y'>", "abc");
        row("<img width=9999 src='/a \"b.png'>", "<img src=\"/a &quot;b.png\">");
        row("<a href=\"http://x\">y</a>", "y");
        row("<table><tr><td>1</td><td>2</td></tr></table>", "<br> 1 2");
        row("a<style>p{font-size:900px}</style>b<script>x</SCRIPT >c<!-- d -->e<title>f", "abce");
        row("<<b>b>", "&lt;<b>b></b>");
        row("<b><i>x</b>y</i>", "<b><i>x</i></b>y");
        row("<ul><li>a<li>b<ul><li>c</ul></ul>", "<ul><li>a</li><li>b<ul><li>c</li></ul></li></ul>");
        row("<b title='a>b'>x</b><b title='>y</b>", "<b>x</b><b>y</b>");
    }

    void kept()
    {
        QFETCH(QString, source);
        QTEST(card(source), "expected");
    }

    void boxes()
    {
        const auto box = [](const QString &text) { return reduce(text, safehtml::box()); };
        QVERIFY(!box("a < b && c > d").isRich);
        QCOMPARE(box("a &amp; <div>\r\nb").text, QString("a &amp; <div>\nb"));
        QCOMPARE(box("<b>a</b>\r\nb<h1>c</h1>").text, QString("<b>a</b><br>bc"));
        const safehtml::Reduced link = box("<a href='https://x.cn/?a=1&amp;b=\"2'>y</a>");
        QCOMPARE(link.text, QString("<a href=\"https://x.cn/?a=1&amp;b=&quot;2\">y</a>"));
        QVERIFY(link.hasLink && link.isRich);
        QVERIFY(!box("<a href='file:///etc/passwd'>y</a>").hasLink);
        QCOMPARE(box(QString(60, 'x')).text.count(QChar(0x200B)), 2);
    }

    void documents()
    {
        const auto notes = [](const QString &text) { return reduce(text, safehtml::notes()).text; };
        QCOMPARE(notes("<head><title>x</title><style>p{color:red}</style></head><p class=a>y"),
                 QString("<style>p{color:red}</style><p class=\"a\">y</p>"));
        QCOMPARE(notes("<table border=1><tr><td colspan=99999>1<td colspan=100%>2</table>"),
                 QString("<table border=\"1\"><tr><td colspan=\"100\">1</td><td>2</td></tr></table>"));
        QCOMPARE(notes("<a href=more.html>z</a>"), QString("<a href=\"more.html\">z</a>"));
        QVERIFY(reduce(QString("<ul>").repeated(300), safehtml::notes()).isFlattened);
        QVERIFY(!reduce(QString("<p>x</p>").repeated(300), safehtml::notes()).isFlattened);
    }

    void noWordIsLost_data()
    {
        QTest::addColumn<QString>("text");
        QTest::newRow("Chinese") << QString("中文，没有空格的长段落。").repeated(30);
        QTest::newRow("one word") << QString(1000, 'x');
        QTest::newRow("emoji") << QString("\U0001F600").repeated(1000);
        QTest::newRow("punctuation") << QString("！）").repeated(1000);
    }

    void noWordIsLost()
    {
        QFETCH(QString, text);
        QCOMPARE(shown(card(text)), text);
        QVERIFY(!shown(card("a&amp;" + text)).contains("amp;"));
    }

    void cuts()
    {
        Policy policy = safehtml::card();
        const auto cut = [&](const QString &text, int length) {
            policy.maxChars = length;
            return reduce(text, policy).text;
        };
        QCOMPARE(cut("abcd", 4), QString("abcd"));
        QCOMPARE(cut("abcde", 4), QString("abcd……"));
        QCOMPARE(cut("abc\U0001F600", 4), QString("abc……"));
        QCOMPARE(cut("a&amp;b", 4), QString("a&amp;……"));
        QCOMPARE(cut("a&b c&", 4), QString("a&b ……"));
        QCOMPARE(cut("a<b>c</b>", 3), QString("a<b>……</b>"));
        QCOMPARE(cut("<b>c</b>", 4), QString("<b>c……</b>"));
        QCOMPARE(cut("a\nb\nc", 9), QString("a\n……")); // a line end takes as much time as eight characters
        QCOMPARE(cut("a\nb\nc", 20), QString("a\nb\nc"));
    }

    void words()
    {
        QCOMPARE(safehtml::words(" 第一行\n  第二行 ", 100), QString("第一行 第二行"));
        QCOMPARE(safehtml::words("<p>更新<b>说明</b></p><div>第二段&amp;更多</div>", 100),
                 QString("更新说明 第二段&更多"));
        QCOMPARE(safehtml::words("<style>p{}</style>正文", 100), QString("正文"));
        QCOMPARE(safehtml::words("a < 100%1 且 c > %2", 100), QString("a < 100%1 且 c > %2"));
        QCOMPARE(safehtml::words("<b></b>" + QString("<i></i>").repeated(1000) + "正文", 100), QString("正文"));
        QCOMPARE(safehtml::words("中文\U0001F600", 3), QString("中文"));
    }

    // Seconds to minutes in an expression or a search that begins again at every character.
    void hostileTexts_data()
    {
        QTest::addColumn<QString>("text");
        constexpr int Size = 1 << 18;
        QTest::newRow("blanks in a colour") << "<b color:" + QString(Size, ' ') + "->x</b>";
        for (const char *part : {"<table><tr><td>", "<ul><li>", "<div>", "a", "<", "<b", "<b '", "<!--", "<!doctype ",
                                 "<?", "<script>", "</b>", "&", "&#x0300;", "<b a=", "<td colspan=100000000>",
                                 "<img src=/x>", "<span style=\"letter-spacing:1000000px;\">x</span>"})
            QTest::newRow(part) << QString::fromLatin1(part).repeated(Size / int(qstrlen(part)));
    }

    void hostileTexts()
    {
        QFETCH(QString, text);
        for (const Policy &policy : {safehtml::card(), safehtml::notes(), safehtml::box()}) {
            QElapsedTimer clock;
            clock.start();
            const safehtml::Reduced reduced = reduce(text, policy);
            QVERIFY2(clock.elapsed() < 1500, qPrintable(QString::number(clock.elapsed())));
            QVERIFY(reduced.text.size() < 6 * text.size());
        }
    }

    void addresses_data()
    {
        QTest::addColumn<QString>("address");
        QTest::addColumn<QString>("target");
        const auto row = [](const char *address, const char *target) {
            QTest::newRow(address) << QString::fromLatin1(address) << QString::fromLatin1(target);
        };
        row("https://x.cn/a?b=1", "https://x.cn/a?b=1");
        row("mailto:a@x.cn", "mailto:a@x.cn");
        row(" www.x.cn/notes ", "http://www.x.cn/notes");
        row("x.cn:8080/a", "http://x.cn:8080/a");
        for (const char *refused : {"", "notes", "/etc/passwd", "file:///etc/passwd", "javascript:alert(1)", "data:x",
                                    "mailto:", "http://", "http://[::1", "ftp://x.cn/a", "tel:1", "smb://x.cn/a"})
            row(refused, "");
    }

    void addresses()
    {
        QFETCH(QString, address);
        QTEST(weblink::target(address).toString(), "target");
    }
};

QTEST_GUILESS_MAIN(TestSafeHtml)
#include "tst_safe_html.moc"
