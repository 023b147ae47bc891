#include "frame/VisualizedManager.h"
#include "frame/VtServiceClient.h"
#include "message/NotifyWnd.h"
#include "support/EventRecorder.h"
#include "support/FakeClient.h"
#include "support/LinkTaker.h"
#include "support/LogCatcher.h"
#include "support/NoticeData.h"
#include <QAccessible>
#include <QElapsedTimer>
#include <QFile>
#include <QLabel>
#include <QPushButton>
#include <QScrollArea>
#include <QScrollBar>
#include <QTemporaryDir>
#include <QTest>
#include <QThreadPool>
#include <sys/stat.h>

namespace {
using Values = QMap<QString, QVariant>;

std::unique_ptr<NotifyWnd> shown(const Values &changes = {}, int unread = 0)
{
    auto window = std::make_unique<NotifyWnd>(nullptr);
    window->setAttribute(Qt::WA_DeleteOnClose, false);
    window->SetUnReadMsgNum(unread);
    window->setData(notice::values(changes));
    window->CreateCtrl();
    window->show();
    return window;
}

template <class Widget>
Widget *part(const std::unique_ptr<NotifyWnd> &window, const char *name)
{
    return window->findChild<Widget *>(QString::fromLatin1(name));
}

// The body, in its scroll area where it has one.
QWidget *bodyRow(const std::unique_ptr<NotifyWnd> &window)
{
    QWidget *area = window->findChild<QScrollArea *>();
    return area ? area : part<QWidget>(window, "notify-body");
}
} // namespace

class TestNotifyWnd final : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase() { FakeClient::install(); }
    void init() { FakeClient::fake().reset(); }

    void cleanup()
    {
        QThreadPool::globalInstance()->waitForDone();
        CVisualizedManager::FreeInstance();
        CVtServiceClient::ReleaseInstance();
    }

    void opensUnaskedAndFocusesNothing()
    {
        const auto window = shown();
        QVERIFY(window->testAttribute(Qt::WA_ShowWithoutActivating));
        QVERIFY(!window->testAttribute(Qt::WA_QuitOnClose));
        window->activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(window.get()));
        QVERIFY(!window->focusWidget() || window->focusWidget() == window.get());
        for (const QPushButton *button : window->findChildren<QPushButton *>())
            QVERIFY(!button->isDefault() && !button->autoDefault());
    }

    void badge()
    {
        const QMap<int, QString> shownAs{{-5, ""}, {0, ""}, {50, "50"}, {51, "50"}, {INT_MAX, "50"}};
        for (auto it = shownAs.cbegin(); it != shownAs.cend(); ++it) {
            const QString &text = it.value();
            const LogCatcher log;
            const auto window = shown({}, it.key());
            const auto *label = part<QLabel>(window, "notify-badge");
            QCOMPARE(label->text(), text);
            QCOMPARE(label->styleSheet().contains("RedNum.png"), !text.isEmpty());
            QCOMPARE(log.count("通知栏消息：未读数量" + text), text.isEmpty() ? 0 : 1);
            const auto *button = qobject_cast<QPushButton *>(label->parentWidget());
            QCOMPARE(button->text(), QString("消息中心 "));
            QCOMPARE(button->accessibleName().contains(text + "条未读消息"), !text.isEmpty());
        }
    }

    void partsStayInside_data()
    {
        QTest::addColumn<QVariantMap>("values");
        const QString huge(1 << 20, QChar(0x4e2d));
        const QString wide(5000, QLatin1Char('W'));
        QTest::newRow("nothing") << QVariantMap{{"MsgTitle", ""}, {"MsgContent", ""}};
        QTest::newRow("everything huge") << QVariantMap{
            {"MsgTitle", huge}, {"MsgContent", huge}, {"LinkText", huge}, {"LinkAdress", huge}, {"PicFilePath", huge}};
        QTest::newRow("wide markup") << QVariantMap{
            {"MsgContent", "<table width=9999><tr><td>x</table><img width=9999 src=x><pre>" + wide}};
        QTest::newRow("wrong types") << QVariantMap{
            {"MsgTitle", QVariantList{1}}, {"MsgContent", QVariantMap()}, {"LinkText", 5}, {"PicFilePath", true}};
    }

    void partsStayInside()
    {
        QFETCH(QVariantMap, values);
        QElapsedTimer clock;
        clock.start();
        const auto window = shown(values);
        QVERIFY(clock.elapsed() < 2000);
        QCOMPARE(window->width(), 400);
        QVERIFY(window->height() <= 400);
        const auto *frame = part<QWidget>(window, "notify-background");
        QCoreApplication::processEvents();
        int bottom = -1;
        const QWidgetList rows{part<QWidget>(window, "notify-title"), bodyRow(window),
                               part<QWidget>(window, "notify-picture"), part<QWidget>(window, "notify-url")};
        for (const QWidget *row : rows) {
            if (row->isHidden())
                continue;
            QVERIFY2(frame->rect().contains(row->geometry()) || row->height() == 0, qPrintable(row->objectName()));
            QVERIFY2(row->y() > bottom, qPrintable(row->objectName()));
            bottom = row->geometry().bottom();
        }
        window->grab();
    }

    void linkIsOpenedAndReported()
    {
        const LinkTaker links({"https"});
        const LogCatcher log;
        const auto window = shown({{"LinkText", "看 & <详情>"}, {"LinkAdress", "https://host/a?b=1&c=\"2\""}});
        auto *label = part<QLabel>(window, "notify-url");
        QVERIFY(label->isVisible());
        QTest::mouseClick(label, Qt::LeftButton, {}, QPoint(10, label->height() / 2));
        QCOMPARE(links.urls.size(), 1);
        QVERIFY(links.urls.first().startsWith("https://host/"));
        QVERIFY(log.has("消息以点击-消息id:m1"));
        QThreadPool::globalInstance()->waitForDone();
        const FakeCall call = FakeClient::fake().calls().last();
        QCOMPARE(call.operation, QString("AddMessageReceipt"));
        QCOMPARE(call.values.value("MsgId").toString(), QString("m1"));
        QCOMPARE(call.values.value("MessageReceipt").toInt(), 3);
        QVERIFY(!call.onGuiThread);
    }

    void hostileLinks()
    {
        const LinkTaker taker({"file", "tarntest"});
        for (const char *link : {"", "tarntest:x", "/etc/passwd", "file:///etc/passwd", "http://[::1"})
            shown()->OnlinkActivated(QString::fromLatin1(link));
        QThreadPool::globalInstance()->waitForDone();
        QVERIFY(taker.urls.isEmpty() && !FakeClient::fake().operations().contains("AddMessageReceipt"));
        const auto window =
            shown({{"LinkText", "</a><img src='/etc/passwd'>"}, {"LinkAdress", "https://x.cn/\"><b>'"}});
        const QString text = part<QLabel>(window, "notify-url")->text();
        QVERIFY(!text.contains("<img") && !text.contains("<b>"));
        // What leads nowhere does not look like a link, and is no stop of Tab.
        for (const char *address : {"", "file:///etc/passwd", "javascript:alert(1)"}) {
            const auto plain =
                shown({{"LinkText", "<a href=\"x\">详情</a>"}, {"LinkAdress", QString::fromLatin1(address)}});
            QCOMPARE(part<QLabel>(plain, "notify-url")->textFormat(), Qt::PlainText);
            QVERIFY(!(part<QLabel>(plain, "notify-url")->focusPolicy() & Qt::TabFocus));
        }
    }

    void picture_data()
    {
        QTest::addColumn<QSize>("size"); // of the picture; empty: the path names something else
        QTest::addColumn<QSize>("shown");
        QTest::newRow("good") << QSize(100, 50) << QSize(100, 50);
        QTest::newRow("wide") << QSize(1000, 100) << QSize(320, 32);
        QTest::newRow("high") << QSize(100, 1000) << QSize(15, 150);
        QTest::newRow("cut") << QSize(200, 200) << QSize();
        QTest::newRow("fifo") << QSize() << QSize();
    }

    void picture()
    {
        QFETCH(QSize, size);
        const QTemporaryDir dir;
        const QString path = dir.filePath("图片.png");
        if (size.isEmpty()) {
            QCOMPARE(::mkfifo(QFile::encodeName(path).constData(), 0600), 0);
        } else {
            QImage image(size, QImage::Format_RGB32);
            image.fill(Qt::red);
            QVERIFY(image.save(path));
            QVERIFY(QString::fromLatin1(QTest::currentDataTag()) != "cut" || QFile::resize(path, 60));
        }
        const LogCatcher log;
        const auto window = shown({{"PicFilePath", path}});
        const int bottom = window->geometry().bottom();
        const auto *label = part<QLabel>(window, "notify-picture");
        QTRY_VERIFY(label->isVisible() || log.has(QtWarningMsg, "通知栏消息：图片无法显示。消息ID:m1"));
        QTEST(label->isVisible() ? label->size() : QSize(), "shown");
        QCOMPARE(window->height(), shown()->height() + (label->isVisible() ? label->height() : 0));
        QCOMPARE(window->geometry().bottom(), bottom); // grows upwards
    }

    // Tab: body if it scrolls, link, message center, close; each once.
    void byKeyboardAndEar()
    {
        const auto window = shown({{"MsgTitle", "标题 <b>"},
                                   {"MsgContent", QString("<p>一段很长的<b>正文</b>&amp;</p>").repeated(60)},
                                   {"LinkText", "详情"},
                                   {"LinkAdress", "https://x.example/"}});
        window->activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(window.get()));
        const QScrollBar *bar = window->findChild<QScrollArea *>()->verticalScrollBar();
        QCOMPARE(bar->width(), 8); // the radius of 4 fits twice
        QTest::keyClick(window.get(), Qt::Key_PageDown);
        QVERIFY(bar->value() > 0);
        QStringList stops;
        for (int i = 0; i < 5; ++i) {
            QTest::keyClick(window->focusWidget() ? window->focusWidget() : window.get(), Qt::Key_Tab);
            stops.append(window->focusWidget()->objectName());
        }
        QCOMPARE(stops, QStringList({"notify-body-area", "notify-url", "notify-msgcenter-btn", "notify-close-btn",
                                     "notify-body-area"}));
        const int before = bar->value();
        QTest::keyClick(window->focusWidget(), Qt::Key_Up);
        QVERIFY(bar->value() < before);
        const LinkTaker links({"https"});
        QTest::keyClick(window->focusWidget(), Qt::Key_Tab);
        QTest::keyClick(window->focusWidget(), Qt::Key_Return);
        QCOMPARE(links.urls.size(), 1);

        const auto heard = [](QWidget *widget) {
            QAccessibleInterface *iface = QAccessible::queryAccessibleInterface(widget);
            return qMakePair(iface->role(), iface->text(QAccessible::Name));
        };
        QCOMPARE(heard(window.get()), qMakePair(QAccessible::Notification, QString("消息通知：标题 <b>")));
        QCOMPARE(heard(part<QWidget>(window, "notify-title")), qMakePair(QAccessible::StaticText, QString("标题 <b>")));
        const auto body = heard(part<QWidget>(window, "notify-body"));
        QCOMPARE(body.first, QAccessible::StaticText);
        QVERIFY(body.second.startsWith("一段很长的正文&\n"));
    }

    void messageCenterIsAskedFor()
    {
        EventRecorder events(CVisualizedManager::GetInstance());
        const auto window = shown();
        QTest::mouseClick(part<QPushButton>(window, "notify-msgcenter-btn"), Qt::LeftButton);
        const QList<int> types = events.take([](CVisualizedEvents &event) {
            QVERIFY(dynamic_cast<CMsgCenterEventData &>(*event.GetEventData()).inputArgs);
        });
        QCOMPARE(types, QList<int>{1951});
        QVERIFY(!window->isVisible());
    }

    void closing()
    {
        for (const bool byKey : {false, true}) {
            static int calls;
            calls = 0;
            const QPointer<NotifyWnd> window(shown().release());
            window->setAttribute(Qt::WA_DeleteOnClose);
            window->SetWndCallBack([] { ++calls; });
            if (byKey)
                QTest::keyClick(window.data(), Qt::Key_Escape);
            else
                QTest::mouseClick(window->findChild<QPushButton *>("notify-close-btn"), Qt::LeftButton);
            QTRY_VERIFY(!window);
            QCOMPARE(calls, 1);
        }
    }

    void dpiChangeMovesToTheCorner()
    {
        const auto window = shown();
        window->DpiChanged(120);
        const QSize usable = window->ScreenSize();
        QCOMPARE(window->pos(),
                 QPoint(usable.width() - (window->width() - 1) - 11, usable.height() - (window->height() - 1) - 11));
    }
};

QTEST_MAIN(TestNotifyWnd)
#include "tst_notifywnd.moc"
