#include "frame/ManagerAccess.h"
#include "frame/VisualizedManager.h"
#include "message/Center.h"
#include "message/MessageObserver.h"
#include "message/MessagePushEvent.h"
#include "support/Args.h"
#include "support/LinkTaker.h"
#include "support/LogCatcher.h"
#include "support/NoticeData.h"
#include "widgets/SafeDocument.h"
#include <QPointer>
#include <QScrollBar>
#include <QSignalSpy>
#include <QTest>
#include <QTextEdit>

using namespace center;
using FakeClient::fake;

namespace {
const QString Flow = QStringLiteral("【消息中心交互流程日志记录】");

CMsgCenterDlg *askForCenter(const QVariant &rect)
{
    const auto input = args::input<args::MessageIn>({{"msg_center_rect", rect}});
    CManagerAccess::post(CVisualizedEvents::eShowMessageCenterDialog, std::make_unique<CMsgCenterEventData>(input));
    QCoreApplication::sendPostedEvents(CVisualizedManager::GetInstance());
    const auto open = notice::visibleWindows<CMsgCenterDlg>();
    return open.size() == 1 ? open.first() : nullptr;
}
} // namespace

class TestMessageCenter : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase() { FakeClient::install(); }
    void init() { center::reset(); }

    void nothingToShow()
    {
        const LogCatcher log;
        fake().queue("GetAllMessageRecords", {2000, {}, {}, messages(2)});
        CMsgCenterDlg unpainted(nullptr);
        unpainted.show();
        unpainted.close();
        QVERIFY(log.has(QtInfoMsg, "消息中心展示的消息ID：id0,id1")); // else logged by the first painting
        fake().queue("GetAllMessageRecords", {2003, "没有", {}, {}});
        const Window window = std::make_unique<CMsgCenterDlg>(nullptr);
        window->show();
        QCOMPARE(page(window), 1);
        QVERIFY(!readAll(window)->isEnabled());
        QTest::keyClick(window.get(), Qt::Key_Down);
        QTest::keyClick(window.get(), Qt::Key_Delete);
        QVERIFY(reports().isEmpty());
    }

    void expandingReadsOnce()
    {
        const Window window = open(messages(4));
        QSignalSpy reads(window.get(), &CMsgCenterDlg::MsgHasBeReadSignal);
        const QList<std::function<void(CMessageListItem *)>> ways{
            [](CMessageListItem *one) { QTest::mouseClick(arrow(one), Qt::LeftButton); },
            [](CMessageListItem *one) { QTest::keyClick(one, Qt::Key_Return); },
            [](CMessageListItem *one) { // the first press went to another window
                QMouseEvent second(QEvent::MouseButtonDblClick, QPoint(100, 50), Qt::LeftButton, Qt::LeftButton, {});
                QCoreApplication::sendEvent(one, &second);
                QVERIFY(one->isSelected());
            }};
        for (int i = 0; i < ways.size(); ++i) {
            CMessageListItem *one = item(window, i);
            const int gap = item(window, 1)->y() - item(window, 0)->geometry().bottom();
            const LogCatcher log;
            ways[i](one);
            QVERIFY(one->isExpanded() && !hasDot(one));
            QCOMPARE(arrow(one)->accessibleName(), QString("收起"));
            QTRY_COMPARE(item(window, i + 1)->y() - one->geometry().bottom(), gap);
            ways[i](one);
            QVERIFY(!one->isExpanded());
            ways[i](one);
            QCoreApplication::sendPostedEvents(); // the announcement comes back to dialog and item
            QCoreApplication::sendPostedEvents();
            QCOMPARE(reports().filter(one->message().MsgId).size(), 2);
            QCOMPARE(reads.size(), i + 1);
            const QString id = one->message().MsgId;
            QCOMPARE(log.texts(QtInfoMsg).filter(Flow),
                     QStringList({Flow + "消息" + id + "展开详细信息。", Flow + "消息已读，去除未读红点。",
                                  Flow + "消息" + id + "已读。", Flow + "消息" + id + "收起详细信息。",
                                  Flow + "消息" + id + "展开详细信息。"}));
        }
        QCOMPARE(reports().mid(0, 2), QStringList({"MsgState 2 id0", "MsgState 2 id1"}));
    }

    void followingTheLinkClicksAndReads()
    {
        const LinkTaker links({"https", "file"});
        const QVariantMap linked{{"LinkText", "查看 <详情>"}, {"LinkAdress", "https://x.example/a?a=1&b"}};
        const Window window = open({message("a", linked), message("b"), message("c", {{"LinkText", "<无地址>"}})});
        QSignalSpy clicks(window.get(), &CMsgCenterDlg::MsgHasBeClickSignal);
        QTest::keyClick(item(window, 0), Qt::Key_Return);
        QTRY_VERIFY(item(window, 0)->findChild<QLabel *>("messageLink")->width() > 100);
        QCOMPARE(reports(), QStringList({"MsgState 2 a", "receipt 2 a"}));
        fake().reset();
        const LogCatcher log;
        auto *link = item(window, 0)->findChild<QLabel *>("messageLink");
        QTest::mouseClick(link, Qt::LeftButton, {}, QPoint(10, link->height() / 2));
        QCOMPARE(links.urls, QStringList("https://x.example/a?a=1&b"));
        QCOMPARE(reports(), QStringList("receipt 3 a")); // read before
        QCOMPARE(clicks.size(), 1);
        QVERIFY(log.has(QtInfoMsg, Flow + "消息a链接已点击，目标地址为：https://x.example/a?a=1&b。"));
        item(window, 1)->OnlinkActivated("file:///etc/passwd");
        QVERIFY(log.has(QtWarningMsg, Flow + "消息b的链接无法打开：file:///etc/passwd。"));
        QCOMPARE(links.urls.size(), 1);
        QCOMPARE(reports(), QStringList({"MsgState 2 b", "receipt 2 b", "receipt 3 a"})); // not followed
        QVERIFY(!hasDot(item(window, 1)));
        QTest::keyClick(item(window, 2), Qt::Key_Return);
        const auto *plain = item(window, 2)->findChild<QLabel *>("messageLink");
        QVERIFY(plain && plain->text() == "<无地址>" && plain->textFormat() == Qt::PlainText);
    }

    void deletingTakesMessagesAwayOneByOne()
    {
        const LogCatcher log;
        const Window window = open(messages(3));
        QVERIFY(log.has(QtInfoMsg, "消息中心展示消息数量：3"));
        QTRY_VERIFY(log.has(QtInfoMsg, "消息中心展示的消息ID：id0,id1,id2"));
        QTest::mouseClick(item(window, 1), Qt::LeftButton);
        QVERIFY(hasDot(item(window, 1))); // selecting is not reading
        QTest::mouseClick(bin(item(window, 1)), Qt::LeftButton);
        QVERIFY(!item(window, 1)->isVisible());
        QVERIFY(item(window, 2)->isSelected()); // the next one, so that deleting can go on
        QTRY_VERIFY(item(window, 2)->y() < item(window, 0)->height() * 2);
        item(window, 1)->OnDeleteMessage(); // a second click that was on its way
        window->OnMessageDeleted("unknown");
        window->OnMessageDeleted(QString());
        QTest::keyClick(item(window, 2), Qt::Key_Delete);
        for (const int key : {Qt::Key_Delete, Qt::Key_Return}) { // held: the next message stays, and stays closed
            QKeyEvent press(QEvent::KeyPress, key, Qt::NoModifier, QString(), true);
            QCoreApplication::sendEvent(item(window, 0), &press);
        }
        QVERIFY(hasDot(item(window, 0)));
        QVERIFY(item(window, 0)->isSelected());
        QCOMPARE(page(window), 0);
        QTest::keyClick(item(window, 0), Qt::Key_Delete);
        QCOMPARE(page(window), 1);
        QCOMPARE(window->focusWidget(), window.get());
        QCOMPARE(reports(), QStringList({"MessageStatu 3 id0", "MessageStatu 3 id1", "MessageStatu 3 id2"}));
    }

    void longTextStaysBesideItsScrollBar()
    {
        const Window window = open({message("a", {{"MsgContent", QString("一行\n").repeated(30)}})});
        QTest::keyClick(item(window, 0), Qt::Key_Return);
        auto *view = item(window, 0)->findChild<QTextEdit *>("messageView");
        QTRY_VERIFY(view->verticalScrollBar()->isVisible());
        emit view->findChild<tarn::visualized::SafeDocument *>()->pictureRead();
        QVERIFY(view->document()->textWidth() < view->width());
    }

    void deletingReachesWhatIsNotBuiltYet()
    {
        QVariantList all = messages(50);
        all << messages(1); // the first one's id again
        const Window window = open(all);
        QTest::keyClick(item(window, 0), Qt::Key_Return);
        item(window, 0)->OnDeleteMessage(); // while the reading is announced
        QTRY_COMPARE(center::list(window)->items().size(), size_t(all.size()));
        QVERIFY(item(window, 50)->isDeleted() && item(window, 50)->isHidden());
        QCOMPARE(reports(), QStringList({"MessageStatu 3 id0", "MsgState 2 id0", "receipt 2 id0"}));
    }

    // One id is one message to the service, however many records carry it.
    void recordsWithTheSameIdActTogether()
    {
        const Window window = open({message("a"), message("b"), message("a")});
        QTest::keyClick(item(window, 2), Qt::Key_Return);
        QTRY_VERIFY(!hasDot(item(window, 0)));
        QTest::mouseClick(item(window, 0), Qt::LeftButton);
        QVERIFY(item(window, 2)->isSelected());
        QTest::mouseClick(bin(item(window, 2)), Qt::LeftButton);
        QVERIFY(!item(window, 0)->isVisible() && !item(window, 2)->isVisible());
        QVERIFY(item(window, 1)->isSelected());
        QCOMPARE(page(window), 0);
        QTest::keyClick(item(window, 1), Qt::Key_Delete);
        QCOMPARE(page(window), 1);
        QCOMPARE(reports(), QStringList({"MessageStatu 3 a", "MessageStatu 3 b", "MsgState 2 a", "receipt 2 a"}));
    }

    void readAllGoesOutInOneCall()
    {
        QVariantList list = messages(120);
        list[5] = message("id5", {{"unRead", false}});
        const Window window = open(list);
        QStringList ids;
        for (int i = 0; i < 120; ++i)
            ids.append(QString("id%1").arg(i));
        const LogCatcher log;
        QTest::mouseClick(readAll(window), Qt::LeftButton); // most of the items are still to come
        QCOMPARE(reports(), QStringList({"MsgState 2 " + ids.join(","), "receipt 2 id0"}));
        QTRY_COMPARE(center::list(window)->items().size(), size_t(120));
        for (CMessageListItem *item : center::list(window)->items())
            QVERIFY(!item->message().unRead && !hasDot(item));
        QVERIFY(log.has(QtDebugMsg, "全部消息已读。数量：120"));
        QVERIFY(log.has(QtDebugMsg, "首条消息为：id0"));
        QVERIFY(log.has(QtInfoMsg, "【全部已读】消息已读，去除未读红点。"));
        QTest::keyClick(item(window, 3), Qt::Key_Return);
        QCOMPARE(reports().size(), 2); // read already
    }

    void keyboardAlone()
    {
        const Window window = open(messages(60));
        QTRY_COMPARE(center::list(window)->items().size(), size_t(60));
        QCOMPARE(window->focusWidget(), window.get()); // nothing that a stray key could press
        const auto press = [&](Qt::Key key) {
            QTest::keyClick(window->focusWidget(), key);
            QList<int> selected;
            for (int i = 0; i < 60; ++i) {
                if (item(window, i)->isSelected())
                    selected.append(i);
            }
            return selected.size() == 1 ? selected.first() : -1;
        };
        const auto tab = [&window] {
            QTest::keyClick(window->focusWidget(), Qt::Key_Tab);
            return window->focusWidget()->objectName();
        };
        QCOMPARE(press(Qt::Key_Down), 0);
        QCOMPARE(press(Qt::Key_Down), 1);
        QCOMPARE(press(Qt::Key_Up), 0);
        QCOMPARE(press(Qt::Key_Up), 0);
        QCOMPARE(press(Qt::Key_End), 59);
        QVERIFY(!item(window, 59)->visibleRegion().isEmpty());
        QCOMPARE(press(Qt::Key_Delete), 58);
        QCOMPARE(press(Qt::Key_Home), 0);
        QVERIFY(!item(window, 0)->visibleRegion().isEmpty());
        press(Qt::Key_Return);
        QVERIFY(item(window, 0)->isExpanded());
        press(Qt::Key_Return);
        QCOMPARE(press(Qt::Key_Down), 1);

        QVERIFY(tab() == "arrowButton" && arrow(item(window, 1))->hasFocus());
        QTest::keyClick(window->focusWidget(), Qt::Key_Return);
        QVERIFY(item(window, 1)->isExpanded());
        QTRY_VERIFY(item(window, 1)->findChild<QWidget *>("messageView")->isVisible());
        QCOMPARE(tab(), QString("messageView"));
        for (QWidget *swallows : {window->focusWidget(), static_cast<QWidget *>(window.get())})
            QTest::keyClick(swallows, Qt::Key_Escape);
        QVERIFY(window->isVisible());
        QVERIFY(tab() == "deleteButton" && bin(item(window, 1))->hasFocus());
        QCOMPARE(tab(), QString("closeButton")); // the last one
        QCOMPARE(tab(), QString("readAllButton"));
        center::list(window)->verticalScrollBar()->setValue(9999);
        tab();
        QVERIFY(item(window, 1)->hasFocus());
        QVERIFY(!item(window, 1)->visibleRegion().isEmpty()); // scrolled into view
        // Delete acts on the card that has the focus, selected or not.
        item(window, 1)->ClearMessageSelected();
        QTest::keyClick(bin(item(window, 1)), Qt::Key_Return);
        QVERIFY(!item(window, 1)->isVisible());
        QCOMPARE(window->focusWidget(), item(window, 2));
        // Tab reaches one message of the list only.
        const auto &items = center::list(window)->items();
        QCOMPARE(std::count_if(items.cbegin(), items.cend(),
                               [](const CMessageListItem *one) { return one->focusPolicy() & Qt::TabFocus; }),
                 1);
    }

    void closingLeavesTheObserverOnce()
    {
        auto window = open(messages(2));
        QSignalSpy closed(window.get(), &CMsgCenterDlg::MsgCenterClosed);
        window->findChild<QPushButton *>("closeButton")->click();
        QVERIFY(!window->isVisible());
        QCOMPARE(closed.size(), 1);
        CMessageObserver::GetObserverInstance()->AddListener(window.get()); // must not be taken out a second time
        window->close();
        const auto data = QSharedPointer<CCommonEventData>::create();
        data->SetMessageId("id0");
        CMessageObserver::GetObserverInstance()->NotifyEvent(data.data(), eEventDisplayed);
        QTRY_VERIFY(!hasDot(item(window, 0)));
    }

    void closedWhileAnAnnouncementIsOnItsWay()
    {
        QPointer<IEventData> watched;
        for (const bool deliverToDialog : {false, true}) {
            auto window = open(messages(2));
            auto data = QSharedPointer<CCommonEventData>::create();
            data->SetMessageId("id1");
            watched = data.data();
            CMessageObserver::GetObserverInstance()->NotifyEvent(data.data(), eEventDisplayed);
            data.reset();
            if (deliverToDialog)
                QCoreApplication::sendPostedEvents(window.get());
            QVERIFY(watched);
            window.reset();
            QVERIFY(!watched);
        }
        const auto late = QSharedPointer<CCommonEventData>::create();
        CMessageObserver::GetObserverInstance()->NotifyEvent(late.data(), eEventDisplayed); // without a listener
    }

    void theManagerOpensOneAndReusesIt()
    {
        fake().queue("GetAllMessageRecords", {2000, {}, {}, messages(2)});
        const LogCatcher log;
        const QPointer<CMsgCenterDlg> first = askForCenter(QRect(0, -5, 801, 611));
        QCOMPARE(first->pos(), QPoint((0 + 800) / 2 - first->width() / 2, (-5 + 605) / 2 - first->height() / 2));
        QVERIFY(first->windowFlags() & Qt::WindowStaysOnTopHint);
        QVERIFY(QTest::qWaitForWindowActive(first));
        QCOMPARE(first->focusWidget(), first.data()); // a stray Return presses nothing
        QVERIFY(log.has(QtDebugMsg, "【消息中心】显示消息中心对话框。"));
        QVERIFY(log.has(QtDebugMsg, "【消息中心】重新计算消息中心位置：QRect(0,-5 801x611)"));
        QCOMPARE(askForCenter("no rectangle"), first.data());

        // A request before the closed window is destroyed opens a new one with the present messages.
        first->close();
        fake().queue("GetAllMessageRecords", {2000, {}, {}, {}});
        const QPointer<CMsgCenterDlg> second = askForCenter(QRect());
        QVERIFY(second && second != first);
        QTRY_VERIFY(!first);
        QCOMPARE(second->findChild<QStackedWidget *>()->currentIndex(), 1);
        CVisualizedManager::FreeInstance();
        QVERIFY(!second);
    }
};

QTEST_MAIN(TestMessageCenter)
#include "tst_message_center.moc"
