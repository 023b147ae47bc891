#include "base/WorkPool.h"
#include "support/LinkTaker.h"
#include "support/LogCatcher.h"
#include "support/OwnProcess.h"
#include "support/Packages.h"
#include "upgrade/ExplainItem.h"
#include "upgrade/NotesBrowser.h"
#include "upgrade/NotesFile.h"
#include <QFutureWatcher>
#include <QScrollBar>
#include <QSignalSpy>
#include <QTest>
#include <QTextBlock>
#include <QTextDocument>
#include <QTextFrame>
#include <QTextLayout>
#include <sys/stat.h>

using namespace tarn::visualized;
using own::processorMs;

// Notes files of every kind: none of them may block, fetch anything or take the process down.
class TestNotesFile final : public QObject
{
    Q_OBJECT
private slots:
    void encoding()
    {
        const auto read = [this](const QByteArray &bytes) {
            return GetCorrectUnicode(bytes) + ": " + notes::readFile(file(bytes)).value_or("none").toUtf8();
        };
        QCOMPARE(read("\xEF\xBB\xBF更新说明 ok"), QByteArray("UTF8: 更新说明 ok"));
        QCOMPARE(read("\xB8\xFC\xD0\xC2\xCB\xB5\xC3\xF7"), QByteArray("GBK: 更新说明"));
        // "更新" cut after the first two bytes of the second character: incomplete, but nothing invalid.
        QVERIFY(read("\xE6\x9B\xB4\xE6\x96").startsWith("UTF8: 更"));
        QVERIFY(read("a\xFF").startsWith("GBK: a"));
    }

    void noRegularFile()
    {
        for (const QString &path :
             {m_directory.filePath("missing"), m_directory.path(), pipe("fifo"), QString("/dev/zero")}) {
            const LogCatcher log;
            CExplainItem item({"产品", "1.0", path, "2.0"});
            item.show();
            waitForText(item, "暂无更多信息。");
            QCOMPARE(log.texts(QtWarningMsg).size(), 1);
        }
    }

    void hugeFileIsCut()
    {
        const LogCatcher log;
        const QString path = file("begin");
        QVERIFY(QFile::resize(path, qint64{50} * 1024 * 1024)); // sparse: NUL bytes, which are left out
        QCOMPARE(notes::readFile(path).value_or(QString()), QString("begin"));
        QCOMPARE(log.texts(QtWarningMsg).size(), 1);
    }

    void nothingIsFetched()
    {
        const QString html =
            QString("<link rel='stylesheet' href='%1'><style>@import url('%1');"
                    "body{background-image:url('file://%1')}</style>"
                    "<body background='%1'>before<img src='%1'><img src='file://%1'><a href=x>after</a>")
                .arg(pipe("image.png"));
        CExplainItem item({"产品", "1.0", file(html.toUtf8()), "2.0"});
        item.resize(600, 400);
        item.show();
        const auto *view = item.findChild<QTextBrowser *>();
        QTRY_VERIFY(view->toPlainText().contains("after"));
        QVERIFY(view->toHtml().contains("color:#0c64eb")); // not the host's
        QVERIFY(!item.grab().isNull());                    // drawing the images would open the pipe, and wait for ever
    }

    // A word has few marks; a long run of them takes the page its format, since it can hold the layout.
    void marksWithoutAPlace()
    {
        for (const ushort mark : {0x301, 0x20DD, 0x2060}) {
            for (const int count : {1, 100}) {
                const QString html = "<b>e" + QString(count, QChar(mark)) + "</b>";
                const auto document = notes::makeDocument(html, QFont(), thread());
                QCOMPARE(document->toHtml().contains("font-weight:600"), count == 1);
            }
        }
    }

    void heavyPages_data()
    {
        QTest::addColumn<QString>("html");
        const QString cell = "<table><tr><td>";
        QTest::newRow("tables in tables") << cell.repeated(20) + "end";
        QTest::newRow("spans that add up")
            << "<table>" + ("<tr>" + QString("<td colspan=999>x").repeated(10)).repeated(300) + "</table>end";
        QTest::newRow("spans over rows") << "<table>" + QString("<tr><td rowspan=100>x").repeated(6000) + "</table>end";
        QTest::newRow("a wide row and many rows")
            << "<table><tr>" + QString("<td>x").repeated(5000) + QString("<tr><td>x").repeated(5000) + "</table>end";
        QTest::newRow("much text five tables deep")
            << cell.repeated(5) + QString("<p>更新说明</p>").repeated(5000) + QString("</table>").repeated(5) + "end";
        QTest::newRow("much text in a frame")
            << "<div style='float:left'>" + QString("更").repeated(200000) + "</div>end";
        QTest::newRow("a complex script in a table")
            << "<table><tr><td>" + QString("ที่").repeated(20000) + "</table>end";
        QTest::newRow("floats") << "<style>table{float:left}</style>" +
                                       QString("<table><tr><td>x</table>").repeated(1500) + "end";
        QTest::newRow("list items") << "<ol>" + QString("<li>x").repeated(15000) + "</ol>end";
        QTest::newRow("line ends in one paragraph") << QString("更新说明<br>").repeated(15000) + "end";
        QTest::newRow("one word") << QString("x").repeated(300000) + " end";
        QTest::newRow("no place to break") << QString("更").repeated(200000) + "end";
        QTest::newRow("lines that do not wrap")
            << "<pre>" + QString(QString("\tx").repeated(4000) + '\n').repeated(60) + "end";
        QTest::newRow("characters without a place") << "<p>end" + QString(QChar(0x301)).repeated(500000);
        QTest::newRow("small letters") << "<p style='font-size:1px'>" + QString("更新 ").repeated(100000) + "end";
        QTest::newRow("lines upon one another")
            << "<p style='line-height:1%'>" + QString("更新 ").repeated(100000) + "end";
        QTest::newRow("paragraphs upon one another")
            << QString("<p style='margin-bottom:-100px'>" + QString("更").repeated(100) + "</p>").repeated(5000) +
                   "end";
        QString faces;
        for (int i = 0; i < 2000; ++i)
            faces += QString("<font face=F%1>更</font>").arg(i);
        QTest::newRow("faces") << faces + "end";
        QTest::newRow("a long text") << QString("<p>" + QString("更新说明").repeated(250) + "</p>").repeated(1000) +
                                            "end";
        QTest::newRow("plain lines") << "end\r" + QString("x\r").repeated(3 << 19);
        QTest::newRow("lines with half of a surrogate pair")
            << "<table><tr>end&#xD800;" + QString("<tr>x").repeated(400000);
    }

    // Processor time, so that a busy machine does not count. Without the sanitizers it is below 70 ms; the faults take
    // much longer.
    void heavyPages()
    {
        QFETCH(QString, html);
        constexpr int MaxWorkerMs = 5000;
        constexpr int MaxGuiMs = 300;
        const QString path = file(html.toUtf8());
        qint64 before = processorMs();
        const auto document = notes::makeDocument(html, QFont(), thread());
        const qint64 worker = processorMs() - before;
        QVERIFY(document->toPlainText().contains("end") && document->blockCount() <= 100000);
        NotesBrowser browser(nullptr);
        browser.resize(700, 350);
        browser.show();
        browser.load(path);
        qint64 longest = 0;
        while (browser.document()->characterCount() < document->characterCount() ||
               browser.document()->lastBlock().layout()->lineCount() == 0) {
            before = processorMs();
            QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
            longest = qMax(longest, processorMs() - before);
        }
        before = processorMs();
        browser.verticalScrollBar()->setValue(browser.verticalScrollBar()->maximum());
        QVERIFY(!browser.grab().isNull());
        longest = qMax(longest, processorMs() - before);
        qInfo("worker %lld ms, GUI thread at most %lld ms", worker, longest);
        QVERIFY2(worker < MaxWorkerMs, qPrintable(QString::number(worker)));
        QVERIFY2(longest < MaxGuiMs, qPrintable(QString::number(longest)));
    }

    // What lies at the end of a long page is not visited before the page is laid out.
    void endOfALongPage()
    {
        NotesBrowser browser(nullptr);
        browser.resize(700, 350);
        browser.show();
        const QString page = QString("<p>" + QString("更新说明").repeated(250) + "</p>").repeated(200);
        browser.load(file((page + "<p><a name=last>here</a> <a href='#last'>end</a>").toUtf8()), "last");
        QTRY_VERIFY(!browser.document()->isEmpty());
        QCOMPARE(browser.verticalScrollBar()->value(), 0);
        browser.setFocus();
        QTest::keyClick(&browser, Qt::Key_Tab);
        QVERIFY(!browser.textCursor().hasSelection());
        QTRY_VERIFY_WITH_TIMEOUT(browser.verticalScrollBar()->value() > 50000, 30000);
        QTest::keyClick(&browser, Qt::Key_Tab);
        QCOMPARE(browser.textCursor().selectedText(), QString("end"));
        browser.verticalScrollBar()->setValue(0);
        QTest::keyClick(&browser, Qt::Key_Return); // follows the link
        QVERIFY(browser.verticalScrollBar()->value() > 50000);
    }

    // The first screens are shown while the rest is prepared; neither the place to which the user scrolled nor the rest
    // of a page that was left meanwhile is lost.
    void beginningOfALongPage()
    {
        const QString page = ("<p>" + QString("更新说明").repeated(20) + "</p>").repeated(12000);
        const QString cut = QString("更新 ").repeated(5330) + "<a href='" + QString("x").repeated(100) + "'>link</a>";
        const auto beginning = notes::makeBeginning(cut + page, QFont(), thread());
        QVERIFY(beginning && beginning->toPlainText().endsWith("更新 "));
        QVERIFY(!notes::makeBeginning("<style>" + cut + "</style>" + page, QFont(), thread()));
        QVERIFY(!notes::makeBeginning(cut, QFont(), thread())); // a short page
        NotesBrowser browser(nullptr);
        browser.resize(700, 350);
        browser.show();
        const QString path = file((page + "<p>end").toUtf8());
        const auto loadBeginning = [&] {
            browser.load(path);
            const QTextDocument *before = browser.document();
            while (browser.document() == before)
                QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
        };
        const auto isReady = [&] { return browser.findChildren<QFutureWatcherBase *>().isEmpty(); };
        loadBeginning();
        QVERIFY(browser.toPlainText().startsWith("更新说明") && browser.document()->characterCount() < 20000);
        QTRY_VERIFY(browser.verticalScrollBar()->maximum() > 300);
        browser.verticalScrollBar()->setValue(300);
        QTRY_COMPARE(browser.document()->lastBlock().text(), QString("end"));
        QTRY_COMPARE(browser.verticalScrollBar()->value(), 300);
        loadBeginning();
        browser.load(file("other"));
        QTRY_COMPARE(browser.toPlainText(), QString("other"));
        QTRY_VERIFY(isReady());
        QTest::keyClick(&browser, Qt::Key_Left, Qt::AltModifier);
        QCOMPARE(browser.document()->lastBlock().text(), QString("end"));
    }

    void harmlessPages()
    {
        const QString row = "<tr><td>1<td>模块<td>修改<td>日期";
        for (const QString &html :
             {QString("<table><tr><td colspan=\"100%\" rowspan=auto>完</td></tr></table>"),
              QString("<p>用法：colspan=1000</p><table><tr><td>完</td></tr></table>"),
              QString("<table><tr><td>").repeated(3) + "完" + QString("</table>").repeated(3),
              "<style>td{color:red}</style><table><tr><th colspan=4>完" + row.repeated(200) + "</table>"}) {
            const auto document = notes::makeDocument(html, QFont(), thread());
            QVERIFY(!document->toPlainText().contains('<'));
            QCOMPARE(document->toHtml().contains("color:#ff0000"), html.startsWith("<style>"));
            QVERIFY(!document->rootFrame()->childFrames().isEmpty()); // the table
        }
    }

    void longParagraphs()
    {
        const QString sentence = QString("更新说明").repeated(750);
        auto document = notes::makeDocument("<p style='margin:12px'>" + sentence + "</p>", QFont(), thread());
        QCOMPARE(document->toPlainText(), sentence); // one paragraph
        const QString absurd = "x" + QString::fromUtf8("𠀀").repeated(60000);
        document = notes::makeDocument("<p style='margin:12px'>" + absurd + "</p>", QFont(), thread());
        QStringList parts;
        for (QTextBlock block = document->begin(); block.isValid(); block = block.next()) {
            parts << block.text();
            QVERIFY(!block.text().startsWith(QChar(0xDC00)) &&
                    !parts.last().at(parts.last().size() - 1).isHighSurrogate());
            if (block != document->begin())
                QCOMPARE(block.blockFormat().topMargin(), 0.0);
            if (block != document->lastBlock())
                QCOMPARE(block.blockFormat().bottomMargin(), 0.0);
        }
        QVERIFY(parts.size() > 1);
        QCOMPARE(parts.join(QString()).remove(QChar(0x200B)), absurd);
    }

    void tabShowsItsFile()
    {
        CExplainItem item({"<b>产品</b>", "1.0", file("<p>第一行</p><p>第二行</p>"), "%1"});
        QVERIFY(item.findChild<QTextBrowser *>()->toPlainText().isEmpty()); // read when first seen
        item.resize(900, 400);
        item.show();
        waitForText(item, "第一行\n第二行");
        auto *browser = item.findChild<NotesBrowser *>();
        const QSignalSpy refused(browser, &NotesBrowser::unreadable);
        browser->load("/none");
        QTRY_COMPARE(refused.size(), 1);
        QCOMPARE(browser->toPlainText(), QString("第一行\n第二行")); // the page stays
        QStringList texts;
        for (const QLabel *label : item.findChildren<QLabel *>())
            texts << label->text();
        QCOMPARE(texts, (QStringList{"<b>产品</b> %1 -- 更新说明", "（当前版本：1.0）"}));
    }

    // The document of a tab that was closed must be deleted on the thread that it belongs to.
    void tabClosedWhileItLoads()
    {
        const QString path = file(QByteArray("<p>说明</p>").repeated(5000));
        for (int i = 0; i < 20; ++i) {
            CExplainItem item({"产品", "1.0", path, "2.0"});
            item.show();
            if (i % 2)
                QCoreApplication::processEvents();
        }
        QVERIFY(outsideWork().stop(20000));
        outsideWork().open();
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    }

    void links()
    {
        const LinkTaker opened({"http", "smb", "ssh"});
        const LogCatcher log;
        const QString more = QFileInfo(file("<p>另一页</p>")).fileName();
        const QString heavy = QFileInfo(file(QByteArray("<table><tr><td>").repeated(200) + "重")).fileName();
        NotesBrowser browser(nullptr);
        browser.resize(400, 300);
        browser.show();
        const auto follow = [&](const QString &target) {
            browser.load(file(QString("<a href='%1'>%1</a>").arg(target).toUtf8()));
            QTRY_COMPARE(browser.toPlainText(), target);
            browser.setFocus();
            QTest::keyClick(&browser, Qt::Key_Tab); // to the link
            QTest::keyClick(&browser, Qt::Key_Return);
        };
        follow("http://example.invalid/notes");
        QTest::keyClick(&browser, Qt::Key_Left, Qt::AltModifier); // there is no page before
        QCOMPARE(browser.toPlainText(), QString("http://example.invalid/notes"));
        QCOMPARE(opened.urls, QStringList{"http://example.invalid/notes"});
        for (const QString &ignored : QStringList{"smb://server/share", "ssh://server", "#nowhere"}) {
            follow(ignored);
            QCOMPARE(browser.toPlainText(), ignored);
        }
        QCOMPARE(opened.urls.size(), 1);
        QCOMPARE(log.texts(QtWarningMsg),
                 (QStringList{"更新说明中的链接未打开：smb://server/share", "更新说明中的链接未打开：ssh://server"}));
        for (const QString &unreadable : QStringList{"missing.html", "file://" + pipe("pipe.html")}) {
            const QSignalSpy refused(&browser, &NotesBrowser::unreadable);
            follow(unreadable);
            QTRY_COMPARE(refused.size(), 1);
            QCOMPARE(browser.toPlainText(), unreadable); // the page stays
        }
        follow(heavy);
        QTRY_COMPARE(browser.toPlainText(), QString("重"));
        browser.load(file(QByteArray("<p>慢</p>").repeated(5000)));
        browser.load(m_directory.filePath(more)); // overtakes the slow one
        QTRY_COMPARE(browser.toPlainText(), QString("另一页"));
        QVERIFY(outsideWork().stop(20000));
        outsideWork().open();
        QCoreApplication::processEvents();
        QCOMPARE(browser.toPlainText(), QString("另一页"));
        for (const QString &target : {more, "file://" + m_directory.filePath(more)}) {
            follow(target);
            QTRY_COMPARE(browser.toPlainText(), QString("另一页"));
            QTest::keyClick(&browser, Qt::Key_Left, Qt::AltModifier);
            QCOMPARE(browser.toPlainText(), target);
        }
    }

private:
    QString file(const QByteArray &content)
    {
        const QString path = m_directory.filePath(QString("notes%1.html").arg(++m_files));
        packages::writeFile(path, content);
        return path;
    }

    QString pipe(const QString &name) // opening it blocks for ever
    {
        const QString path = m_directory.filePath(name);
        mkfifo(path.toLocal8Bit().constData(), 0600);
        return path;
    }

    static void waitForText(const CExplainItem &item, const QString &text)
    {
        QTRY_COMPARE_WITH_TIMEOUT(item.findChild<QTextBrowser *>()->toPlainText(), text, 20000);
    }

    QTemporaryDir m_directory;
    int m_files = 0;
};

QTEST_MAIN(TestNotesFile)
#include "tst_notes_file.moc"
