#include "support/LinkTaker.h"
#include "support/LogCatcher.h"
#include "upgrade/ExplainItem.h"
#include "upgrade/NotesBrowser.h"
#include "upgrade/NotesFile.h"
#include <QTemporaryDir>
#include <QTest>
#include <QTextDocument>
#include <sys/stat.h>
#include <unistd.h>

// Notes files of every kind: none of them may block, fetch anything or take the process down.
class TestNotesFile final : public QObject
{
    Q_OBJECT
private slots:
    void encoding_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<QByteArray>("codec");
        QTest::addColumn<QString>("text");
        const QByteArray utf8 = "更新说明 ok";
        QTest::newRow("UTF-8") << utf8 << QByteArray("UTF8") << QString("更新说明 ok");
        QTest::newRow("UTF-8 with BOM") << QByteArray("\xEF\xBB\xBF" + utf8) << QByteArray("UTF8")
                                        << QString("更新说明 ok");
        QTest::newRow("empty") << QByteArray() << QByteArray("UTF8") << QString();
        // "更新" cut after the first two bytes of the second character: incomplete, but nothing invalid.
        QTest::newRow("UTF-8, cut") << QByteArray("\xE6\x9B\xB4\xE6\x96") << QByteArray("UTF8") << QString();
        QTest::newRow("GBK") << QByteArray("\xB8\xFC\xD0\xC2\xCB\xB5\xC3\xF7") << QByteArray("GBK")
                             << QString("更新说明");
        QTest::newRow("one invalid byte") << QByteArray("a\xFF") << QByteArray("GBK") << QString();
        QTest::newRow("GBK, cut") << QByteArray("\xB8\xFC\xD0") << QByteArray("GBK") << QString();
        QTest::newRow("GB18030, four bytes")
            << QByteArray("\xB8\xFC\x81\x30\x81\x30") << QByteArray("GBK") << QString();
    }

    void encoding()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(QString, text);
        QTEST(GetCorrectUnicode(bytes), "codec");
        const auto read = notes::readFile(file(bytes));
        QVERIFY(read.has_value());
        if (!text.isEmpty() || bytes.isEmpty())
            QCOMPARE(*read, text);
        else
            QVERIFY(!read->isEmpty()); // something stands there, whatever the codec makes of the rest
    }

    void noRegularFile_data()
    {
        QTest::addColumn<QString>("path");
        const QString fifo = m_directory.filePath("fifo");
        QVERIFY(mkfifo(fifo.toLocal8Bit().constData(), 0600) == 0);
        const QString socketLink = m_directory.filePath("dangling");
        QVERIFY(QFile::link(m_directory.filePath("nowhere"), socketLink));
        QTest::newRow("missing") << m_directory.filePath("missing.html");
        QTest::newRow("directory") << m_directory.path();
        QTest::newRow("FIFO") << fifo;
        QTest::newRow("device") << QString("/dev/zero");
        QTest::newRow("dangling link") << socketLink;
        QTest::newRow("NUL in the name") << QString("/tmp/a") + QChar(0) + QString("b");
        if (geteuid() != 0) { // root may read everything
            const QString closed = file("x");
            QVERIFY(chmod(closed.toLocal8Bit().constData(), 0) == 0);
            QTest::newRow("unreadable") << closed;
        }
    }

    void noRegularFile()
    {
        QFETCH(QString, path);
        QVERIFY(!notes::readFile(path).has_value());
        CExplainItem item({"产品", "1.0", path, "2.0"});
        item.show();
        waitForText(item, "暂无更多信息。");
    }

    void hugeFileIsCut()
    {
        const QString path = m_directory.filePath("huge");
        QFile out(path);
        QVERIFY(out.open(QIODevice::WriteOnly));
        QVERIFY(out.write("begin") == 5);
        QVERIFY(out.resize(qint64{50} * 1024 * 1024)); // sparse: NUL bytes, which are left out
        out.close();
        const LogCatcher log;
        const auto text = notes::readFile(path);
        QVERIFY(text.has_value());
        QCOMPARE(*text, QString("begin"));
        QCOMPARE(log.texts(QtWarningMsg).size(), 1);
        QFile::remove(path);
    }

    void nothingIsFetched()
    {
        const QString fifo = m_directory.filePath("image.png");
        QVERIFY(mkfifo(fifo.toLocal8Bit().constData(), 0600) == 0);
        const QString html = QString("<html><head><link rel='stylesheet' href='%1'><style>@import url('%1');"
                                     "body{background-image:url('file://%1')}</style><script>alert(1)</script></head>"
                                     "<body background='%1'>before<img src='%1'><img src='file://%1'>"
                                     "<img src='http://192.0.2.1/x.png'>after</body></html>")
                                 .arg(fifo);
        CExplainItem item({"产品", "1.0", file(html.toUtf8()), "2.0"});
        item.resize(600, 400);
        item.show();
        auto *browser = item.findChild<QTextBrowser *>();
        QTRY_VERIFY(browser->toPlainText().contains("after"));
        QVERIFY(!browser->toPlainText().contains("alert"));
        QVERIFY(!item.grab().isNull()); // drawing the images would open the pipe, and wait for ever
    }

    void hostileMarkup_data()
    {
        QTest::addColumn<QByteArray>("html");
        QTest::newRow("nested tables") << QByteArray("<table><tr><td>").repeated(20000) + "end";
        QTest::newRow("wide cell") << QByteArray(
            "<table><tr><td colspan=100000000 rowspan='99999999'>end</td></tr></table>");
        QTest::newRow("wide cell, encoded") << QByteArray("<table><tr><td colspan=\"&#57;99999999\">end</table>");
        QTest::newRow("huge image") << QByteArray("<img src='x' width=1000000000 height=1000000000>end");
        QTest::newRow("huge font") << QByteArray("<p style='font-size:100000000px'>x</p>end");
    }

    void hostileMarkup()
    {
        QFETCH(QByteArray, html);
        CExplainItem item({"产品", "1.0", file(html), "2.0"});
        item.resize(600, 400);
        item.show();
        auto *browser = item.findChild<QTextBrowser *>();
        QTRY_VERIFY_WITH_TIMEOUT(browser->document()->parent() == nullptr, 20000); // a document of ours
        QVERIFY(!item.grab().isNull());
    }

    void tabShowsItsFile()
    {
        CExplainItem item({"<b>产品</b>", "1.0", file("<p>第一行</p><p>第二行</p>"), "%1"});
        QVERIFY(item.findChild<QTextBrowser *>()->toPlainText().isEmpty()); // read when first seen
        item.resize(900, 400);
        item.show();
        waitForText(item, "第一行\n第二行");
        QStringList texts;
        for (const QLabel *label : item.findChildren<QLabel *>())
            texts << label->text();
        QCOMPARE(texts, (QStringList{"<b>产品</b> %1 -- 更新说明", "（当前版本：1.0）"}));
        item.hide();
        item.show();
        waitForText(item, "第一行\n第二行");
    }

    // The document of a tab that is gone must be dropped on the thread that it belongs to.
    void tabClosedWhileItLoads()
    {
        const QString path = file(QByteArray("<p>说明</p>").repeated(20000));
        for (int i = 0; i < 20; ++i) {
            CExplainItem item({"产品", "1.0", path, "2.0"});
            item.show();
            if (i % 2)
                QCoreApplication::processEvents();
        }
        QThreadPool::globalInstance()->waitForDone();
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    }

    void links()
    {
        const LinkTaker opened({"http"});
        const QString more = file("<p>另一页</p>");
        const QString fifo = m_directory.filePath("pipe.html");
        QVERIFY(mkfifo(fifo.toLocal8Bit().constData(), 0600) == 0);
        NotesBrowser browser(nullptr);
        browser.resize(400, 300);
        browser.show();
        const auto follow = [&](const QString &target) {
            browser.setNotes(notes::makeDocument(QString("<a href='%1'>链接</a>").arg(target), browser.font()));
            browser.setFocus();
            QTest::keyClick(&browser, Qt::Key_Tab); // to the link
            QTest::keyClick(&browser, Qt::Key_Return);
        };
        follow("http://example.invalid/notes");
        QCOMPARE(opened.urls, QStringList{"http://example.invalid/notes"});
        QCOMPARE(browser.toPlainText(), QString("链接"));
        follow("file://" + more);
        QCOMPARE(browser.toPlainText(), QString("另一页"));
        follow("file://" + fifo); // returns
        QCOMPARE(opened.urls.size(), 1);
    }

private:
    QString file(const QByteArray &content)
    {
        const QString path = m_directory.filePath(QString("notes%1.html").arg(++m_files));
        QFile out(path);
        if (!out.open(QIODevice::WriteOnly) || out.write(content) != content.size())
            qFatal("no notes file");
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
