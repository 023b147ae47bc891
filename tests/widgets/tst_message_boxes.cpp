#include "support/LinkTaker.h"
#include "support/LogCatcher.h"
#include "upgrade/BoxScript.h"
#include "widgets/BoxContent.h"
#include "widgets/CustomMessageBox.h"
#include "widgets/QuestionMessageBox.h"
#include "widgets/TimingMessageBox.h"
#include <QAccessible>
#include <QApplication>
#include <QLabel>
#include <QPushButton>
#include <QScrollArea>
#include <QScrollBar>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <sys/stat.h>

namespace {

QString title()
{
    return QStringLiteral("提示");
}

QString linkText()
{
    return QStringLiteral(
        "请先前往<a style=\"color: #0C64EB;\" href=\"https://user.example/a?b=1\">岚川用户中心</a>绑定后再登录。");
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
                text += QLatin1Char('i');
            return text;
        };
        const auto lines = [&](const QString &text) {
            return tarn::visualized::measuredBoxHeight(text, metrics, 100 * metrics.lineSpacing()) /
                   metrics.lineSpacing();
        };
        const QString end = QStringLiteral("\r\n");
        QCOMPARE(lines(wider(2000)), 2);
        QCOMPARE(lines(QStringLiteral("i") + end + wider(2000)), 3);
        QCOMPARE(lines(wider(226) + end), 4);
        QCOMPARE(lines(wider(440) + end), 5);
        QCOMPARE(lines(wider(440) + end + wider(226) + end), 7);
        QCOMPARE(lines(QString("i\r\n").repeated(4000000)), 101);        // counting ends at the limit
        QCOMPARE(lines(wider(440) + QLatin1Char('\n') + wider(440)), 2); // only both characters together end a line
    }

    void nothingIsLoaded()
    {
        QTemporaryDir folder;
        const QString pipe = folder.filePath(QStringLiteral("pipe.png"));
        QCOMPARE(mkfifo(pipe.toLocal8Bit().constData(), 0600), 0); // opening it for reading blocks
        CustomMessageBox box(QStringLiteral("<img src='%1'>").arg(pipe),
                             QStringLiteral("<b>甲</b><img src='%1'>").arg(pipe), eTipNormal, nullptr);
        box.show();
        QVERIFY(QTest::qWaitForWindowExposed(&box));
        QCOMPARE(box.findChild<QLabel *>(QStringLiteral("titleText"))->textFormat(), Qt::PlainText);
    }

    void longTexts()
    {
        CustomMessageBox small(title(), QStringLiteral("短"), eTipNormal, nullptr);
        CustomMessageBox box(QStringLiteral("标题").repeated(250), QString(4 * 1024 * 1024, QLatin1Char('a')),
                             eTipNormal, nullptr);
        box.show();
        QVERIFY(QTest::qWaitForWindowExposed(&box));
        QCOMPARE(box.width(), small.width());
        auto *area = box.findChild<QScrollArea *>();
        QVERIFY(area->widget()->width() <= area->viewport()->width()); // broken into lines, nothing sticks out
        QVERIFY(area->verticalScrollBar()->isVisible());
        QVERIFY(box.findChild<QLabel *>(QStringLiteral("titleText"))->text().endsWith(QChar(0x2026)));
    }

    void longTextScrollsByKeyboard()
    {
        CustomMessageBox shortBox(title(), QStringLiteral("短"), eTipNormal, nullptr);
        QCOMPARE(shortBox.findChild<QScrollArea *>()->focusPolicy(), Qt::NoFocus);
        CustomMessageBox box(title(), QStringLiteral("一行文字\r\n").repeated(200), eTipNormal, nullptr);
        box.show();
        QVERIFY(QTest::qWaitForWindowActive(&box));
        auto *area = box.findChild<QScrollArea *>();
        for (int i = 0; i < 4 && !area->hasFocus(); i++)
            QTest::keyClick(QApplication::focusWidget(), Qt::Key_Tab);
        QVERIFY(area->hasFocus());
        QTest::keyClick(area, Qt::Key_PageDown);
        QVERIFY(area->verticalScrollBar()->value() > 0);
    }

    // Exactly, also over a frameless window; and never outside of the screen.
    void overTheMiddleOfTheParent()
    {
        QDialog parent(nullptr, Qt::Dialog | Qt::FramelessWindowHint);
        parent.setGeometry(150, 120, 620, 500);
        parent.show();
        CustomMessageBox notice(title(), QStringLiteral("甲"), eTipNormal, &parent);
        CTimingMessageBox timing(QStringLiteral("已完成"), 60000, &parent);
        for (QDialog *box : {static_cast<QDialog *>(&notice), static_cast<QDialog *>(&timing)}) {
            box->show();
            const QPoint distance = box->geometry().center() - parent.geometry().center();
            QVERIFY2(distance.manhattanLength() <= 2, qPrintable(QString::number(distance.manhattanLength())));
        }
        parent.move(-600, -400);
        QuestionMessageBox question(title(), QStringLiteral("甲"), &parent);
        question.show();
        QCOMPARE(question.pos(), QPoint(0, 0));
    }

    void edgeIsVisible()
    {
        CustomMessageBox box(title(), QStringLiteral("甲"), eTipNormal, nullptr);
        box.show();
        const QImage image = box.grab().toImage();
        const int middle = image.height() / 2;
        for (const QPoint &point :
             {QPoint(0, middle), QPoint(image.width() - 1, middle), QPoint(50, image.height() - 1)})
            QVERIFY(image.pixelColor(point) != QColor(Qt::white));
    }

    void answers()
    {
        BoxScript boxes(
            {BoxScript::pressing("是"), BoxScript::pressing("否"),
             [](QDialog *box) { QTest::mouseClick(box->findChild<QPushButton *>("closeButton"), Qt::LeftButton); },
             [](QDialog *box) { QTest::keyClick(box, Qt::Key_Escape); }});
        for (const int answer : {1, 0, 0, 0})
            QCOMPARE(CQuestionMessageBox(title(), "确定要取消升级吗？", nullptr, "是", "否"), answer);
        QVERIFY(boxes.isDone());
        QCOMPARE(boxes.texts.constLast(), QString("确定要取消升级吗？"));
    }

    void link()
    {
        const LinkTaker taker({QStringLiteral("https")});
        bool clicked = false;
        BoxScript boxes({[](QDialog *box) {
                             auto *label = box->findChild<QLabel *>(QStringLiteral("messageText"));
                             label->linkActivated(QStringLiteral("https://user.example/a?b=1"));
                             BoxScript::press(box, QStringLiteral("确定"));
                         },
                         BoxScript::pressing(QStringLiteral("确定"))});
        CstmMessageBox(title(), linkText(), eTipNormal, nullptr, &clicked);
        QVERIFY(clicked);
        QCOMPARE(taker.urls, QStringList(QStringLiteral("https://user.example/a?b=1")));
        CstmMessageBox(title(), linkText(), eTipNormal, nullptr, &clicked);
        QVERIFY(clicked); // false is never written
        QVERIFY(boxes.isDone());
    }

    void linkByKeyboard()
    {
        const LinkTaker taker({QStringLiteral("https")});
        CustomMessageBox box(title(), linkText(), eTipNormal, nullptr);
        box.show();
        QVERIFY(QTest::qWaitForWindowActive(&box));
        auto *label = box.findChild<QLabel *>(QStringLiteral("messageText"));
        for (int i = 0; i < 4 && !label->hasFocus(); i++)
            QTest::keyClick(QApplication::focusWidget(), Qt::Key_Tab);
        QVERIFY(label->hasFocus());
        QTest::keyClick(label, Qt::Key_Tab); // onto the link
        QVERIFY(label->hasFocus());
        QTest::keyClick(label, Qt::Key_Return);
        QVERIFY(box.isLinkClick());
        QVERIFY(box.isVisible());
        QCOMPARE(taker.urls.size(), 1);
    }

    void onlyWebLinksAreOpened()
    {
        const LinkTaker taker({"file", "tarntest", "mailto"});
        const LogCatcher logs;
        CustomMessageBox box(title(), QStringLiteral("<a href='file:///etc/passwd'>甲</a>"), eTipNormal, nullptr);
        auto *label = box.findChild<QLabel *>(QStringLiteral("messageText"));
        for (const char *link : {"file:///etc/passwd", "tarntest://host/", "mailto:a@user.example"})
            label->linkActivated(QString::fromLatin1(link));
        QVERIFY(box.isLinkClick());
        QCOMPARE(taker.urls, QStringList("mailto:a@user.example"));
        QCOMPARE(logs.texts(QtWarningMsg).size(), 2);
    }

    void ownerDies()
    {
        bool clicked = false;
        auto *owner = new QWidget;
        owner->show();
        QTimer::singleShot(0, [owner] {
            auto *label = QApplication::activeModalWidget()->findChild<QLabel *>(QStringLiteral("messageText"));
            label->linkActivated(QStringLiteral("nowhere:"));
            delete owner;
        });
        CstmMessageBox(title(), QStringLiteral("甲"), eTipNormal, owner, &clicked);
        QVERIFY(!clicked); // the flag may have been a member of the owner

        owner = new QWidget;
        QTimer::singleShot(0, [owner] { delete owner; });
        QCOMPARE(CQuestionMessageBox(title(), QStringLiteral("甲"), owner), 0);

        owner = new QWidget;
        QTimer::singleShot(0, [owner] { delete owner; });
        CstmTimingMessageBox(QStringLiteral("甲"), 60000, owner);
        QVERIFY(!QApplication::activeModalWidget());
    }

    void twoBoxes()
    {
        // The second opens while the first runs; each gets its own answer.
        int inner = -1;
        QTimer::singleShot(0, [&inner] {
            inner = CQuestionMessageBox(title(), QStringLiteral("第二个"), nullptr, QStringLiteral("是"),
                                        QStringLiteral("否"));
        });
        BoxScript boxes({BoxScript::pressing(QStringLiteral("否")), BoxScript::pressing(QStringLiteral("立即升级"))});
        const int outer = CQuestionMessageBox(title(), QStringLiteral("第一个"), nullptr, QStringLiteral("立即升级"),
                                              QStringLiteral("重试"));
        QCOMPARE(inner, 0);
        QCOMPARE(outer, 1);
        QVERIFY(boxes.isDone());
    }

    void askedBoxConfirms()
    {
        CustomMessageBox notice(title(), QStringLiteral("甲"), eTipNormal, nullptr);
        notice.setOrigin(eBoxOrigin::AskedFor);
        notice.show();
        QVERIFY(QTest::qWaitForWindowActive(&notice));
        QTest::keyClick(QApplication::focusWidget(), Qt::Key_Return);
        QVERIFY(!notice.isVisible());

        QuestionMessageBox question(title(), QStringLiteral("甲"), nullptr);
        question.setOrigin(eBoxOrigin::AskedFor);
        question.show();
        QVERIFY(QTest::qWaitForWindowActive(&question));
        QTest::keyClick(QApplication::focusWidget(), Qt::Key_Return);
        QCOMPARE(question.result(), 1);
    }

    void spokenAsAlert()
    {
        CustomMessageBox notice(
            QStringLiteral("提示"),
            QStringLiteral("请先前往<a href=\"https://user.example/\">岚川用户中心</a>绑定后再登录。"), eTipWarning,
            nullptr);
        QuestionMessageBox question(QStringLiteral("询问"), QStringLiteral("确定？\r\n是否"), nullptr);
        CTimingMessageBox timing(QStringLiteral("已完成"), 60000, nullptr);
        const auto nameOf = [](QWidget *child) {
            return QAccessible::queryAccessibleInterface(child)->text(QAccessible::Name);
        };
        const QList<QPair<QWidget *, QString>> boxes = {{&notice, QStringLiteral("请先前往岚川用户中心绑定后再登录。")},
                                                        {&question, QStringLiteral("确定？ 是否")},
                                                        {&timing, QStringLiteral("已完成")}};
        for (const auto &box : boxes) {
            box.first->show();
            QAccessibleInterface *alert = QAccessible::queryAccessibleInterface(box.first);
            QCOMPARE(alert->role(), QAccessible::AlertMessage);
            QCOMPARE(alert->text(QAccessible::Name), box.first->windowTitle());
            QCOMPARE(alert->text(QAccessible::Description), QString()); // else it would be spoken besides the label
            QCOMPARE(nameOf(box.first->findChild<QLabel *>(QStringLiteral("messageText"))), box.second);
        }
        QCOMPARE(nameOf(question.findChild<QWidget *>(QStringLiteral("closeButton"))), QStringLiteral("关闭"));
        QCOMPARE(nameOf(notice.findChild<QWidget *>(QStringLiteral("messageIcon"))), QStringLiteral("警告"));
    }

    void timingBoxCloses()
    {
        QElapsedTimer timer;
        timer.start();
        CstmTimingMessageBox(QStringLiteral("已复制"), 120, nullptr);
        QVERIFY(timer.elapsed() >= 110);
        CstmTimingMessageBox(QStringLiteral("已复制"), -5, nullptr); // must not stay for ever
        QTimer::singleShot(0, [] { QTest::keyClick(QApplication::activeModalWidget(), Qt::Key_Escape); });
        CstmTimingMessageBox(QStringLiteral("已复制"), 3600000, nullptr);
    }
};

QTEST_MAIN(TestMessageBoxes)
#include "tst_message_boxes.moc"
