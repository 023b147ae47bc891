#include "frame/ManagerAccess.h"
#include "frame/VisualizedManager.h"
#include "frame/VtServiceClient.h"
#include "message/NotifyWnd.h"
#include "support/FakeClient.h"
#include "support/FakeRpc.h"
#include "support/LogCatcher.h"
#include "support/NoticeData.h"
#include "tarn/cloud/ICloudLoginNotify.h"
#include "upgrade/CheckUpdateDial.h"
#include "upgrade/Requests.h"
#include <QElapsedTimer>
#include <QScreen>
#include <QTest>
#include <thread>

using namespace request;

namespace {
QList<NotifyWnd *> notices()
{
    return notice::visibleWindows<NotifyWnd>();
}

QString shownId()
{
    const QList<NotifyWnd *> all = notices();
    return all.size() == 1 ? all.first()->GetMsgId() : QString();
}

bool isPainted(const QString &id)
{
    return shownId() == id && notices().first()->wasPainted();
}

void post(const QMap<QString, QVariant> &values)
{
    CManagerAccess::post(CVisualizedEvents::eShowNotifyMsgDialog, std::make_unique<CNotifyMsgEventData>(values));
}

void sendNotice(const QMap<QString, QVariant> &changes)
{
    send(CVisualizedEvents::eShowNotifyMsgDialog, new CNotifyMsgEventData(notice::values(changes)));
}

void askForLogin()
{
    const auto input = args::input<args::CloudIn>({{"软件标识", "soft"}, {"EXE名称", "exe"}});
    send(CVisualizedEvents::eShowCloudLoginDialog, new CCloudLoginEventData(input, {}, true, 0));
}
} // namespace

// The manager: dispatch, the notice's life, the sign-in query, and what stays behind when it goes.
class TestManager final : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase() { FakeClient::install(); }

    void init()
    {
        FakeClient::fake().reset();
        fakerpc::reset();
        m_log = std::make_unique<LogCatcher>();
    }

    void cleanup()
    {
        CVisualizedManager::FreeInstance();
        CVtServiceClient::ReleaseInstance();
        m_log.reset();
    }

    void noticeAppearsInTheCorner()
    {
        sendNotice({{"unReadNum", "51"}});
        QCOMPARE(notices().size(), 1);
        NotifyWnd *window = notices().first();
        const QRect area = QGuiApplication::primaryScreen()->availableGeometry();
        QCOMPARE(window->pos(), QPoint(area.right() - 10 - window->width(), area.bottom() - 10 - window->height()));
        QVERIFY(!window->windowFlags().testFlag(Qt::WindowStaysOnTopHint));
        QCOMPARE(window->GetUnReadMsgNum(), 51);

        QCOMPARE(m_log->texts(QtDebugMsg), QStringList("[ShowNotifyMessageDlg]显示通知栏消息。"));
        const QStringList lines = m_log->texts(QtInfoMsg);
        QCOMPARE(lines.mid(0, 2), (QStringList{"通知栏消息：未读数量50", "显示通知栏窗口。消息ID:m1"}));
        QVERIFY(QRegularExpression("^通知消息展示-消息id:m1时间\\d{4}-\\d\\d-\\d\\d \\d\\d:\\d\\d:\\d\\d$")
                    .match(lines.value(2))
                    .hasMatch());
        QCOMPARE(lines.value(3), QStringLiteral("通知栏窗口。width:400 --height:%1").arg(window->height()));
        QCOMPARE(lines.size(), 4);
    }

    void noticeIsRefusedQuietly()
    {
        send(CVisualizedEvents::eShowNotifyMsgDialog, new CNotifyMsgEventData({}));
        sendNotice({{"MsgId", ""}});
        QVERIFY(m_log->texts(QtWarningMsg).isEmpty());
        sendNotice({{"MsgContent", ""}});
        QCOMPARE(m_log->texts(QtWarningMsg), QStringList("通知栏消息内容为空。退出展现"));
        QVERIFY(notices().isEmpty());
    }

    void everyQueuedNoticeIsSeen()
    {
        const QStringList ids{"m1", "m2", "m3"};
        QElapsedTimer clock;
        clock.start();
        for (const QString &id : ids)
            post(notice::values({{"MsgId", id}}));
        for (const QString &id : ids)
            QTRY_VERIFY(isPainted(id));
        QVERIFY(clock.elapsed() >= 4000); // two pauses
        QTRY_COMPARE(notices().size(), 1);
        const QStringList lines = m_log->texts(QtInfoMsg);
        QVERIFY(lines.indexOf("显示通知栏窗口。消息ID:m2") > lines.indexOf("关闭通知栏窗口。消息ID:m1"));
    }

    // A screen locker, for instance: the windows are shown and never painted.
    void unpaintedScreenHoldsNoNoticeBack()
    {
        class Unpainted final : public QObject
        {
        public:
            bool eventFilter(QObject *, QEvent *event) override
            {
                return event->type() == QEvent::Expose || event->type() == QEvent::UpdateRequest ||
                       event->type() == QEvent::Paint;
            }
        } unpainted;
        qApp->installEventFilter(&unpainted);
        for (const char *id : {"m1", "m2", "m3"})
            post(notice::values({{"MsgId", id}}));
        QTRY_COMPARE_WITH_TIMEOUT(shownId(), QString("m3"), 15000);
        QVERIFY(m_log->has("关闭通知栏窗口。消息ID:m2"));
    }

    // Nothing to replace, so nothing is closed and no pause made.
    void closedNoticeIsForgotten()
    {
        post(notice::values());
        post(notice::values({{"MsgId", "m2"}})); // waits for the first one
        QCoreApplication::sendPostedEvents(CVisualizedManager::GetInstance());
        QCOMPARE(shownId(), QString("m1"));
        notices().first()->close();
        QTRY_COMPARE(shownId(), QString("m2"));
        QTRY_VERIFY(isPainted("m2"));
        notices().first()->close();
        sendNotice({{"MsgId", "m4"}}); // the closed one has not been deleted yet
        QCOMPARE(shownId(), QString("m4"));
        delete notices().first(); // not even closed
        post(notice::values({{"MsgId", "m3"}}));
        QTRY_COMPARE(shownId(), QString("m3"));
        QVERIFY(m_log->texts().filter("关闭通知栏窗口").isEmpty());
    }

    void wrongEventsAreIgnored()
    {
        class Other final : public IVisualizedEventData
        {
        };
        CVisualizedManager *manager = CVisualizedManager::GetInstance();
        for (int type = 1948; type <= 1958; ++type) {
            const auto eventType = static_cast<QEvent::Type>(type);
            QEvent plain(eventType);
            QVERIFY(manager->event(&plain));
            send(eventType, nullptr);
            send(eventType, new Other);
            // Another request's data, or its own without arguments.
            send(eventType, new CCloudLoginEventData({}, {}, false, 0));
            send(eventType, new CAutoCheckUpdateEveData({}));
            send(eventType, new CUpgradeExplainEveData({}));
            send(eventType, new CUpgradeDownloadEveData({}));
            send(eventType, new CSilentPatchInstallEveData({}));
            send(eventType, new CMsgCenterEventData({}));
            send(eventType, new CNotifyCloudEventData({}));
        }
        QVERIFY(!manager->event(nullptr));
        QVERIFY(notices().isEmpty());
        QVERIFY2(m_log->lines().isEmpty(), qPrintable(m_log->texts().join('\n')));
    }

    // Records without a name, and the platform's own assistant.
    void recordsThatShowNoPrompt()
    {
        for (const QVariant &record : {QVariant(QVariantMap{{"软件", QVariantMap{{"升级版本", "2"}}}}), QVariant(7),
                                       QVariant(released("")), QVariant(released("旧 岚川软件助手 2"))}) {
            sendCheck({record});
            QVERIFY(QApplication::topLevelWidgets().isEmpty());
        }
        sendCheck({released("岚川软件助手"), released("产品")});
        QVERIFY(onlyWindow<CCheckUpdateDial>());
        emit onlyWindow<CCheckUpdateDial>()->ShowExplain("产品");
        QVERIFY(m_log->has(QtInfoMsg, "自动检测升级展现更新说明窗口：当前软件名称为：产品。"));
    }

    void openWindowsAreLimited()
    {
        for (int i = 0; i < 40; ++i)
            sendNotes(released(QString::number(i)));
        QCOMPARE(notice::visibleWindows<QDialog>().size(), 32);
        QCOMPARE(m_log->count(QtWarningMsg, "打开的窗口过多，不再展现。数量：32"), 8);
        for (int i = 0; i < 33; ++i)
            sendPatch(patch(QString::number(i)));
        QCOMPARE(CVisualizedManager::GetInstance()->getSilentPatchInstallState("31"), 1);
        QCOMPARE(CVisualizedManager::GetInstance()->getSilentPatchInstallState("32"), 99);
    }

    // The rectangle comes from outside: it is judged before its edges are bounded, and no sum of them leaves an int.
    void messageCenterJudgesTheRectangle()
    {
        constexpr int Min = std::numeric_limits<int>::min();
        constexpr int Max = std::numeric_limits<int>::max();
        const auto isInvalid = [this](const QPoint &topLeft, const QPoint &bottomRight) {
            m_log->clear();
            const auto input = args::input<args::MessageIn>({{"msg_center_rect", QRect(topLeft, bottomRight)}});
            send(CVisualizedEvents::eShowMessageCenterDialog, new CMsgCenterEventData(input));
            return m_log->has(QtDebugMsg, "【消息中心】未获取到消息中心的父级窗口");
        };
        const auto centreIs = [](const QPoint &expected) {
            const QPoint centre = notice::visibleWindows<QDialog>().first()->geometry().center();
            return (centre - expected).manhattanLength() <= 4;
        };
        QVERIFY(!isInvalid({315, 200}, {515, 400}));
        QVERIFY(centreIs({415, 300}));
        // On its way to a screen of another scale it has a part of its size.
        QWindow *window = notice::visibleWindows<QDialog>().first()->windowHandle();
        window->resize(window->size() / 2);
        QCoreApplication::processEvents();
        QVERIFY(!isInvalid({315, 200}, {515, 400}));
        QVERIFY(centreIs({415, 300}));
        QVERIFY(!isInvalid({Min, Min}, {Max, Max}));
        QVERIFY(isInvalid({Max, 0}, {Min, 10}));
        QVERIFY(isInvalid({Max, 0}, {Max - 1, 10}));
        QVERIFY(centreIs(QGuiApplication::primaryScreen()->availableGeometry().center()));
    }

    void updateRequestsLog()
    {
        const QVariantMap news{{"软件名称", "产品"}, {"插件", QVariantList{QVariantMap{{"升级版本", "2"}}}}};
        const QVariantMap old{{"软件名称", "产品"}, {"旧版本补丁包", QVariantMap{{"升级版本", "2"}}}};
        const auto lines = [this](int type, const QVariantList &list) {
            m_log->clear();
            const auto input = args::input<args::SoftIn>({}, list);
            send(static_cast<QEvent::Type>(type), new CUpgradeExplainEveData(input));
            return m_log->texts(QtInfoMsg) + m_log->texts(QtCriticalMsg);
        };
        const QString begin = "开始展示的软件更新信息提示框产品";
        const QString oldBegin = "开始展现软件旧版本补丁更新说明窗口产品";
        QCOMPARE(lines(1954, {news}), QStringList(begin));
        QCOMPARE(lines(1954, {old}), (QStringList{begin, "软件更新提示框异常退出：数据为空"}));
        QCOMPARE(lines(1957, {old}), QStringList(oldBegin));
        QCOMPARE(lines(1957, {news}), (QStringList{oldBegin, "软件旧版本补丁更新提示框异常退出：数据为空"}));
        for (const int type : {1954, 1957}) {
            QCOMPARE(lines(type, {}), QStringList());
            QCOMPARE(lines(type, {news, old}), QStringList());
        }
    }

    void cloudLoginAsksTheService()
    {
        fakerpc::behaviour.error = {tarn::rpc::RpcError::Timeout, "线程错误"};
        const auto lastLine = [this](int code, int state, const QString &error) {
            CVisualizedManager::FreeInstance(); // with the dialog of the question before
            m_log->clear();
            tarn::rpc::Rpc().stringToProxy("unknown"); // leaves this thread with an error
            FakeClient::fake().queue("GetLoginState", {code, error, {{"login_state", state}}});
            askForLogin();
            return m_log->texts(code == 4000 ? QtDebugMsg : QtCriticalMsg).last();
        };
        for (const int state : {0, 1, 4, 6}) {
            QCOMPARE(lastLine(4000, state, {}), QString("开始显示云登录对话框show"));
            QVERIFY(CVisualizedManager::GetInstance()->YunDiaIsExist());
        }
        for (const int state : {2, 3, 5}) {
            QCOMPARE(lastLine(4000, state, {}), QString("当前云账号状态：%1。跳过显示云登录对话框。").arg(state));
            QVERIFY(!CVisualizedManager::GetInstance()->YunDiaIsExist());
        }
        QCOMPARE(m_log->texts(QtDebugMsg).mid(0, 2),
                 (QStringList{"[ShowCloudLoginDlg]显示云账号登录对话框。", "登录云账号前获取登录云锁标记：true"}));
        const QString failed = "【展现云账号登录对话框】获取云账号登录状态，记录错误码为：4012，错误信息为：";
        QCOMPARE(lastLine(4001, 0, "断了 %1"), failed + "断了 %1");
        QCOMPARE(lastLine(4012, 0, {}), failed + "线程错误");
        QCOMPARE(lastLine(4002, 0, "不行"),
                 QString("【展现云账号登录对话框】获取云账号登录状态，返回错误码为：4002，错误信息为：不行"));
        FakeClient::fake().setAvailable(false);
        m_log->clear();
        askForLogin();
        QCOMPARE(m_log->texts(QtCriticalMsg).size(), 1);
    }

    void nothingRemainsAfterFree()
    {
        post(notice::values());
        QTRY_VERIFY(isPainted("m1"));
        const QPointer<NotifyWnd> window(notices().first());
        auto input = args::input<args::SoftIn>();
        const QWeakPointer<args::SoftIn> watch = input;
        CManagerAccess::post(CVisualizedEvents::eShowUpgradeDownloadDialog,
                             std::make_unique<CUpgradeDownloadEveData>(std::exchange(input, {})));
        post(notice::values({{"MsgId", "m2"}}));
        m_log->clear();
        CVisualizedManager::FreeInstance();
        QVERIFY(!window);
        QVERIFY(watch.isNull());
        QCOMPARE(m_log->texts(), QStringList("关闭通知栏窗口。消息ID:m1"));
        QCoreApplication::processEvents();
        QVERIFY(QApplication::topLevelWidgets().isEmpty());
    }

private:
    std::unique_ptr<LogCatcher> m_log;
};

QTEST_MAIN(TestManager)
#include "tst_manager.moc"
