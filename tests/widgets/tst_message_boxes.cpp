#include "support/LogCatcher.h"
#include "support/ModalClicker.h"
#include "widgets/CustomMessageBox.h"
#include "widgets/MessageText.h"
#include "widgets/QuestionMessageBox.h"
#include "widgets/TimingMessageBox.h"
#include <QAccessible>
#include <QApplication>
#include <QDesktopServices>
#include <QLabel>
#include <QPushButton>
#include <QScreen>
#include <QScrollArea>
#include <QScrollBar>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <QUrl>
#include <private/qguiapplication_p.h>
#include <qpa/qplatformaccessibility.h>
#include <qpa/qplatformintegration.h>
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

// A text that the metrics say is exactly so wide.
QString textOfWidth(const QFontMetrics &metrics, int width)
{
    for (int wide = width / 8; wide >= 0; wide--) {
        for (int narrow = 0; narrow < 6; narrow++) {
            for (int dots = 0; dots < 6; dots++) {
                const QString text = QString(wide, QLatin1Char('n')) + QString(narrow, QLatin1Char('i')) +
                                     QString(dots, QLatin1Char('W'));
                if (metrics.boundingRect(text).width() == width)
                    return text;
            }
        }
    }
    return QString();
}

// Follows links instead of the desktop's browser.
class LinkTaker : public QObject
{
    Q_OBJECT
public:
    LinkTaker()
    {
        for (const QString &scheme : schemes())
            QDesktopServices::setUrlHandler(scheme, this, "take");
    }
    ~LinkTaker() override
    {
        for (const QString &scheme : schemes())
            QDesktopServices::unsetUrlHandler(scheme);
    }
    QList<QUrl> urls;

public slots:
    void take(const QUrl &url) { urls.append(url); }

private:
    static QStringList schemes() { return {QStringLiteral("http"), QStringLiteral("https"), QStringLiteral("file")}; }
};

} // namespace

class TestMessageBoxes : public QObject
{
    Q_OBJECT
private slots:
    void measuredHeight_data();
    void measuredHeight();
    void heightThreshold();
    void shownText_data();
    void shownText();
    void nothingIsLoaded();
    void longTexts();
    void answers_data();
    void answers();
    void buttonTexts();
    void link();
    void linkByKeyboard();
    void onlyWebLinksAreOpened();
    void ownerDies();
    void twoBoxes();
    void hostGoesOn();
    void unaskedBoxIgnoresKeys();
    void askedBoxConfirms();
    void announcedAsAlert();
    void timingBoxCloses();
    void timingBoxSizes();
};

void TestMessageBoxes::measuredHeight_data()
{
    QTest::addColumn<QList<int>>("widths"); // of the lines; each ends in "\r\n" but the last
    QTest::addColumn<int>("lines");
    QTest::newRow("one line measures nothing") << QList<int>{2000} << 2;
    QTest::newRow("two lines") << QList<int>{100, 100} << 3;
    QTest::newRow("last line is not measured") << QList<int>{100, 2000} << 3;
    QTest::newRow("225 fits") << QList<int>{225, 0} << 3;
    QTest::newRow("226 is one more") << QList<int>{226, 0} << 4;
    QTest::newRow("439 is one more") << QList<int>{439, 0} << 4;
    QTest::newRow("440 is two more") << QList<int>{440, 0} << 5;
    QTest::newRow("each line counts") << QList<int>{226, 440, 225, 2000} << 3 + 2 + 1 + 2;
}

void TestMessageBoxes::measuredHeight()
{
    QFETCH(QList<int>, widths);
    QFETCH(int, lines);
    QFont font(QStringLiteral("Noto Sans CJK SC"));
    font.setPixelSize(14);
    const QFontMetrics metrics(font);
    QStringList parts;
    for (const int width : widths) {
        parts.append(textOfWidth(metrics, width));
        QVERIFY2(width == 0 || !parts.constLast().isEmpty(), "no text of this width");
    }
    QCOMPARE(messagetext::measuredHeight(parts.join(QStringLiteral("\r\n")), metrics), lines * metrics.lineSpacing());
    // Only both characters together end a line.
    QCOMPARE(messagetext::measuredHeight(parts.join(QStringLiteral("\n")), metrics), 2 * metrics.lineSpacing());
}

void TestMessageBoxes::heightThreshold()
{
    const QString line = QStringLiteral("短\r\n");
    CustomMessageBox probe(title(), line, eTipNormal, nullptr);
    const QFontMetrics metrics(probe.findChild<QLabel *>(QStringLiteral("messageText"))->font());
    const int most = 499 / metrics.lineSpacing() - 2; // line ends that still measure 499 or less

    CustomMessageBox lower(title(), line.repeated(most), eTipNormal, nullptr);
    QCOMPARE(lower.findChild<QScrollArea *>()->minimumHeight(), (most + 2) * metrics.lineSpacing());
    QVERIFY(lower.minimumHeight() != lower.maximumHeight());

    CustomMessageBox taller(title(), line.repeated(most + 1), eTipNormal, nullptr);
    const int box = qMin(660, QGuiApplication::primaryScreen()->availableGeometry().height());
    QCOMPARE(taller.findChild<QScrollArea *>()->minimumHeight(), 500 - (660 - box));
    QCOMPARE(taller.minimumHeight(), box);
    QCOMPARE(taller.maximumHeight(), box);
}

void TestMessageBoxes::shownText_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("shown");
    QTest::newRow("line ends") << QStringLiteral("甲\r\n乙\n丙") << QStringLiteral("甲\n乙\n丙");
    QTest::newRow("no markup") << QStringLiteral("a < b && c > d") << QStringLiteral("a < b && c > d");
    QTest::newRow("link and colour stay") << QStringLiteral("<a style='color: #0C64EB;' href='http://x/'>乙</a>")
                                          << QStringLiteral("<a href=\"http://x/\" style=\"color:#0C64EB\">乙</a>");
    QTest::newRow("font colour stays") << QStringLiteral("<font color='red'>甲</font>\r\n乙")
                                       << QStringLiteral("<font style=\"color:red\">甲</font><br>乙");
    QTest::newRow("picture goes") << QStringLiteral("<b>甲</b><img src='file:///etc/passwd'>乙")
                                  << QStringLiteral("<b>甲</b>乙");
    QTest::newRow("unfinished picture is text")
        << QStringLiteral("<b>甲</b><img src='file:///x'") << QStringLiteral("<b>甲</b>&lt;img src='file:///x'");
    QTest::newRow("style keeps the colour only")
        << QStringLiteral("<p style='color:blue;background-image:url(file:///x)'>甲</p>")
        << QStringLiteral("<p style=\"color:blue\">甲</p>");
    QTest::newRow("colour is no way in") << QStringLiteral("<b style='color:red\"x'>甲</b>")
                                         << QStringLiteral("<b>甲</b>");
    QTest::newRow("tables go") << QStringLiteral("<b>x</b><table width=9999><tr><td>甲</td></tr></table>")
                               << QStringLiteral("<b>x</b>甲");
}

void TestMessageBoxes::shownText()
{
    QFETCH(QString, text);
    QTEST(messagetext::shown(text).text, "shown");
}

void TestMessageBoxes::nothingIsLoaded()
{
    QTemporaryDir folder;
    const QString pipe = folder.filePath(QStringLiteral("pipe.png"));
    QCOMPARE(mkfifo(pipe.toLocal8Bit().constData(), 0600), 0); // whoever opens it to read waits for ever
    CustomMessageBox box(QStringLiteral("<img src='%1'>").arg(pipe),
                         QStringLiteral("<b>甲</b><img src='%1'>").arg(pipe), eTipNormal, nullptr);
    box.show();
    QVERIFY(QTest::qWaitForWindowExposed(&box));
    QCOMPARE(box.findChild<QLabel *>(QStringLiteral("titleText"))->textFormat(), Qt::PlainText);
}

void TestMessageBoxes::longTexts()
{
    CustomMessageBox small(title(), QStringLiteral("短"), eTipNormal, nullptr);
    CustomMessageBox box(QStringLiteral("标题").repeated(250), QString(4 * 1024 * 1024, QLatin1Char('a')), eTipNormal,
                         nullptr);
    box.show();
    QVERIFY(QTest::qWaitForWindowExposed(&box));
    QCOMPARE(box.width(), small.width());
    auto *area = box.findChild<QScrollArea *>();
    QVERIFY(area->widget()->width() <= area->viewport()->width()); // broken into lines, nothing sticks out
    QVERIFY(area->verticalScrollBar()->isVisible());
    QCOMPARE(area->verticalScrollBar()->width(), 6);
    auto *heading = box.findChild<QLabel *>(QStringLiteral("titleText"));
    QVERIFY(heading->text().endsWith(QChar(0x2026)));
    QVERIFY(heading->toolTip().contains(QStringLiteral("标题").repeated(250)));

    // A text without line ends measures two lines, but gets the room that it needs.
    CustomMessageBox paragraph(title(), QStringLiteral("补丁已经安装完成，下次启动软件时生效。").repeated(6),
                               eTipNormal, nullptr);
    paragraph.show();
    QVERIFY(QTest::qWaitForWindowExposed(&paragraph));
    QVERIFY(!paragraph.findChild<QScrollArea *>()->verticalScrollBar()->isVisible());
}

void TestMessageBoxes::answers_data()
{
    QTest::addColumn<QString>("button");
    QTest::addColumn<int>("answer");
    QTest::newRow("first") << QStringLiteral("是") << 1;
    QTest::newRow("second") << QStringLiteral("否") << 0;
    QTest::newRow("close button") << QStringLiteral("closeButton") << 0;
    QTest::newRow("Escape") << QString() << 0;
}

void TestMessageBoxes::answers()
{
    QFETCH(QString, button);
    std::unique_ptr<ModalClicker> clicker;
    if (button.isEmpty())
        QTimer::singleShot(0, [] { QTest::keyClick(QApplication::activeModalWidget(), Qt::Key_Escape); });
    else
        clicker = std::make_unique<ModalClicker>(QStringList(button));
    QTEST(CQuestionMessageBox(title(), QStringLiteral("确定要取消升级吗？"), nullptr, QStringLiteral("是"),
                              QStringLiteral("否")),
          "answer");
    QVERIFY(!clicker || clicker->isDone());
    QVERIFY(!clicker || clicker->texts().constFirst().contains(QStringLiteral("确定要取消升级吗？")));
}

void TestMessageBoxes::buttonTexts()
{
    QuestionMessageBox box(title(), QString(), nullptr);
    auto *ok = box.findChild<QPushButton *>(QStringLiteral("okButton"));
    auto *cancel = box.findChild<QPushButton *>(QStringLiteral("cancelButton"));
    QCOMPARE(ok->text(), QStringLiteral("确定"));
    QCOMPARE(cancel->text(), QStringLiteral("取消"));
    QVERIFY(ok->width() >= 80 && ok->height() == 40);
    box.SetButtonText(QStringLiteral("立即升级"), QString());
    QCOMPARE(ok->text(), QStringLiteral("立即升级"));
    QCOMPARE(cancel->text(), QStringLiteral("取消"));
}

void TestMessageBoxes::link()
{
    LinkTaker taker;
    bool clicked = false;
    QTimer::singleShot(0, [] {
        QWidget *box = QApplication::activeModalWidget();
        auto *label = box->findChild<QLabel *>(QStringLiteral("messageText"));
        label->linkActivated(QStringLiteral("https://user.example/a?b=1"));
        QTest::mouseClick(box->findChild<QPushButton *>(QStringLiteral("okButton")), Qt::LeftButton);
    });
    CstmMessageBox(title(), linkText(), eTipNormal, nullptr, &clicked);
    QVERIFY(clicked);
    QCOMPARE(taker.urls, QList<QUrl>{QUrl(QStringLiteral("https://user.example/a?b=1"))});

    ModalClicker clicker({QStringLiteral("确定")});
    CstmMessageBox(title(), linkText(), eTipNormal, nullptr, &clicked);
    QVERIFY(clicked); // false is never written
    clicker.deleteLater();
}

void TestMessageBoxes::linkByKeyboard()
{
    LinkTaker taker;
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

void TestMessageBoxes::onlyWebLinksAreOpened()
{
    LinkTaker taker;
    const LogCatcher logs;
    CustomMessageBox box(title(), QStringLiteral("<a href='file:///etc/passwd'>甲</a>"), eTipNormal, nullptr);
    box.findChild<QLabel *>(QStringLiteral("messageText"))->linkActivated(QStringLiteral("file:///etc/passwd"));
    QVERIFY(box.isLinkClick());
    QVERIFY(taker.urls.isEmpty());
    QCOMPARE(logs.texts(QtWarningMsg).size(), 1);
}

void TestMessageBoxes::ownerDies()
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
    QVERIFY(!clicked); // the flag may have gone with the owner

    owner = new QWidget;
    QTimer::singleShot(0, [owner] { delete owner; });
    QCOMPARE(CQuestionMessageBox(title(), QStringLiteral("甲"), owner), 0);

    owner = new QWidget;
    QTimer::singleShot(0, [owner] { delete owner; });
    CstmTimingMessageBox(QStringLiteral("甲"), 60000, owner);
    QVERIFY(!QApplication::activeModalWidget());
}

void TestMessageBoxes::twoBoxes()
{
    // The second opens while the first runs; each gets its own answer.
    int inner = -1;
    QTimer::singleShot(0, [&inner] {
        inner =
            CQuestionMessageBox(title(), QStringLiteral("第二个"), nullptr, QStringLiteral("是"), QStringLiteral("否"));
    });
    ModalClicker clicker({QStringLiteral("否"), QStringLiteral("立即升级")});
    const int outer = CQuestionMessageBox(title(), QStringLiteral("第一个"), nullptr, QStringLiteral("立即升级"),
                                          QStringLiteral("重试"));
    QCOMPARE(inner, 0);
    QCOMPARE(outer, 1);
    QVERIFY(clicker.isDone());
}

void TestMessageBoxes::hostGoesOn()
{
    QVERIFY(QGuiApplication::quitOnLastWindowClosed());
    const QSignalSpy ended(qApp, &QGuiApplication::lastWindowClosed);
    {
        ModalClicker clicker({QStringLiteral("确定"), QStringLiteral("确定")});
        CstmMessageBox(title(), QStringLiteral("甲"), eTipError, nullptr, nullptr);
        CQuestionMessageBox(title(), QStringLiteral("甲"), nullptr);
        QVERIFY(clicker.isDone());
    }
    CstmTimingMessageBox(QStringLiteral("甲"), 1, nullptr);
    QCoreApplication::processEvents();
    QCOMPARE(ended.count(), 0);
}

void TestMessageBoxes::unaskedBoxIgnoresKeys()
{
    QuestionMessageBox box(title(), QStringLiteral("甲"), nullptr);
    QSignalSpy finished(&box, &QDialog::finished);
    box.show();
    QVERIFY(QTest::qWaitForWindowActive(&box));
    QCOMPARE(QApplication::focusWidget(), &box);
    for (const int key : {Qt::Key_Return, Qt::Key_Enter, Qt::Key_Space, Qt::Key_Y, Qt::Key_O})
        QTest::keyClick(QApplication::focusWidget(), Qt::Key(key));
    QVERIFY(box.isVisible());
    // After Tab the keys are meant for it: first button, second button, title bar, and round.
    QStringList order;
    for (int i = 0; i < 4; i++) {
        QTest::keyClick(QApplication::focusWidget(), Qt::Key_Tab);
        order << QApplication::focusWidget()->objectName();
    }
    QCOMPARE(order, QStringList({QStringLiteral("okButton"), QStringLiteral("cancelButton"),
                                 QStringLiteral("closeButton"), QStringLiteral("okButton")}));
    QTest::keyClick(QApplication::focusWidget(), Qt::Key_Return);
    QCOMPARE(finished.count(), 1);
    QCOMPARE(box.result(), 1);

    box.show();
    auto *cancel = box.findChild<QPushButton *>(QStringLiteral("cancelButton"));
    cancel->setFocus(Qt::TabFocusReason);
    QTest::keyClick(cancel, Qt::Key_Space);
    QCOMPARE(finished.count(), 2);
    QCOMPARE(box.result(), 0);
}

void TestMessageBoxes::askedBoxConfirms()
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

void TestMessageBoxes::announcedAsAlert()
{
    static QList<QPair<QAccessible::Event, QObject *>> events;
    QGuiApplicationPrivate::platformIntegration()->accessibility()->setActive(true);
    QAccessible::installUpdateHandler([](QAccessibleEvent *event) { events.append({event->type(), event->object()}); });

    CustomMessageBox notice(title(), linkText(), eTipWarning, nullptr);
    QuestionMessageBox question(QStringLiteral("询问"), QStringLiteral("确定？\r\n是否"), nullptr);
    CTimingMessageBox timing(QStringLiteral("已完成"), 60000, nullptr);
    const QList<QPair<QWidget *, QString>> boxes = {{&notice, QStringLiteral("请先前往岚川用户中心绑定后再登录。")},
                                                    {&question, QStringLiteral("确定？\n是否")},
                                                    {&timing, QStringLiteral("已完成")}};
    for (const auto &box : boxes) {
        events.clear();
        box.first->show();
        QVERIFY(events.contains({QAccessible::Alert, box.first}));
        QAccessibleInterface *alert = QAccessible::queryAccessibleInterface(box.first);
        QCOMPARE(alert->role(), QAccessible::AlertMessage);
        QCOMPARE(alert->text(QAccessible::Name), box.first->windowTitle());
        QCOMPARE(alert->text(QAccessible::Description), box.second);
        for (QWidget *child : box.first->findChildren<QWidget *>()) {
            if (child->focusPolicy() == Qt::NoFocus)
                continue;
            QAccessibleInterface *control = QAccessible::queryAccessibleInterface(child);
            QVERIFY2(!control->text(QAccessible::Name).isEmpty(), child->metaObject()->className());
            QVERIFY(control->role() == QAccessible::PushButton || control->role() == QAccessible::StaticText);
        }
    }
    QAccessible::installUpdateHandler(nullptr);
    const auto nameOf = [](QWidget *child) {
        return QAccessible::queryAccessibleInterface(child)->text(QAccessible::Name);
    };
    QCOMPARE(nameOf(question.findChild<QWidget *>(QStringLiteral("closeButton"))), QStringLiteral("关闭"));
    QCOMPARE(nameOf(question.findChild<QWidget *>(QStringLiteral("cancelButton"))), QStringLiteral("取消"));
    QCOMPARE(nameOf(notice.findChild<QWidget *>(QStringLiteral("messageIcon"))), QStringLiteral("警告"));
}

void TestMessageBoxes::timingBoxCloses()
{
    QElapsedTimer timer;
    timer.start();
    CstmTimingMessageBox(QStringLiteral("已复制"), 120, nullptr);
    QVERIFY(timer.elapsed() >= 110);
    CstmTimingMessageBox(QStringLiteral("已复制"), -5, nullptr); // must not stay for ever
    QTimer::singleShot(0, [] { QTest::keyClick(QApplication::activeModalWidget(), Qt::Key_Escape); });
    CstmTimingMessageBox(QStringLiteral("已复制"), 3600000, nullptr);
}

void TestMessageBoxes::timingBoxSizes()
{
    CTimingMessageBox little(QStringLiteral("好"), 60000, nullptr);
    CTimingMessageBox more(QStringLiteral("已经复制到剪贴板"), 60000, nullptr);
    CTimingMessageBox most(QStringLiteral("补丁").repeated(1000), 60000, nullptr);
    for (CTimingMessageBox *box : {&little, &more, &most}) {
        box->show();
        QVERIFY(QTest::qWaitForWindowExposed(box));
        QCOMPARE(box->height(), 90);
        QCOMPARE(box->findChild<QWidget *>(QStringLiteral("CTimingMessageBox"))->styleSheet(),
                 QStringLiteral("#CTimingMessageBox{border:none;background-color:#F8F8F8;}"));
    }
    QVERIFY(little.width() < more.width());
    QCOMPARE(most.width(), 860);
    auto *label = most.findChild<QLabel *>(QStringLiteral("messageText"));
    QVERIFY(label->sizeHint().height() <= label->height());
    QVERIFY(label->text().endsWith(QChar(0x2026)));
    QVERIFY(!label->toolTip().isEmpty());
    QVERIFY(label->fontMetrics().lineSpacing() * 3 <= label->height());
}

QTEST_MAIN(TestMessageBoxes)
#include "tst_message_boxes.moc"
