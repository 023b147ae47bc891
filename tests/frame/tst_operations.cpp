#include "frame/ManagerAccess.h"
#include "frame/VisualizedManager.h"
#include "frame/VisualizedOperateManager.h"
#include "support/Args.h"
#include "support/EventRecorder.h"
#include "support/LogCatcher.h"
#include "tarn/cloud/ICloudLoginNotify.h"
#include <QTest>
#include <QThread>
#include <atomic>
#include <functional>
#include <memory>
#include <thread>

namespace {
using Dispatcher = CVisualizedOperateManager;

// One operation without its types: what goes in as values, what came out.
struct Result
{
    bool accepted;
    bool untouched;
    int code;
    QString error;
    QVariantMap values;
};

enum class Null { None, Input, Output };

using Run = std::function<Result(const QVariantMap &, Null)>;

// @param operation a member of the dispatcher, or a function that gets it first
template <class In, class Out, class Operation>
Run runner(Operation operation)
{
    return [operation](const QVariantMap &values, Null null) -> Result {
        Dispatcher dispatcher;
        const auto in = null == Null::Input ? QSharedPointer<In>() : args::input<In>(values);
        const auto out = args::output<Out>();
        const auto given = null == Null::Output ? QSharedPointer<Out>() : out;
        const bool accepted = std::invoke(operation, dispatcher, in, given);
        return {accepted, args::isUntouched(out), out->GetRetCode(), out->GetError(), out->bag().values};
    };
}

Run cloudLogin(const QSharedPointer<ICloudLoginNotify> &notify)
{
    return runner<args::CloudIn, args::CloudOut>([notify](Dispatcher &dispatcher, const auto &in, const auto &out) {
        return dispatcher.ShowCloudLogin(in, out, notify);
    });
}

struct Row
{
    QString name;
    QString words; // of both log lines
    Run run;
    int eventType; // 0: refused
    int code;
};

QVector<Row> rows()
{
    using namespace args;
    return {
        {"ShowCloudLogin", "显示云账号登录对话框", cloudLogin({}), 1949, 4000},
        {"NotifyCloudParentFinish", "通知云登录父级窗口结束",
         runner<CloudIn, CloudOut>(&Dispatcher::NotifyCloudParentFinish), 1953, 4000},
        {"showAutoCheckUpdateDialog", "展现更新说明对话框",
         runner<SoftIn, SoftOut>(&Dispatcher::showAutoCheckUpdateDialog), 1955, 1000},
        {"showUpgradeExplainDialog", "展现更新说明", runner<SoftIn, SoftOut>(&Dispatcher::showUpgradeExplainDialog),
         1954, 1000},
        {"showUpgradeDownloadDialog", "显示在线升级下载对话框",
         runner<SoftIn, SoftOut>(&Dispatcher::showUpgradeDownloadDialog), 1956, 1000},
        {"showSilentPatchInstallDialog", "显示静默安装补丁进度对话框",
         runner<PatchIn, PatchOut>(&Dispatcher::showSilentPatchInstallDialog), 1958, 1000},
        {"ShowMessageCenter", "显示消息中心对话框", runner<MessageIn, MessageOut>(&Dispatcher::ShowMessageCenter), 1951,
         2000},
        {"ShowNotifyMessage", "显示通知栏消息对话框", runner<MessageIn, MessageOut>(&Dispatcher::ShowNotifyMessage),
         1948, 2000},
        {"ShowNetLockLogin", "显示网络锁登录对话框", runner<LicenseIn, LicenseOut>(&Dispatcher::ShowNetLockLogin), 0,
         0},
        {"NotifyLicParentFinish", "通知网络锁登录父级窗口结束",
         runner<LicenseIn, LicenseOut>(&Dispatcher::NotifyLicParentFinish), 0, 0},
    };
}

// Enough for every operation to be accepted.
QVariantMap someValues()
{
    return {{QStringLiteral("软件名称"), QStringLiteral("产品")}, {QStringLiteral("MsgId"), QStringLiteral("1")}};
}

struct Notify final : ICloudLoginNotify
{
    void AfterLogin() override {}
};
} // namespace

// The operations, called as RPC worker threads call them.
class TestOperations final : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase() { qputenv("TARN_MODULE_PATH", "/nonexistent"); }

    void init()
    {
        CManagerAccess::open();
        m_log = std::make_unique<LogCatcher>();
        m_events = std::make_unique<EventRecorder>(CVisualizedManager::GetInstance());
    }

    void cleanup()
    {
        m_events.reset();
        CVisualizedManager::FreeInstance();
        m_log.reset();
    }

    void operation_data()
    {
        QTest::addColumn<int>("index");
        const QVector<Row> all = rows();
        for (int i = 0; i < all.size(); ++i)
            QTest::newRow(qPrintable(all.at(i).name)) << i;
    }

    // Accepted, without arguments, and while the platform shuts down.
    void operation()
    {
        QFETCH(int, index);
        const Row row = rows().at(index);
        const bool refused = row.eventType == 0;
        Result result = row.run(someValues(), Null::None);
        QCOMPARE(result.accepted, !refused);
        QCOMPARE(result.untouched, refused);
        QCOMPARE(m_events->take(), refused ? QList<int>() : QList<int>{row.eventType});
        if (!refused) {
            QCOMPARE(result.code, row.code);
            QVERIFY(result.error.isEmpty() && !result.error.isNull());
        }
        const LogCatcher::Line first = m_log->lines().value(0);
        QCOMPARE(first.text, QStringLiteral("[%1]%2。").arg(row.name, row.words));
        QCOMPARE(first.type, QtDebugMsg);
        QCOMPARE(first.file, QStringLiteral("libTARN.VisualizedService.so"));
        QCOMPARE(first.function, row.name);
        QCOMPARE(m_log->texts(QtCriticalMsg).size(), int(refused));

        for (const Null null : {Null::Input, Null::Output}) {
            m_log->clear();
            result = row.run(someValues(), null);
            QVERIFY(!result.accepted && result.untouched);
            QCOMPARE(m_log->texts(QtCriticalMsg),
                     QStringList(QStringLiteral("【%1】时传入参数为空，操作失败").arg(row.words)));
        }
        m_log->clear();
        CManagerAccess::shut();
        result = row.run(someValues(), Null::None);
        QVERIFY(!result.accepted && result.untouched);
        QCOMPARE(m_log->texts(QtCriticalMsg).size(), 1);
        QVERIFY(m_events->take().isEmpty());
    }

    void cloudLoginReadsItsKeys()
    {
        const auto notify = QSharedPointer<Notify>::create();
        const auto seen = [&](const QVariant &tip, const QVariant &window) {
            cloudLogin(notify)({{"YunLockErrorTip", tip}, {"父级窗口句柄", window}}, Null::None);
            QPair<bool, quint64> found{false, 1};
            m_events->take([&](CVisualizedEvents &e) {
                const auto *data = dynamic_cast<CCloudLoginEventData *>(e.GetEventData());
                if (data && data->inputArgs && data->loginNotify == notify)
                    found = {data->showErrorTip, data->parentWindowHandle};
            });
            return found;
        };
        const quint64 largest = std::numeric_limits<quint64>::max();
        QCOMPARE(seen({}, {}), qMakePair(false, quint64(0)));
        QCOMPARE(seen(true, largest), qMakePair(true, largest));
        QCOMPARE(seen(1, "77"), qMakePair(true, quint64(77)));
        QCOMPARE(seen("false", "窗口"), qMakePair(false, quint64(0)));
        QCOMPARE(seen(QVariantList{1}, QVariantMap()), qMakePair(false, quint64(0)));
    }

    void noticeValuesAreStrings()
    {
        const Row row = rows().at(7);
        QVERIFY(
            row.run({{"MsgId", 12}, {"MsgTitle", "标题 %1 %2"}, {"MsgContent", true}, {"unReadNum", 51}, {"extra", 1}},
                    Null::None)
                .accepted);
        QMap<QString, QVariant> values;
        const auto read = [&](CVisualizedEvents &e) {
            values = dynamic_cast<CNotifyMsgEventData *>(e.GetEventData())->msgValues;
        };
        m_events->take(read);
        const QMap<QString, QVariant> expected{{"MsgId", "12"},    {"MsgTitle", "标题 %1 %2"}, {"MsgContent", "true"},
                                               {"LinkText", ""},   {"LinkAdress", ""},         {"PicFilePath", ""},
                                               {"unReadNum", "51"}};
        QCOMPARE(values, expected);
        for (const QVariant &value : values)
            QCOMPARE(value.type(), QVariant::String);
        const QStringList lines{"[ShowNotifyMessage]显示通知栏消息对话框。", "通知栏消息：未读数量51",
                                "服务调用助手通知栏消息：结束"};
        QCOMPARE(m_log->texts(QtDebugMsg), lines);
        // Texts are cut, names of other things refuse the notice.
        const QString huge(2 << 20, 'x');
        QVERIFY(row.run({{"MsgId", "m"}, {"MsgTitle", huge}, {"MsgContent", huge}}, Null::None).accepted);
        m_events->take(read);
        QCOMPARE(values.value("MsgTitle").toString().size(), 4096);
        QCOMPARE(values.value("MsgContent").toString().size(), 1 << 20);
        QCOMPARE(m_log->texts(QtWarningMsg).size(), 2);
        for (const char *key : {"MsgId", "LinkAdress", "PicFilePath"})
            QVERIFY(!row.run({{"MsgId", "m"}, {QString::fromLatin1(key), huge}}, Null::None).accepted);
    }

    void loginDialogState()
    {
        const Run query = runner<args::CloudIn, args::CloudOut>(&Dispatcher::QueryYunLoginDialogState);
        for (const Null null : {Null::None, Null::Input}) {
            const Result result = query({}, null);
            QVERIFY(result.accepted);
            QCOMPARE(result.code, args::Untouched);
            QCOMPARE(result.values, (QVariantMap{{"queryYunDiaResult", false}}));
            QCOMPARE(result.values.first().type(), QVariant::Bool);
        }
        QVERIFY(!query({}, Null::Output).accepted);
        CManagerAccess::shut();
        QVERIFY(!query({}, Null::None).accepted);
    }

    void silentPatchQuery()
    {
        QVERIFY(!rows().at(5).run({}, Null::None).accepted);
        QCOMPARE(m_log->texts(QtCriticalMsg), QStringList("【显示静默安装补丁进度对话框】时获取软件名称失败"));
        QVERIFY(!rows().at(5).run({{"软件名称", QString(257, QChar(0x54c1))}}, Null::None).accepted);
        QVERIFY(rows().at(5).run({{"软件名称", QString(256, QChar(0x54c1))}}, Null::None).accepted);
        QCOMPARE(m_events->take(), QList<int>{1958});
        CVisualizedManager *manager = CVisualizedManager::GetInstance();
        const QVariantMap query{{"软件名称", "产品"}, {"是否静默补丁安装状态获取", true}};
        const auto state = [&] { return rows().at(5).run(query, Null::None).values.value("静默补丁安装状态"); };
        QCOMPARE(state(), QVariant(1));
        for (const int end : {2, 99}) {
            manager->setSilentPatchInstallState("产品", end);
            manager->setSilentPatchInstallState("别的", 2);
            QCOMPARE(state(), QVariant(end));
            QCOMPARE(state(), QVariant(1));
            QCOMPARE(manager->getSilentPatchInstallState("别的"), 2);
        }
        manager->setSilentPatchInstallState("产品", 2);
        manager->setSilentPatchInstallState("产品", 1); // overwrites
        QCOMPARE(state(), QVariant(1));
        QVERIFY(m_events->take().isEmpty());
        QVERIFY(rows().at(5).run({{"软件名称", "产品"}}, Null::None).values.contains("静默补丁安装状态"));
        QCOMPARE(m_events->take(), QList<int>{1958});
    }

    void newestEndStatesAreKept()
    {
        CVisualizedManager *manager = CVisualizedManager::GetInstance();
        const auto name = [](int i) { return QStringLiteral("产品%1").arg(i); };
        for (int i = 0; i < 65; ++i)
            manager->setSilentPatchInstallState(name(i), 99);
        manager->setSilentPatchInstallState(name(1), 2); // is the newest now
        for (int i = 100; i < 200; ++i)
            manager->setSilentPatchInstallState(name(i), 1); // push no end state out
        manager->setSilentPatchInstallState("another", 99);
        QCOMPARE(manager->getSilentPatchInstallState(name(0)), 1);
        QCOMPARE(manager->getSilentPatchInstallState(name(1)), 2);
        QCOMPARE(manager->getSilentPatchInstallState(name(2)), 1);
        for (int i = 3; i < 65; ++i)
            QCOMPARE(manager->getSilentPatchInstallState(name(i)), 99);
        manager->setSilentPatchInstallState(QString(2 << 20, QChar('x')), 99);
        QCOMPARE(manager->getSilentPatchInstallState(QString(2 << 20, QChar('x'))), 1);
        QCOMPARE(m_log->texts(QtWarningMsg).size(), 1);
    }

    void firstCallFromWorkerThread()
    {
        m_events.reset();
        CVisualizedManager::FreeInstance();
        std::thread([] { rows().at(7).run(someValues(), Null::None); }).join();
        CVisualizedManager *manager = CVisualizedManager::GetInstance();
        QCOMPARE(manager->thread(), qApp->thread());
        m_log->clear();
        QCoreApplication::sendPostedEvents(manager);
        // The content is missing: the handler ran here and said so.
        QCOMPARE(m_log->texts(QtWarningMsg), QStringList("通知栏消息内容为空。退出展现"));
    }

    void shutWhileCallsArrive()
    {
        m_events.reset();
        std::atomic<bool> stop{false};
        std::atomic<int> refused{0};
        std::vector<std::thread> callers;
        const QVector<Row> all = rows();
        for (int i = 0; i < 4; ++i) {
            callers.emplace_back([&, i] {
                while (!stop)
                    refused += !all.at((i + 5) % 8).run(someValues(), Null::None).accepted;
            });
        }
        for (int round = 0; round < 50; ++round) {
            CManagerAccess::shut();
            CVisualizedManager::FreeInstance();
            const int before = refused;
            QTRY_VERIFY(refused > before);
            CManagerAccess::open();
        }
        stop = true;
        for (std::thread &caller : callers)
            caller.join();
    }

    // The GUI thread is behind: what waits for it does not grow without a bound, and an answered question is no request.
    void waitingRequestsAreLimited()
    {
        const Row center = rows().at(6);
        int accepted = 0;
        while (accepted < 1000 && center.run(someValues(), Null::None).accepted)
            ++accepted;
        QCOMPARE(accepted, 32);
        QCOMPARE(m_log->texts(QtCriticalMsg), QStringList("【显示消息中心对话框】时等待处理的请求过多，操作失败"));
        QCOMPARE(m_log->texts(QtWarningMsg),
                 QStringList("等待处理的窗口请求过多，请求被拒绝")); // a window has no other line
        const QVariantMap query{{"软件名称", "产品"}, {"是否静默补丁安装状态获取", true}};
        QVERIFY(rows().at(5).run(query, Null::None).accepted);
        QVERIFY(rows().at(7).run(someValues(), Null::None).accepted); // notices have limits of their own
        QCOMPARE(m_events->take().size(), 33);
        QVERIFY(center.run(someValues(), Null::None).accepted);
        m_events->take();
    }

private:
    std::unique_ptr<EventRecorder> m_events;
    std::unique_ptr<LogCatcher> m_log;
};

QTEST_MAIN(TestOperations)
#include "tst_operations.moc"
