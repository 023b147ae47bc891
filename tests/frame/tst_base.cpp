#include "base/ServiceCall.h"
#include "base/WorkPool.h"
#include "frame/VtServiceClient.h"
#include "support/FakeClient.h"
#include "support/LogCatcher.h"
#include "tarn/cloud/ICloudServiceAssistant.h"
#include "tarn/message/IMessageServiceAssistant.h"
#include "tarn/upgrade/IUpgradeServiceAssistant.h"
#include <QSemaphore>
#include <QTest>
#include <array>
#include <future>
#include <thread>

using namespace tarn::visualized;

namespace {
void stopTask(const QString &success)
{
    const auto outcome =
        call(service::upgrade(), &IUpgradeServiceAssistant::StopUpgrade, {{QStringLiteral("软件名称"), "甲"}});
    VT_LOG_OUTCOME(outcome, QStringLiteral("【取消下载】调用停止升级接口"), success);
}
} // namespace

// The road to the services and the pool for outside data.
class TestBase final : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase() { FakeClient::install(); }
    void init() { FakeClient::fake().reset(); }
    void cleanup()
    {
        ServiceLease::open();
        CVtServiceClient::ReleaseInstance();
    }
    void tellsEndingsApart()
    {
        using Ending = ServiceOutcome::Ending;
        FakeControl &fake = FakeClient::fake();
        // The endings by the codes of success, of the two failures of the transport, and of a refusal.
        const auto judges = [&](const QString &operation, const QVector<int> &codes, const auto &call) {
            QVector<Ending> endings;
            for (const int code : codes) {
                fake.queue(operation, {code, "原因", {{"login_state", 3}}, {QVariantMap{{"MsgId", "m"}}}});
                const ServiceOutcome outcome = call();
                endings << outcome.ending;
                QCOMPARE(outcome.code, code);
                QCOMPARE(outcome.error, QString("原因"));
                QCOMPARE(outcome.list, QVariantList{(QVariantMap{{"MsgId", "m"}})});
            }
            QCOMPARE(endings, (QVector<Ending>{Ending::Accepted, Ending::TransportFailed, Ending::TransportFailed,
                                               Ending::Refused}));
        };
        ServiceOutcome cloud;
        judges("GetLoginState", {4000, 4001, 4012, 1000}, [&cloud] {
            cloud = call(service::cloud(), &ICloudServiceAssistant::GetLoginState, {}, {"login_state", "nothing"});
            return cloud;
        });
        QCOMPARE(cloud.values, (QVariantMap{{"login_state", 3}, {"nothing", QVariant()}}));
        judges("GetAllMessageRecords", {2000, 2001, 2012, 0},
               [] { return call(service::message(), &IMessageServiceAssistant::GetAllMessageRecords, {}); });
        judges("IgnoreUpgrade", {1000, 1001, 1009, 4000},
               [] { return call(service::upgrade(), &IUpgradeServiceAssistant::IgnoreUpgrade, {}); });
        fake.setAvailable(false);
        QVERIFY(!call(service::upgrade(), &IUpgradeServiceAssistant::StopUpgrade, {}).called());
    }

    void logsUnderTheCallersName()
    {
        FakeControl &fake = FakeClient::fake();
        fake.queue("StopUpgrade", {1000});
        fake.queue("StopUpgrade", {1009, "断"});
        fake.queue("StopUpgrade", {1002, "拒\n绝 %1"});
        const LogCatcher log;
        for (const QString &success : QStringList{"成功。", "成功。", "成功。", ""}) // the last without a line
            stopTask(success);
        fake.setAvailable(false);
        stopTask("成功。"); // no line
        QCOMPARE(fake.calls().last().values, (QVariantMap{{"软件名称", "甲"}}));
        const QStringList expected{"成功。",
                                   "【取消下载】调用停止升级接口rpc通信失败，返回错误码为：1009，错误信息为：断。",
                                   "【取消下载】调用停止升级接口失败。返回错误码为：1002，错误信息为：拒 绝 %1。"};
        QCOMPARE(log.texts(), expected);
        QCOMPARE(log.texts(QtInfoMsg), expected.mid(0, 1));
        QCOMPARE(log.texts(QtCriticalMsg), expected.mid(1));
        QCOMPARE(log.lines().last().function, QString("stopTask"));
    }

    // A task that comes after the end must not load the client library again; one that was ordered before may go on.
    void closedLeaseKeepsTheLibraryOut()
    {
        auto ordered = std::make_unique<ServiceLease>();
        ServiceLease::close();
        auto copy = std::make_unique<ServiceLease>(*ordered);
        QVERIFY(copy->isGranted());
        ordered.reset();
        QVERIFY(!ServiceLease::waitForAll(1));
        copy.reset();
        QVERIFY(ServiceLease::waitForAll(1));
        QVERIFY(!call(service::message(), &IMessageServiceAssistant::IgnoreMessage, {}).called());
        QCOMPARE(FakeClient::fake().operations(), QStringList());
        ServiceLease::open();
        QVERIFY(call(service::message(), &IMessageServiceAssistant::IgnoreMessage, {}).accepted());
    }

    // While the library is released no thread holds a lease. The plain counters are written under a lease only: the thread
    // sanitizer reports a race where a lease does not order them.
    void leasesOfManyThreads()
    {
        std::atomic<bool> ended{false};
        std::atomic<int> granted{0};
        std::array<int, 2> held{}; // written by one thread each, while it has a lease
        const auto use = [&ended, &granted](int *count) {
            while (!ended) {
                auto lease = std::make_unique<ServiceLease>();
                const ServiceLease copy(*lease);
                lease.reset();
                if (!copy.isGranted())
                    continue;
                ++*count;
                ++granted;
                --*count;
            }
        };
        const auto one = std::async(std::launch::async, use, &held[0]);
        const auto two = std::async(std::launch::async, use, &held[1]);
        int faults = 0;
        for (int round = 0; round < 50; ++round) {
            for (const int before = granted; granted == before;)
                std::this_thread::yield();
            ServiceLease::close();
            faults += !ServiceLease::waitForAll(30000) || held[0] != 0 || held[1] != 0;
            const int before = granted;
            for (int i = 0; i < 20; ++i)
                std::this_thread::yield();
            faults += granted != before;
            ServiceLease::open();
        }
        ended = true;
        QCOMPARE(faults, 0);
    }

    // It delivers to living receivers only, and stops within its limit.
    void pool()
    {
        static QSemaphore begun, go; // outlive the thread that is left to itself
        static std::atomic<bool> cancelled{false};
        const auto held = [](const WorkCancel &cancel) {
            begun.release();
            go.acquire();
            cancelled = cancel.requested();
            return 1;
        };
        const auto dropped = [](int) { QFAIL("delivered to a destroyed receiver, or after the end"); };
        WorkPool pool;
        auto receiver = std::make_unique<QObject>();
        pool.run(receiver.get(), held, dropped);
        begun.acquire();
        receiver.reset();
        go.release();

        QObject living;
        int result = 0;
        QThread *worker = nullptr;
        const auto noted = [&worker](const WorkCancel &) {
            worker = QThread::currentThread();
            return 7;
        };
        pool.run(&living, noted, [&result](int value) { result = value; });
        QTRY_COMPARE(result, 7);
        QVERIFY(worker != QThread::currentThread());
        QTRY_VERIFY(cancelled);

        pool.run(&living, held, dropped);
        begun.acquire();
        QVERIFY(!pool.stop(50));
        pool.run(&living, noted, dropped);
        go.release();
        pool.open();
        const auto endless = [](const WorkCancel &cancel) {
            begun.release();
            while (!cancel.requested())
                QThread::yieldCurrentThread();
            return 3;
        };
        pool.run(&living, endless, dropped);
        begun.acquire();
        QVERIFY(pool.stop(30000));
        QCoreApplication::sendPostedEvents();
        QCoreApplication::processEvents();
    }
};

QTEST_GUILESS_MAIN(TestBase)
#include "tst_base.moc"
