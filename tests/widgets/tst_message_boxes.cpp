#include "support/BoxScript.h"
#include "support/LinkTaker.h"
#include "support/LogCatcher.h"
#include "widgets/BoxContent.h"
#include "widgets/CustomMessageBox.h"
#include <QtTest>
#include <QtWidgets>
#include <sys/stat.h>

namespace {

const QString Title = QStringLiteral("提示");

QLabel *textOf(const QWidget *box)
{
    return box->findChild<QLabel *>("messageText");
}

// Moves the focus there with Tab.
bool tabTo(QWidget *widget)
{
    for (int i = 0; i < 4 && !widget->hasFocus(); i++)
        QTest::keyClick(QApplication::focusWidget(), Qt::Key_Tab);
    return widget->hasFocus();
}

} // namespace

class TestMessageBoxes : public QObject
{
    Q_OBJECT
private slots:
    // Lines that end in "\r\n" count by their width; the last line is not measured.
    void measuredHeight()
    {
        const QFontMetrics metrics(QApplication::font());
        const auto wider = [&](int width) {
            QString text;
            while (metrics.boundingRect(text).width() < width)
                text += 'i';
            return text;
        };
        const auto lines = [&](const QString &text) {
            return tarn::visualized::measuredBoxHeight(text, metrics, 100 * metrics.lineSpacing()) /
                   metrics.lineSpacing();
        };
        const QString end("\r\n");
        QCOMPARE(lines(wider(2000)), 2);
        QCOMPARE(lines("i" + end + wider(2000)), 3);
        QCOMPARE(lines(wider(226) + end), 4);
        QCOMPARE(lines(wider(440) + end + wider(226) + end), 7);
        QCOMPARE(lines(QString("i\r\n").repeated(4000000)), 101); // counting ends at the limit
        QCOMPARE(lines(wider(440) + '\n' + wider(440)), 2);       // only both characters together end a line
    }

    void hostileTexts()
    {
        QTemporaryDir folder;
        const QString pipe = folder.filePath("pipe.png");
        QCOMPARE(mkfifo(pipe.toLocal8Bit().constData(), 0600), 0); // opening it for reading blocks
        const QString picture = QString("<img src='%1'>").arg(pipe);
        CustomMessageBox small(Title, "短", eTipNormal, nullptr);
        CustomMessageBox box(picture.repeated(99), "<b>甲</b>" + picture + QString(4 << 20, 'a'), eTipNormal, nullptr);
        box.show();
        QVERIFY(QTest::qWaitForWindowExposed(&box));
        QCOMPARE(box.width(), small.width());
        const auto *area = box.findChild<QScrollArea *>();
        QVERIFY(area->widget()->width() <= area->viewport()->width()); // broken into lines, nothing sticks out
        QVERIFY(area->verticalScrollBar()->isVisible());
        const auto *title = box.findChild<QLabel *>("titleText");
        QVERIFY(title->textFormat() == Qt::PlainText && title->text().endsWith(QChar(0x2026)));
    }

    void longTextScrollsByKeyboard()
    {
        CustomMessageBox shortBox(Title, "一\n二\n三", eTipNormal, nullptr);
        QCOMPARE(shortBox.findChild<QScrollArea *>()->focusPolicy(), Qt::NoFocus);
        CustomMessageBox box(Title, QString("一行文字\r\n").repeated(200), eTipNormal, nullptr);
        box.show();
        QVERIFY(QTest::qWaitForWindowActive(&box));
        auto *area = box.findChild<QScrollArea *>();
        QVERIFY(tabTo(area));
        QCOMPARE(area->accessibleName(), QString("提示内容"));
        QTest::keyClick(area, Qt::Key_PageDown);
        QVERIFY(area->verticalScrollBar()->value() > 0);
        QCOMPARE(area->verticalScrollBar()->contextMenuPolicy(), Qt::PreventContextMenu); // it would be in English
    }

    // Exactly, also over a frameless window; and never outside of the screen.
    void overTheMiddleOfTheParent()
    {
        QDialog parent(nullptr, Qt::Dialog | Qt::FramelessWindowHint);
        parent.setGeometry(150, 120, 620, 500);
        parent.show();
        CustomMessageBox notice(Title, "甲", eTipNormal, &parent);
        CTimingMessageBox timing("已完成", 60000, &parent);
        for (QDialog *box : {static_cast<QDialog *>(&notice), static_cast<QDialog *>(&timing)}) {
            box->show();
            QVERIFY((box->geometry().center() - parent.geometry().center()).manhattanLength() <= 2);
        }
        parent.move(-600, -400);
        QuestionMessageBox question(Title, "甲", &parent);
        question.show();
        QCOMPARE(question.pos(), QPoint(0, 0));
    }

    void answers()
    {
        int inner = -1; // of a second box, which opens while the first runs
        QTimer::singleShot(0, [&inner] { inner = CQuestionMessageBox(Title, "第二个", nullptr, "是", "否"); });
        BoxScript boxes({BoxScript::pressing("否"), BoxScript::pressing("立即升级"), BoxScript::pressing("closeButton"),
                         [](QDialog *box) { QTest::keyClick(box, Qt::Key_Escape); }});
        for (const int answer : {1, 0, 0})
            QCOMPARE(CQuestionMessageBox(Title, "确定要取消升级吗？", nullptr, "立即升级", "重试"), answer);
        QCOMPARE(inner, 0);
        QVERIFY(boxes.isDone());
        QCOMPARE(boxes.texts.constLast(), QString("确定要取消升级吗？"));
    }

    void links()
    {
        const LinkTaker taker({"https", "file"});
        const LogCatcher logs;
        const QString page("https://user.example/a?b=1");
        const QString text =
            QString("请先前往<a style=\"color: #0C64EB;\" href=\"%1\">岚川用户中心</a>绑定。").arg(page);
        bool clicked = false;
        const auto plain = [] { // a link without a colour
            const CustomMessageBox box(Title, "<a href='https://x.cn'>甲</a>", eTipNormal, nullptr);
            return textOf(&box)->grab().toImage();
        };
        const QImage before = plain();
        QPalette host = QGuiApplication::palette();
        const auto restore = qScopeGuard([host] { QApplication::setPalette(host); });
        host.setColor(QPalette::Link, Qt::red);
        QApplication::setPalette(host);
        QCOMPARE(plain(), before);
        BoxScript boxes({[&](QDialog *box) {
                             QVERIFY(QTest::qWaitForWindowActive(box) && tabTo(textOf(box)));
                             QTest::keyClick(textOf(box), Qt::Key_Tab); // onto the link
                             QTest::keyClick(textOf(box), Qt::Key_Return);
                             QCOMPARE(taker.urls, QStringList(page));
                             textOf(box)->linkActivated("file:///etc/passwd");
                             QVERIFY(box->isVisible());
                             BoxScript::press(box, "确定");
                         },
                         BoxScript::pressing("确定")});
        CstmMessageBox(Title, text, eTipNormal, nullptr, &clicked);
        QVERIFY(clicked);
        QCOMPARE(taker.urls, QStringList(page));
        QCOMPARE(logs.texts(QtWarningMsg).size(), 1);
        CstmMessageBox(Title, text, eTipNormal, nullptr, &clicked);
        QVERIFY(clicked); // false is never written
        QVERIFY(boxes.isDone());
    }

    void ownerDies()
    {
        bool clicked = false;
        QWidget *owner = nullptr;
        const auto dying = [&owner] {
            owner = new QWidget;
            QTimer::singleShot(0, [owner] {
                if (QLabel *label = textOf(QApplication::activeModalWidget()))
                    label->linkActivated("nowhere:");
                delete owner;
            });
            return owner;
        };
        CstmMessageBox(Title, "甲", eTipNormal, dying(), &clicked);
        QVERIFY(!clicked); // the flag may have been a member of the owner
        QCOMPARE(CQuestionMessageBox(Title, "甲", dying()), 0);
        CstmTimingMessageBox("甲", 60000, dying());
        QVERIFY(!QApplication::activeModalWidget());
    }

    void askedBoxConfirms()
    {
        CustomMessageBox notice(Title, "甲", eTipNormal, nullptr);
        notice.setOrigin(eBoxOrigin::AskedFor);
        QuestionMessageBox question(Title, "甲", nullptr);
        question.setOrigin(eBoxOrigin::AskedFor);
        for (QDialog *box : {static_cast<QDialog *>(&notice), static_cast<QDialog *>(&question)}) {
            box->show();
            QVERIFY(QTest::qWaitForWindowActive(box));
            QVERIFY(box->findChild<QPushButton *>("okButton")->isDefault());
            QTest::keyClick(QApplication::focusWidget(), Qt::Key_Return);
            QVERIFY(!box->isVisible());
        }
        QCOMPARE(question.result(), 1);
    }

    void spokenAsAlert()
    {
        CustomMessageBox notice(Title, "请先前往<a href=\"https://user.example/\">岚川用户中心</a>绑定。", eTipWarning,
                                nullptr);
        QuestionMessageBox question("询问", "确定？\r\n是否", nullptr);
        CTimingMessageBox timing("已完成", 60000, nullptr);
        const auto nameOf = [](QWidget *child) {
            return QAccessible::queryAccessibleInterface(child)->text(QAccessible::Name);
        };
        const QList<QPair<QWidget *, QString>> boxes = {
            {&notice, "请先前往岚川用户中心绑定。"}, {&question, "确定？ 是否"}, {&timing, "已完成"}};
        for (const auto &box : boxes) {
            box.first->show();
            QAccessibleInterface *alert = QAccessible::queryAccessibleInterface(box.first);
            QCOMPARE(alert->role(), QAccessible::AlertMessage);
            QCOMPARE(alert->text(QAccessible::Name), box.first->windowTitle());
            QCOMPARE(alert->text(QAccessible::Description), QString()); // else it would be spoken besides the label
            QCOMPARE(nameOf(textOf(box.first)), box.second);
            QVERIFY(!box.first->testAttribute(Qt::WA_QuitOnClose)); // else it would end the host, as the last window
        }
        QCOMPARE(nameOf(notice.findChild<QWidget *>("messageIcon")), QString("警告"));
    }

    void timingBoxCloses()
    {
        QElapsedTimer timer;
        timer.start();
        CstmTimingMessageBox("已复制", 120, nullptr);
        QVERIFY(timer.elapsed() >= 110);
        CstmTimingMessageBox("已复制", -5, nullptr); // must not stay for ever
        QCOMPARE(CTimingMessageBox(QString(999, 'a'), 1, nullptr).size(), QSize(860, 90));
        QTimer::singleShot(0, [] { QTest::keyClick(QApplication::activeModalWidget(), Qt::Key_Escape); });
        CstmTimingMessageBox("已复制", 3600000, nullptr);
    }
};

QTEST_MAIN(TestMessageBoxes)
#include "tst_message_boxes.moc"
