#include "message/CardBody.h"
#include "message/Center.h"
#include "support/OwnProcess.h"
#include "support/SavedPicture.h"
#include <QAccessible>
#include <QFile>
#include <QScrollBar>
#include <QTemporaryDir>
#include <sys/stat.h>

using namespace center;

namespace {
// Everything inside ends where its parent ends.
bool staysInside(const QWidget *item)
{
    for (const QWidget *child : item->findChildren<QWidget *>()) {
        if (child->isVisible() && child->geometry().right() >= child->parentWidget()->width())
            return false;
    }
    return true;
}
} // namespace

// Messages from outside as the user sees and hears them.
class TestMessageCenterLooks : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase() { FakeClient::install(); }
    void init() { center::reset(); }

    void abbreviationKeepsTwoLines()
    {
        QLabel label;
        label.resize(200, 20);
        QCOMPARE(CreateAbbreviationString("短文", label.font(), &label), QString("短文"));
        for (const QString &text : {QString("很长的中文").repeated(60), QString("word ").repeated(200)}) {
            const QStringList lines = CreateAbbreviationString(text, label.font(), &label).split('\n');
            QVERIFY(lines.size() == 2 && lines[1].endsWith("…"));
            for (const QString &line : lines)
                QVERIFY2(label.fontMetrics().horizontalAdvance(line) <= 200, qPrintable(line));
        }
        QVERIFY(CreateAbbreviationString("无处可放", label.font(), nullptr).size() < 20);
        QTextEdit edit("甲<br>乙<br>丙");
        QCOMPARE(GetLineCount("<b>一</b>\n二", &edit), 2);
        QCOMPARE(GetLineCount(QString(), &edit), 3); // its own text, which it keeps
    }

    void hostileBodies_data()
    {
        QTest::addColumn<QString>("content");
        const QString img = "<img src='http://127.0.0.1:9/x.png' width=50000 height=50000>";
        QTest::newRow("1 MiB without a gap") << QString(1 << 20, 'x');
        QTest::newRow("huge remote picture") << img.repeated(50) + "正文";
        QTest::newRow("file as style sheet") << "<link rel=stylesheet href='file:///dev/zero'>正文";
        QTest::newRow("nested tables") << QString("<table><tr><td>").repeated(5000) + "正文";
        QTest::newRow("unbreakable line") << "<pre style='white-space:nowrap'>" + QString("正文").repeated(5000);
        QTest::newRow("deep markup") << QString("<b><div>").repeated(20000) + "正文";
        QTest::newRow("line ends") << QString("ab\n").repeated(21845);
        QTest::newRow("huge font") << "<span style='font-size:9000px'>正文</span>";
    }

    void hostileBodies()
    {
        QFETCH(QString, content);
        const qint64 before = own::processorMs();
        const Window window = open({message("a", {{"MsgContent", content}}), message("b")});
        const qint64 closed = own::processorMs();
        QTest::keyClick(item(window, 0), Qt::Key_Return);
        QTRY_VERIFY(item(window, 0)->height() > 0 && item(window, 1)->y() >= item(window, 0)->height());
        const qint64 opened = own::processorMs();
        QVERIFY2(closed - before < 1000 && opened - closed < 200, qPrintable(QString::number(opened - closed)));
        QVERIFY(item(window, 0)->height() < 3 * window->height());
        QCOMPARE(item(window, 0)->width(), item(window, 1)->width());
        QTRY_VERIFY(staysInside(item(window, 0)));
        QCOMPARE(center::list(window)->horizontalScrollBar()->maximum(), 0);
        QVERIFY(!item(window, 0)->findChild<QTextEdit *>("messageView")->document()->isEmpty());
    }

    void theFocusedCardAloneHasARing()
    {
        const Window window = open({message("a"), message("b")});
        window->activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(window.get()));
        QTest::keyClick(window.get(), Qt::Key_Down);
        QTRY_VERIFY(item(window, 0)->hasFocus());
        const auto edge = [&](int index) {
            QWidget *card = item(window, index);
            return card->grab().toImage().pixelColor(1, card->height() / 2);
        };
        QCOMPARE(edge(0), QColor("#53b3ea"));
        QVERIFY(edge(1) != edge(0));
    }

    void assistiveToolsSeeAListOfMessages()
    {
        const Window window = open(messages(69) << message("long", {{"MsgTitle", QString(5000, 'x')}}));
        QTRY_COMPARE(center::list(window)->items().size(), size_t(70));
        QAccessibleInterface *list = QAccessible::queryAccessibleInterface(center::list(window));
        QCOMPARE(list->childCount(), 70);
        QVERIFY(!list->child(70));
        QCOMPARE(list->child(69)->text(QAccessible::Name).size(), 1001);
        QAccessibleInterface *one = list->child(60);
        QCOMPARE(one->parent(), list);
        QCOMPARE(list->indexOfChild(one), 60);
        QCOMPARE(one->text(QAccessible::Name), QString("标题 id60"));
        QCOMPARE(one->text(QAccessible::Description), QString("未读 2026-11-21 09:30:00 正文 id60"));
        QVERIFY(!one->state().invisible); // the list shows it only when it comes into view
        one->actionInterface()->doAction(QAccessibleActionInterface::setFocusAction());
        QCOMPARE(window->focusWidget(), item(window, 60));
        QVERIFY(!item(window, 60)->visibleRegion().isEmpty());
        one->actionInterface()->doAction(QAccessibleActionInterface::pressAction());
        QVERIFY(one->state().selected && one->state().collapsed);
        one->actionInterface()->doAction(QAccessibleActionInterface::toggleAction());
        QVERIFY(one->state().expanded);
        QCOMPARE(reports().size(), 2);
    }

    // In proportion; a pipe is left out and holds up nothing.
    void pictures()
    {
        QTemporaryDir dir;
        const QString path = savedPicture(dir.filePath("wide.png"), QSize(3000, 1000));
        const QString fifo = dir.filePath("fifo.png");
        QCOMPARE(::mkfifo(QFile::encodeName(fifo).constData(), 0600), 0);
        const Window window = open({message("a", {{"PicFilePath", fifo}}), message("b", {{"PicFilePath", path}}),
                                    message("c", {{"PicFilePath", path}, {"PhotoWidth", 120}}),
                                    message("d", {{"MsgContent", "<img src='" + path + "'>"}})});
        for (CMessageListItem *item : center::list(window)->items())
            QTest::keyClick(item, Qt::Key_Return);
        for (const int i : {1, 2}) {
            const QLabel *picture = nullptr;
            QTRY_VERIFY((picture = item(window, i)->findChild<QLabel *>("messagePicture")));
            QTRY_VERIFY(picture->width() > 100 && staysInside(item(window, i)));
            QVERIFY(qAbs(picture->width() - 3 * picture->height()) <= 3);
            QVERIFY(i == 1 || picture->width() == 120);
            QTRY_VERIFY(picture->parentWidget()->geometry().bottom() < item(window, i)->height());
        }
        QVERIFY(!item(window, 0)->findChild<QLabel *>("messagePicture"));
        QTRY_VERIFY(item(window, 3)->height() > item(window, 0)->height() + 100); // the text grows by its picture
    }
};

QTEST_MAIN(TestMessageCenterLooks)
#include "tst_message_center_looks.moc"
