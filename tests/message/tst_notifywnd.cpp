#include "frame/VisualizedManager.h"
#include "frame/VtServiceClient.h"
#include "message/NotifyWnd.h"
#include "support/EventRecorder.h"
#include "support/FakeClient.h"
#include "support/LogCatcher.h"
#include "support/NoticeData.h"
#include <QAccessible>
#include <QDesktopServices>
#include <QElapsedTimer>
#include <QFile>
#include <QLabel>
#include <QPushButton>
#include <QScreen>
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

qint64 residentKiB()
{
    QFile file("/proc/self/statm");
    return file.open(QIODevice::ReadOnly) ? file.readAll().split(' ').value(1).toLongLong() * 4 : 0;
}

// Makes what the picture path names. Kinds that begin with "/" name themselves.
QString makePicture(const QTemporaryDir &dir, const QString &kind)
{
    const QMap<QString, QSize> sizes{
        {"good", {100, 50}}, {"wide", {1000, 100}}, {"high", {100, 1000}}, {"truncated", {200, 200}}};
    const QString path = kind.startsWith('/') ? kind : dir.filePath("图片.png");
    if (sizes.contains(kind)) {
        QImage image(sizes.value(kind), QImage::Format_RGB32);
        image.fill(Qt::red);
        image.save(path);
    }
    if (kind == "truncated")
        QFile::resize(path, 60);
    if (kind == "fifo")
        ::mkfifo(QFile::encodeName(path).constData(), 0600);
    if (kind == "directory")
        QDir().mkpath(path);
    if (kind == "text" || kind == "empty") {
        QFile file(path);
        file.open(QIODevice::WriteOnly);
        file.write(kind == "text" ? "no picture" : "");
    }
    return path;
}

// Stands for the desktop's browser.
class Opener final : public QObject
{
    Q_OBJECT
public:
    Opener() { QDesktopServices::setUrlHandler("tarntest", this, "open"); }
    ~Opener() override { QDesktopServices::unsetUrlHandler("tarntest"); }
    QList<QUrl> opened;
public slots:
    void open(const QUrl &url) { opened.append(url); }
};
} // namespace

class TestNotifyWnd final : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase() { FakeClient::install(); }
    void init() { FakeClient::fake().reset(); }
    void cleanup();

    void windowIsSetUp();
    void badge_data();
    void badge();
    void height();
    void longBodyScrolls();
    void partsStayInside_data();
    void partsStayInside();
    void linkIsOpenedAndReported();
    void linkIsNotOpened_data();
    void linkIsNotOpened();
    void hostileLinkText();
    void picture_data();
    void picture();
    void hugePictureIsNotDecoded();
    void messageCenterIsAskedFor();
    void closing();
    void callbackOnce();
    void dpiChangeMovesToTheCorner();
    void accessibleNames();
    void nothingHasTheFocus();
};

void TestNotifyWnd::cleanup()
{
    QThreadPool::globalInstance()->waitForDone();
    CVisualizedManager::FreeInstance();
    CVtServiceClient::ReleaseInstance();
}

void TestNotifyWnd::windowIsSetUp()
{
    const NotifyWnd window(nullptr);
    QCOMPARE(window.windowFlags(), Qt::Tool | Qt::FramelessWindowHint);
    QCOMPARE(window.size(), QSize(400, 400));
    for (const Qt::WidgetAttribute attribute :
         {Qt::WA_ShowWithoutActivating, Qt::WA_NoSystemBackground, Qt::WA_TranslucentBackground, Qt::WA_DeleteOnClose})
        QVERIFY(window.testAttribute(attribute));
    QVERIFY(!window.testAttribute(Qt::WA_QuitOnClose));
    QCOMPARE(window.objectName(), QString("NotifyWnd"));
    QCOMPARE(window.windowRole(), QString("NotifyWnd"));
    QVERIFY(!window.windowTitle().isEmpty());
    for (const char *name : {"notify-background", "notify-title", "notify-body", "notify-url", "notify-close-btn"})
        QVERIFY2(window.findChild<QWidget *>(QString::fromLatin1(name)), name);
}

void TestNotifyWnd::badge_data()
{
    QTest::addColumn<int>("count");
    QTest::addColumn<QString>("text");
    QTest::newRow("negative") << -5 << "";
    QTest::newRow("0") << 0 << "";
    QTest::newRow("1") << 1 << "1";
    QTest::newRow("50") << 50 << "50";
    QTest::newRow("51") << 51 << "50";
    QTest::newRow("huge") << 2147483647 << "50";
}

void TestNotifyWnd::badge()
{
    QFETCH(int, count);
    QFETCH(QString, text);
    const LogCatcher log;
    const auto window = shown({}, count);
    const auto *label = part<QLabel>(window, "notify-badge");
    QCOMPARE(label->text(), text);
    QCOMPARE(label->size(), QSize(19, 19));
    QCOMPARE(label->styleSheet(), text.isEmpty()
                                      ? QString("QLabel{color: white;}")
                                      : QString("QLabel{border-image: url(:/images/images/RedNum.png);color: white;}"));
    QCOMPARE(log.count("通知栏消息：未读数量" + text), text.isEmpty() ? 0 : 1);
    const auto *button = qobject_cast<QPushButton *>(label->parentWidget());
    QCOMPARE(button->text(), QString("消息中心 "));
    QCOMPARE(button->pos(), QPoint(6, 5));
    QVERIFY(button->rect().contains(label->geometry()));
    QVERIFY(!button->icon().isNull());
}

void TestNotifyWnd::height()
{
    const auto plain = shown();
    const int title = part<QWidget>(plain, "notify-title")->height();
    const int body = part<QWidget>(plain, "notify-body")->height();
    QCOMPARE(plain->width(), 400);
    QCOMPARE(plain->height(), title + body + 35 + 20 + 14);
    auto *frame = part<QWidget>(plain, "notify-background");
    QCOMPARE(frame->height(), plain->height() - 6);
    auto *close = part<QWidget>(plain, "notify-close-btn");
    QCOMPARE(close->pos(), QPoint(frame->width() - close->width() - 5, 5));

    const auto linked = shown({{"LinkText", "详情"}, {"LinkAdress", "https://tarn.invalid/"}});
    QCOMPARE(linked->height(), plain->height() + part<QWidget>(linked, "notify-url")->height());
}

void TestNotifyWnd::longBodyScrolls()
{
    const auto window = shown({{"MsgContent", QString("一行文字。\n").repeated(200)}});
    QCOMPARE(window->height(), 400);
    auto *area = window->findChild<QScrollArea *>();
    QTRY_VERIFY(area->verticalScrollBar()->isVisible());
    QVERIFY(!area->horizontalScrollBar()->isVisible());
    const auto shortOne = shown();
    QVERIFY(!shortOne->findChild<QScrollArea *>()->verticalScrollBar()->isVisible());
}

void TestNotifyWnd::partsStayInside_data()
{
    QTest::addColumn<QVariantMap>("values");
    const QString huge(1 << 20, QChar(0x4e2d));
    const QString wide(5000, QLatin1Char('W'));
    QTest::newRow("short") << QVariantMap();
    QTest::newRow("nothing") << QVariantMap{{"MsgTitle", ""}, {"MsgContent", ""}};
    QTest::newRow("everything huge") << QVariantMap{
        {"MsgTitle", huge}, {"MsgContent", huge}, {"LinkText", huge}, {"LinkAdress", huge}, {"PicFilePath", huge}};
    QTest::newRow("wide words") << QVariantMap{{"MsgTitle", wide}, {"MsgContent", wide}};
    QTest::newRow("wide markup") << QVariantMap{
        {"MsgContent", "<table width=9999><tr><td>x</table><img width=9999 src=x><pre>" + wide}};
    QTest::newRow("half a character") << QVariantMap{{"MsgTitle", QString(QChar(0xd800))},
                                                     {"MsgContent", QString(QChar(0xdc00)) + "x"}};
    QTest::newRow("wrong types") << QVariantMap{
        {"MsgTitle", QVariantList{1}}, {"MsgContent", QVariantMap()}, {"LinkText", 5}, {"PicFilePath", true}};
}

void TestNotifyWnd::partsStayInside()
{
    QFETCH(QVariantMap, values);
    QElapsedTimer clock;
    clock.start();
    const auto window = shown(values);
    QVERIFY2(clock.elapsed() < 2000, qPrintable(QString::number(clock.elapsed())));
    QCOMPARE(window->width(), 400);
    QVERIFY(window->height() <= 400);
    const auto *frame = part<QWidget>(window, "notify-background");
    QCoreApplication::processEvents();
    int bottom = -1;
    const QWidgetList rows{part<QWidget>(window, "notify-title"), window->findChild<QScrollArea *>(),
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

void TestNotifyWnd::linkIsOpenedAndReported()
{
    Opener opener;
    const LogCatcher log;
    const auto window = shown({{"LinkText", "看 & <详情>"}, {"LinkAdress", "tarntest://host/a?b=1&c=\"2\""}});
    auto *label = part<QLabel>(window, "notify-url");
    QVERIFY(label->isVisible());
    QTest::mouseClick(label, Qt::LeftButton, {}, QPoint(10, label->height() / 2));
    QCOMPARE(opener.opened.size(), 1);
    QCOMPARE(opener.opened.first().host(), QString("host"));
    QVERIFY(log.has("消息以点击-消息id:m1"));
    QThreadPool::globalInstance()->waitForDone();
    const FakeCall call = FakeClient::fake().calls().last();
    QCOMPARE(call.operation, QString("AddMessageReceipt"));
    QCOMPARE(call.values.value("MsgId").toString(), QString("m1"));
    QCOMPARE(call.values.value("MessageReceipt").toInt(), 3);
    QVERIFY(!call.onGuiThread);
}

void TestNotifyWnd::linkIsNotOpened_data()
{
    QTest::addColumn<QString>("link");
    QTest::newRow("empty") << "";
    QTest::newRow("no scheme") << "www.example.invalid";
    QTest::newRow("path") << "/etc/passwd";
    QTest::newRow("invalid") << "http://[::1";
    QTest::newRow("blank") << "   ";
    QTest::newRow("huge") << QString(1 << 20, QLatin1Char('x'));
}

void TestNotifyWnd::linkIsNotOpened()
{
    QFETCH(QString, link);
    const LogCatcher log;
    const auto window = shown({{"LinkText", "详情"}, {"LinkAdress", link}});
    window->OnlinkActivated(link);
    QVERIFY(log.has("消息以点击-消息id:m1"));
    QThreadPool::globalInstance()->waitForDone();
    QVERIFY(!FakeClient::fake().operations().contains("AddMessageReceipt"));
}

void TestNotifyWnd::hostileLinkText()
{
    const auto window = shown({{"LinkText", "</a><img src='/etc/passwd'>"}, {"LinkAdress", "x\"><b>'"}});
    const auto *label = part<QLabel>(window, "notify-url");
    QVERIFY(!label->text().contains("<img"));
    QVERIFY(!label->text().contains("<b>"));
    // Without an address the text is no link.
    const auto plain = shown({{"LinkText", "<a href=\"x\">详情</a>"}});
    QCOMPARE(part<QLabel>(plain, "notify-url")->textFormat(), Qt::PlainText);
}

void TestNotifyWnd::picture_data()
{
    QTest::addColumn<QString>("kind");
    QTest::addColumn<QSize>("size"); // invalid: not shown
    QTest::newRow("good") << "good" << QSize(100, 50);
    QTest::newRow("wide") << "wide" << QSize(320, 32);
    QTest::newRow("high") << "high" << QSize(15, 150);
    for (const char *kind : {"missing", "directory", "fifo", "/dev/zero", "/dev/null", "truncated", "text", "empty"})
        QTest::newRow(kind) << QString::fromLatin1(kind) << QSize();
}

void TestNotifyWnd::picture()
{
    QFETCH(QString, kind);
    QFETCH(QSize, size);
    const QTemporaryDir dir;
    const QString path = makePicture(dir, kind);
    QElapsedTimer clock;
    clock.start();
    const auto window = shown({{"PicFilePath", path}});
    QVERIFY(clock.elapsed() < 1000);
    const auto *label = part<QLabel>(window, "notify-picture");
    QCOMPARE(label->isVisible(), size.isValid());
    if (size.isValid())
        QCOMPARE(label->size(), size);
    QCOMPARE(window->height(), shown()->height() + (size.isValid() ? size.height() : 0));
}

void TestNotifyWnd::hugePictureIsNotDecoded()
{
    // The head of a PNG of 20000 x 20000 pixels; a decoder takes 1.6 GB before it misses the rest.
    const QTemporaryDir dir;
    QFile file(dir.filePath("huge.png"));
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(QByteArray::fromHex("89504e470d0a1a0a0000000d4948445200004e2000004e20080600000042f32bf3"));
    file.write(QByteArray(48 << 10, 'x'));
    file.close();
    const qint64 before = residentKiB();
    QElapsedTimer clock;
    clock.start();
    const auto window = shown({{"PicFilePath", file.fileName()}});
    QVERIFY(clock.elapsed() < 1000);
    QVERIFY(residentKiB() - before < 100 * 1024);
    QVERIFY(!part<QLabel>(window, "notify-picture")->isVisible());
}

void TestNotifyWnd::messageCenterIsAskedFor()
{
    EventRecorder events(CVisualizedManager::GetInstance());
    const auto window = shown();
    QTest::mouseClick(part<QPushButton>(window, "notify-msgcenter-btn"), Qt::LeftButton);
    int withInput = 0;
    const QList<int> types = events.take([&withInput](CVisualizedEvents &e) {
        const auto *data = dynamic_cast<CMsgCenterEventData *>(e.GetEventData());
        withInput += data && data->inputArgs;
    });
    QCOMPARE(types, QList<int>{1951});
    QCOMPARE(withInput, 1);
    QVERIFY(!window->isVisible());
}

void TestNotifyWnd::closing()
{
    for (const bool byKey : {false, true}) {
        const QPointer<NotifyWnd> window(shown().release());
        window->setAttribute(Qt::WA_DeleteOnClose);
        if (byKey)
            QTest::keyClick(window.data(), Qt::Key_Escape);
        else
            QTest::mouseClick(window->findChild<QPushButton *>("notify-close-btn"), Qt::LeftButton);
        QTRY_VERIFY(!window);
    }
}

void TestNotifyWnd::callbackOnce()
{
    static int calls = 0;
    const auto window = shown();
    window->SetWndCallBack([] { ++calls; });
    window->CloseDlg();
    window->show();
    window->CloseDlg();
    QCOMPARE(calls, 1);
}

void TestNotifyWnd::dpiChangeMovesToTheCorner()
{
    const auto window = shown();
    window->DpiChanged(120);
    const QSize usable = window->ScreenSize();
    QCOMPARE(window->pos(),
             QPoint(usable.width() - (window->width() - 1) - 11, usable.height() - (window->height() - 1) - 11));
    const QRect area = QGuiApplication::primaryScreen()->availableGeometry();
    QCOMPARE(window->cornerPos(10, 20), QPoint(area.right() - 10, area.bottom() - 20));
}

void TestNotifyWnd::accessibleNames()
{
    const auto window = shown({{"LinkText", "详情"}, {"LinkAdress", "https://tarn.invalid/"}}, 60);
    for (const char *name : {"notify-close-btn", "notify-msgcenter-btn", "notify-title", "notify-body", "notify-url"}) {
        QAccessibleInterface *interface = QAccessible::queryAccessibleInterface(part<QWidget>(window, name));
        QVERIFY2(interface && !interface->text(QAccessible::Name).isEmpty(), name);
    }
    QCOMPARE(part<QPushButton>(window, "notify-msgcenter-btn")->accessibleName(), QString("消息中心，50条未读消息"));
}

void TestNotifyWnd::nothingHasTheFocus()
{
    const auto window = shown();
    window->activateWindow();
    QVERIFY(QTest::qWaitForWindowActive(window.get()));
    QVERIFY(!window->focusWidget() || window->focusWidget() == window.get());
    const QList<QPushButton *> buttons = window->findChildren<QPushButton *>();
    for (const QPushButton *button : buttons)
        QVERIFY(!button->isDefault() && !button->autoDefault());
}

QTEST_MAIN(TestNotifyWnd)
#include "tst_notifywnd.moc"
