#include "support/OwnProcess.h"
#include "widgets/SafeHtml.h"
#include "widgets/WebLink.h"
#include <QTest>
#include <QTextDocument>
#include <QUrl>

using namespace tarn::visualized;
using safehtml::Policy;
using safehtml::reduce;

// Markup from outside: the part that stays, that no word is lost, and that none of it takes unbounded time.
class TestSafeHtml final : public QObject
{
    Q_OBJECT
private slots:
    void kept()
    {
        const auto rows = [](const Policy &policy, std::initializer_list<QPair<const char *, const char *>> texts) {
            for (const auto &[text, expected] : texts)
                QCOMPARE(reduce(QString::fromUtf8(text), policy).text, QString::fromUtf8(expected));
        };
        rows(safehtml::card(),
             {{"文字\n  空格", "文字\n  空格"},
              {"a <b>b</b> <STRONG>c</STRONG>", "a <b>b</b> <strong>c</strong>"},
              {"<font color=\"#d00\" size=7>x</font>", "<font style=\"color:#d00;\" size=\"7\">x</font>"},
              {"<span style='COLOR: red;font-size:900px'>y", "<span style=\"color:red;font-size:32px;\">y</span>"},
              {"<span style='font-size:1pt;font-family:x'>y", "<span style=\"font-size:6pt;\">y</span>"},
              {"<span style='font-size:large;text-align:e;x:y'>",
               "<span style=\"font-size:large;text-align:e;\"></span>"},
              {"<font color=\"red;font-size:900px\">y</font>", "<font>y</font>"}, // nothing rides on a colour
              {"<p align='center\" onclick=\"x'>y</p>", "<p>y</p>"},
              {"x < 5 && y > 3, <5, a<b", "x &lt; 5 && y > 3, &lt;5, a&lt;b"},
              {"a<img src=\"http://x/y.png\">b<img src=//x/y>c<img src='file://x/y'>", "abc"},
              {"<img width=9999 src='/a \"b.png'>", "<img src=\"/a &quot;b.png\">"},
              {"<a href=\"http://x\">y</a>", "y"},
              {"<table><tr><td>1</td><td>2</td></tr></table>", "<br> 1 2"},
              {"a<style>p{font-size:900px}</style>b<script>x</SCRIPT >c<!-- d -->e<title>f", "abce"},
              {"<<b>b>", "&lt;<b>b></b>"},
              {"<b><i>x</b>y</i>", "<b><i>x</i></b>y"},
              {"<ul><li>a<li>b<ul><li>c</ul></ul>", "<ul><li>a</li><li>b<ul><li>c</li></ul></li></ul>"},
              {"<b title='a>b'>x</b><b title='>y</b>", "<b>x</b><b>y</b>"}});
        rows(safehtml::box(),
             {{"a &amp; <div>\r\nb", "a &amp; <div>\nb"},
              {"<b>a</b>\r\nb<h1 align=x>c</h1><u style='font-size:9px'>", "<b>a</b><br>bc<u></u>"},
              {"<a href='https://x.cn/?a=1&amp;b=\"2'>y</a>", "<a href=\"https://x.cn/?a=1&amp;b=&quot;2\">y</a>"},
              {"<a href='file:///etc/passwd'>y</a>", "<a>y</a>"}});
        rows(safehtml::notes(), {{"<!DOCTYPE html><head><title>x</title><style>p{color:red}</style></head><p class=a>y",
                                  "<style>p{color:red}</style><p class=\"a\">y</p>"},
                                 {"<table border=1><tr><td colspan=99999>1<td colspan=100%>2</table>",
                                  "<table border=\"1\"><tr><td colspan=\"100\">1</td><td>2</td></tr></table>"},
                                 {"<a href=more.html>z</a>", "<a href=\"more.html\">z</a>"}});
    }

    void judged()
    {
        QVERIFY(!reduce("a < b && c > d", safehtml::box()).isRich);
        QVERIFY(reduce("<a href='https://x.cn'>y</a>", safehtml::box()).hasLink);
        QVERIFY(!reduce("<a href='file:///etc/passwd'>y</a>", safehtml::box()).hasLink);
        QVERIFY(reduce(QString("<ul>").repeated(300), safehtml::notes()).isFlattened);
        QVERIFY(reduce(QString("<ul><b></b>").repeated(300), safehtml::notes()).isFlattened); // deep all the same
        QVERIFY(!reduce(QString("<p>x</p>").repeated(300), safehtml::notes()).isFlattened);
        // Lines cost time: a box is laid out several times.
        QCOMPARE(reduce(QString("a\r\n").repeated(5000), safehtml::box()).text.count('\n'), 1000);
        QCOMPARE(reduce(QString("a<br>").repeated(5000), safehtml::box()).text.count("<br>"), 1000);
    }

    void noWordIsLost()
    {
        for (const QString &text : {QString("中文，没有空格的长段落。").repeated(30), QString(1000, 'x'),
                                    QString("\U0001F600").repeated(1000), QString("！）").repeated(1000)}) {
            QTextDocument document;
            document.setHtml(reduce("a&amp;" + text, safehtml::card()).text);
            QCOMPARE(document.toPlainText().remove(QChar(0x200B)), "a&" + text);
        }
        QCOMPARE(reduce(QString(60, 'x'), safehtml::box()).text.count(QChar(0x200B)), 2);
        const QString part(safehtml::card().longWord - 1, 'x'); // two are one word, unless a block ends between them
        QCOMPARE(reduce("<b>" + part + "</b>" + part, safehtml::card()).text.count(QChar(0x200B)), 1);
        QCOMPARE(reduce("<p>" + part + "</p>" + part, safehtml::card()).text.count(QChar(0x200B)), 0);
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
        QCOMPARE(cut("a\nb\nc", 9), QString("a\n……")); // a line end takes as much time as eight characters
        QCOMPARE(cut("a\nb\nc", 19), QString("a\nb\nc"));
    }

    void words()
    {
        QCOMPARE(safehtml::words(" 第一行\n  第二行 ", 100), QString("第一行 第二行"));
        QCOMPARE(safehtml::words("<p>更新<b>说明</b></p><div>第二段&amp;更多</div>", 100),
                 QString("更新说明 第二段&更多"));
        QCOMPARE(safehtml::words("<img src=/x><style>p{}</style>正文", 100), QString("正文"));
        QCOMPARE(safehtml::words("a < 100%1 且 c > %2", 100), QString("a < 100%1 且 c > %2"));
        QCOMPARE(safehtml::words("<b></b>" + QString("<i></i>").repeated(1000) + "正文", 100), QString("正文"));
        QCOMPARE(safehtml::words(QString(9000, '\n') + "正文", 100), QString("正文"));
        QCOMPARE(safehtml::words("中文\U0001F600", 3), QString("中文"));
    }

    // Seconds to minutes in an expression or a search that begins again at every character.
    void hostileTexts()
    {
        constexpr int Size = 1 << 18;
        QStringList texts("<b color:" + QString(Size, ' ') + "->x</b>");
        for (const char *part : {"<table><tr><td>", "<ul><li>", "<div>", "a", "<", "<b", "<b '", "<!--", "<!doctype ",
                                 "<?", "<script>", "</b>", "&", "&#x0300;", "<b a=", "<td colspan=100000000>",
                                 "<img src=/x>", "<span style=\"letter-spacing:1000000px;\">x</span>"})
            texts.append(QString::fromLatin1(part).repeated(Size / int(qstrlen(part))));
        for (const QString &text : texts) {
            for (const Policy &policy : {safehtml::card(), safehtml::notes(), safehtml::box()}) {
                const qint64 before = own::processorMs();
                const safehtml::Reduced reduced = reduce(text, policy);
                QVERIFY2(own::processorMs() - before < 1500, qPrintable(text.left(20)));
                QVERIFY(reduced.text.size() < 6 * text.size());
            }
        }
    }

    void addresses()
    {
        const auto target = [](const char *address) {
            return weblink::target(QString::fromLatin1(address)).toString();
        };
        for (const char *same : {"https://x.cn/a?b=1", "mailto:a@x.cn"})
            QCOMPARE(target(same), QString::fromLatin1(same));
        QCOMPARE(target(" www.x.cn/notes "), QString("http://www.x.cn/notes"));
        QCOMPARE(target("x.cn:8080/a"), QString("http://x.cn:8080/a"));
        for (const char *refused : {"", "notes", "/etc/passwd", "file:///etc/passwd", "javascript:alert(1)", "data:x",
                                    "mailto:", "http://", "http://[::1", "ftp://x.cn/a", "tel:1", "smb://x.cn/a"})
            QCOMPARE(target(refused), QString());
    }
};

QTEST_GUILESS_MAIN(TestSafeHtml)
#include "tst_safe_html.moc"
