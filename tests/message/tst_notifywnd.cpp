#include "frame/VisualizedManager.h"
#include "frame/VtServiceClient.h"
#include "message/NotifyWnd.h"
#include "message/RichTextLabel.h"
#include "support/EventRecorder.h"
#include "support/FakeClient.h"
#include "support/LinkTaker.h"
#include "support/LogCatcher.h"
#include "support/NoticeData.h"
#include "support/OwnProcess.h"
#include "support/SavedPicture.h"
#include "widgets/Compositor.h"
#include "widgets/SafeHtml.h"
#include <QAccessible>
#include <QFile>
#include <QLabel>
#include <QPushButton>
#include <QScreen>
#include <QScrollArea>
#include <QScrollBar>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <QThreadPool>
#include <sys/stat.h>

namespace {
std::unique_ptr<NotifyWnd> shown(const QMap<QString, QVariant> &changes = {}, int unread = 0)
{
    auto window = std::make_unique<NotifyWnd>(nullptr);
    window->setAttribute(Qt::WA_DeleteOnClose, false);
    window->SetUnReadMsgNum(unread);
    window->setData(notice::values(changes));
    window->CreateCtrl();
    window->show();
    return window;
}

template <class Widget = QLabel>
Widget *part(const std::unique_ptr<NotifyWnd> &window, const char *name)
{
    return window->findChild<Widget *>(QString::fromLatin1(name));
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
        QVERIFY(window->testAttribute(Qt::WA_ShowWithoutActivating) && !window->testAttribute(Qt::WA_QuitOnClose));
        window->activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(window.get()));
        QVERIFY(!window->focusWidget() || window->focusWidget() == window.get());
        for (const QPushButton *button : window->findChildren<QPushButton *>())
            QVERIFY(!button->isDefault() && !button->autoDefault());
        QVERIFY(part(window, "notify-url")->isHidden());
        QTest::keyClick(window.get(), Qt::Key_Tab);
        QCOMPARE(window->focusWidget(), part<QWidget>(window, "notify-msgcenter-btn"));
        emit QGuiApplication::primaryScreen()->logicalDotsPerInchChanged(120);
        const QSize usable = window->ScreenSize();
        QCOMPARE(window->pos(),
                 QPoint(usable.width() - (window->width() - 1) - 11, usable.height() - (window->height() - 1) - 11));
        const QRect area = QGuiApplication::primaryScreen()->availableGeometry();
        const QPoint corner(area.right() - 10 - window->width(), area.bottom() - 10 - window->height());
        emit QGuiApplication::primaryScreen()->availableGeometryChanged(area);
        QCOMPARE(window->pos(), corner);
        window->move(0, 0); // as if its screen had been removed
        emit qApp->primaryScreenChanged(QGuiApplication::primaryScreen());
        QCOMPARE(window->pos(), corner);
        window->setMask(QRegion(1, 1, 5, 5)); // as without a compositor
        emit Compositor::instance()->changed();
        QVERIFY(window->mask().isEmpty());
    }

    void badge()
    {
        const QMap<int, QString> shownAs{{-5, ""}, {0, ""}, {50, "50"}, {51, "50"}, {INT_MAX, "50"}};
        for (auto it = shownAs.cbegin(); it != shownAs.cend(); ++it) {
            const QString &text = it.value();
            const LogCatcher log;
            const auto window = shown({}, it.key());
            const auto *label = part(window, "notify-badge");
            QCOMPARE(label->text(), text);
            QTRY_VERIFY(!label->styleSheet().isEmpty());
            QCOMPARE(label->styleSheet().contains("RedNum.png"), !text.isEmpty());
            QCOMPARE(log.count("通知栏消息：未读数量" + text), text.isEmpty() ? 0 : 1);
            const auto *button = part<QPushButton>(window, "notify-msgcenter-btn");
            QCOMPARE(button->text(), QString("消息中心 "));
            QCOMPARE(button->accessibleName().contains(text + "条未读消息"), !text.isEmpty());
        }
        const auto window = shown({}, 7);
        window->endPaintWait();
        const auto *label = part(window, "notify-badge");
        QVERIFY(label->styleSheet().contains("RedNum.png"));
        window->SetUnReadMsgNum(0);
        window->CreateCtrl();
        QTRY_COMPARE(label->styleSheet(), QString("QLabel{color: white;}"));
    }

    void partsStayInside()
    {
        const QString huge(1 << 20, QChar(0x4e2d));
        const QString markup = "<table width=9999><tr><td>x</table><img width=9999 src=x><pre>" + QString(5000, 'W');
        const QList<QVariantMap> hostile{
            {{"MsgTitle", ""}, {"MsgContent", ""}},
            {{"MsgTitle", huge}, {"MsgContent", huge}, {"LinkText", huge}, {"LinkAdress", huge}, {"PicFilePath", huge}},
            {{"MsgContent", markup}},
            {{"MsgTitle", QVariantList{1}}, {"MsgContent", QVariantMap()}, {"LinkText", 5}, {"PicFilePath", true}}};
        for (const QVariantMap &values : hostile) {
            const qint64 before = own::processorMs();
            const auto window = shown(values);
            QVERIFY(own::processorMs() - before < 2000);
            QVERIFY(window->width() == 400 && window->height() <= 400);
            QCoreApplication::processEvents();
            QWidget *area = window->findChild<QScrollArea *>();
            QVERIFY(area && area->isAncestorOf(part<QWidget>(window, "notify-body")));
            int bottom = -1;
            for (const QWidget *row : {part<QWidget>(window, "notify-title"), area,
                                       part<QWidget>(window, "notify-picture"), part<QWidget>(window, "notify-url")}) {
                if (row->isHidden())
                    continue;
                const QRect frame = part<QWidget>(window, "notify-background")->rect();
                QVERIFY2(frame.contains(row->geometry()) || row->height() == 0, qPrintable(row->objectName()));
                QVERIFY2(row->y() > bottom, qPrintable(row->objectName()));
                bottom = row->geometry().bottom();
            }
            window->grab();
        }
        const QFontMetrics metrics(QApplication::font());
        const int tenWide = 10 * metrics.horizontalAdvance("中");
        const int rows = GetRowsByLabelText(metrics, QString(40, QChar(0x4e2d)), tenWide);
        QVERIFY2(rows >= 4 && rows <= 5, qPrintable(QString::number(rows)));
        QCOMPARE(GetRowsByLabelText(metrics, "中", 1), 1);
    }

    void bodyGrowsByItsPicture()
    {
        using tarn::visualized::RichTextLabel;
        const QTemporaryDir dir;
        const QString path = savedPicture(dir.filePath("a b.png"), QSize(3000, 1000), Qt::green);
        QWidget window;
        auto *text = new RichTextLabel(320, 250, &window);
        text->setObjectName("text");
        window.setStyleSheet("#text{font-size:30px;color:red;background-color:blue;}");
        const QString picture = "<img width=9999 src='" + path + "'>";
        text->showHtml("<p>█</p>" +
                       tarn::visualized::safehtml::reduce(picture, tarn::visualized::safehtml::notice()).text);
        const int before = text->height();
        QVERIFY(before >= 30);
        QVERIFY(text->grab().toImage().pixelColor(5, before / 2) == QColor(Qt::red));
        QVERIFY(QSignalSpy(text, &RichTextLabel::heightChanged).wait()); // a pool reads the picture
        QVERIFY(text->height() > before + 80 && text->height() < 250);   // 107 pixels instead of one
        const QImage shown = text->grab().toImage();
        QCOMPARE(shown.pixelColor(310, text->height() - 20), QColor(Qt::green));
        QCOMPARE(shown.pixelColor(319, 5), QColor(Qt::blue));
        QSignalSpy grown(text, &RichTextLabel::heightChanged);
        const QString small = savedPicture(dir.filePath("c.png"), QSize(30, 10));
        const QString large = savedPicture(dir.filePath("d.png"), QSize(3000, 1000));           // takes longer
        text->showHtml("<img src='http://127.0.0.1:9" + small + "'><img src='" + large + "'>"); // past the reducer
        QTRY_VERIFY(text->height() > 100);
        QCOMPARE(grown.size(), 1); // the small one is neither fetched nor read
    }

    void linkIsOpenedAndReported()
    {
        const LinkTaker links({"https"});
        const LogCatcher log;
        const auto window = shown({{"LinkText", "看 & <详情>"}, {"LinkAdress", "https://host/a?b=1&c=\"2\""}});
        auto *label = part(window, "notify-url");
        const int room = label->height();
        QTRY_VERIFY(!label->text().isEmpty()); // the first paint sets the markup
        QCOMPARE(room, label->heightForWidth(0));
        QTest::mouseClick(label, Qt::LeftButton, {}, QPoint(10, label->height() / 2));
        QVERIFY(links.urls.size() == 1 && links.urls.first().startsWith("https://host/"));
        QVERIFY(log.has("消息以点击-消息id:m1"));
        QThreadPool::globalInstance()->waitForDone();
        const FakeCall call = FakeClient::fake().calls().last();
        QCOMPARE(call.operation, QString("AddMessageReceipt"));
        QCOMPARE(call.values.value("MsgId").toString(), QString("m1"));
        QCOMPARE(call.values.value("MessageReceipt").toInt(), 3);
    }

    void hostileLinks()
    {
        const LinkTaker taker({"file", "tarntest"});
        for (const char *link : {"", "tarntest:x", "file:///etc/passwd"})
            shown()->OnlinkActivated(QString::fromLatin1(link));
        QThreadPool::globalInstance()->waitForDone();
        QVERIFY(taker.urls.isEmpty() && !FakeClient::fake().operations().contains("AddMessageReceipt"));
        const auto window =
            shown({{"LinkText", "</a><img src='/etc/passwd'>"}, {"LinkAdress", "https://x.cn/\"><b>'"}});
        window->endPaintWait(); // the patience ends before the first paint event
        const QString text = part(window, "notify-url")->text();
        QVERIFY(text.startsWith("<a ") && !text.contains("<img") && !text.contains("<b>"));
        // An address that cannot be opened does not look like a link, and is no stop of Tab.
        const auto plain = shown({{"LinkText", "<a href=\"x\">详情</a>"}, {"LinkAdress", "file:///etc/passwd"}});
        const auto *label = part(plain, "notify-url");
        QVERIFY(label->textFormat() == Qt::PlainText && !(label->focusPolicy() & Qt::TabFocus));
    }

    void picture_data()
    {
        QTest::addColumn<QSize>("size"); // of the picture; empty: the path names something else
        QTest::addColumn<QSize>("shown");
        QTest::newRow("wide") << QSize(1000, 100) << QSize(320, 32);
        QTest::newRow("high") << QSize(100, 1000) << QSize(15, 150);
        QTest::newRow("fifo") << QSize() << QSize();
    }

    void picture()
    {
        QFETCH(QSize, size);
        const QTemporaryDir dir;
        const QString path = dir.filePath("图片.png");
        QVERIFY(size.isEmpty() ? ::mkfifo(qPrintable(path), 0600) == 0 : !savedPicture(path, size).isEmpty());
        const LogCatcher log;
        const auto window = shown({{"PicFilePath", path}});
        const int bottom = window->geometry().bottom();
        const auto *label = part(window, "notify-picture");
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
        QTRY_VERIFY(window->wasPainted());
        window->activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(window.get()));
        const QScrollBar *bar = window->findChild<QScrollArea *>()->verticalScrollBar();
        QTest::keyClick(window.get(), Qt::Key_PageDown);
        const int before = bar->value();
        QVERIFY(before > 0);
        const auto tab = [&window] {
            QTest::keyClick(window->focusWidget() ? window->focusWidget() : window.get(), Qt::Key_Tab);
            return window->focusWidget()->objectName();
        };
        for (const char *stop :
             {"notify-body-area", "notify-url", "notify-msgcenter-btn", "notify-close-btn", "notify-body-area"})
            QCOMPARE(tab(), QString::fromLatin1(stop));
        QTest::keyClick(window->focusWidget(), Qt::Key_Up);
        QVERIFY(bar->value() < before);
        const LinkTaker links({"https"});
        tab();
        QTest::keyClick(window->focusWidget(), Qt::Key_Return);
        QCOMPARE(links.urls.size(), 1);

        const auto heard = [](QWidget *widget) {
            QAccessibleInterface *iface = QAccessible::queryAccessibleInterface(widget);
            return qMakePair(iface->role(), iface->text(QAccessible::Name).section('\n', 0, 0));
        };
        QCOMPARE(heard(window.get()), qMakePair(QAccessible::Notification, QString("消息通知：标题 <b>")));
        QCOMPARE(heard(part<QWidget>(window, "notify-title")), qMakePair(QAccessible::StaticText, QString("标题 <b>")));
        QCOMPARE(heard(part(window, "notify-body")), qMakePair(QAccessible::StaticText, QString("一段很长的正文&")));
        QCOMPARE(heard(window->findChild<QScrollArea *>()).second, QString("消息内容"));
        QCOMPARE(part<QWidget>(window, "notify-close-btn")->toolTip(), QString("关闭"));
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
        static int calls;
        calls = 0;
        for (const bool byKey : {false, true}) {
            const QPointer<NotifyWnd> window(shown().release());
            window->setAttribute(Qt::WA_DeleteOnClose);
            window->SetWndCallBack([] { ++calls; });
            if (byKey)
                QTest::keyClick(window.data(), Qt::Key_Escape);
            else
                QTest::mouseClick(window->findChild<QPushButton *>("notify-close-btn"), Qt::LeftButton);
            QTRY_VERIFY(!window);
        }
        QCOMPARE(calls, 2);
    }
};

QTEST_MAIN(TestNotifyWnd)
#include "tst_notifywnd.moc"
