#include "frame/VtServiceClient.h"
#include "message/MsgDataUpdTask.h"
#include "support/FakeClient.h"
#include "support/LogCatcher.h"
#include "tarn/message/IMessageServiceAssistant.h"
#include <QElapsedTimer>
#include <QTemporaryDir>
#include <QTest>
#include <QThreadPool>
#include <dlfcn.h>
#include <thread>

namespace {
bool allNull(CVtServiceClient *client)
{
    return !client->GetLicenseServiceAssistant() && !client->GetCloudServiceAssistant() &&
           !client->GetMessageServiceAssistant() && !client->GetUpgradeServiceAssistant();
}

bool isLoaded(const QString &file)
{
    void *handle = ::dlopen(QFile::encodeName(file).constData(), RTLD_LAZY | RTLD_NOLOAD);
    if (handle)
        ::dlclose(handle);
    return handle != nullptr;
}

void startReceipt()
{
    CMsgUpdTaskData data;
    data.msgIds = QStringList("m1");
    data.receipt = 3;
    QThreadPool::globalInstance()->start(new CMsgDataUpdTask(data));
}
} // namespace

// Loading and unloading of the client library. The order of the tests matters: the control of the fake keeps it loaded.
class TestServiceClient final : public QObject
{
    Q_OBJECT
private slots:
    void withoutUsableLibrary()
    {
        // None, no library at all, a library without the entry point.
        for (const QString &source :
             {QString(), QString("/etc/passwd"), qEnvironmentVariable("TARN_BIN_DIR") + "/libtarn-core.so"}) {
            QTemporaryDir dir;
            if (!source.isEmpty())
                QVERIFY(QFile::copy(source, dir.filePath("libTARN.ServiceClient.Base.so")));
            qputenv("TARN_MODULE_PATH", dir.path().toLocal8Bit());
            const LogCatcher log;
            QVERIFY(allNull(CVtServiceClient::GetInstance()));
            startReceipt(); // skipped, silently
            QVERIFY(QThreadPool::globalInstance()->waitForDone());
            CVtServiceClient::ReleaseInstance();
            QVERIFY(log.lines().isEmpty());
        }
    }

    void unloads()
    {
        FakeClient::install();
        const QString file = FakeClient::directory() + "/libTARN.ServiceClient.Base.so";
        for (int round = 0; round < 2; ++round) {
            QVERIFY(CVtServiceClient::GetInstance()->GetMessageServiceAssistant());
            QVERIFY(isLoaded(file));
            CVtServiceClient::ReleaseInstance();
            QVERIFY(!isLoaded(file));
        }
        // One lease is enough for it to stay: the thread of a call that does not return runs code of the library.
        QVERIFY(CVtServiceClient::GetInstance()->GetMessageServiceAssistant());
        const CVtServiceClient::Lease lease;
        CVtServiceClient::ReleaseInstance();
        QVERIFY(isLoaded(file));
    }

    void initialisesInOrder()
    {
        FakeControl &fake = FakeClient::fake();
        fake.reset();
        fake.queue("Initialize cloud", {1}); // the failure stops nothing
        CVtServiceClient::GetInstance();
        CVtServiceClient::GetInstance();
        QCOMPARE(fake.operations(),
                 (QStringList{"Initialize license", "Initialize cloud", "Initialize message", "Initialize upgrade"}));
        const QVariantMap values = fake.calls().first().values;
        QCOMPARE(values.value("clientName").toString(), QString("统一服务_界面交互服务"));
        QCOMPARE(values.value("flag").toInt(), 1);
        fake.reset();
        CVtServiceClient::ReleaseInstance();
        QCOMPARE(fake.operations(), (QStringList{"UnInitialize license", "UnInitialize cloud", "UnInitialize message",
                                                 "UnInitialize upgrade", "UnInitialize manager"}));
    }

    void firstUseFromManyThreads()
    {
        FakeClient::fake().reset();
        std::vector<std::thread> threads;
        std::atomic<int> found{0};
        for (int i = 0; i < 8; ++i)
            threads.emplace_back(
                [&] { found += CVtServiceClient::GetInstance()->GetMessageServiceAssistant() != nullptr; });
        for (std::thread &thread : threads)
            thread.join();
        QCOMPARE(found.load(), 8);
        QCOMPARE(FakeClient::fake().operations().count("Initialize message"), 1);
        CVtServiceClient::ReleaseInstance();
    }

    void releaseLetsReportsArrive()
    {
        FakeControl &fake = FakeClient::fake();
        fake.reset();
        CVtServiceClient::GetInstance();
        fake.queue("AddMessageReceipt", {2000, {}, {}, {}, 200});
        const LogCatcher log;
        startReceipt();
        CVtServiceClient::ReleaseInstance();
        QVERIFY(log.has("添加回执信息成功，消息id为：m1， 回执类型为：3。"));
        QVERIFY(fake.operations().indexOf("AddMessageReceipt") < fake.operations().indexOf("UnInitialize message"));
    }

    void releaseCutsHangingCalls()
    {
        FakeControl &fake = FakeClient::fake();
        fake.reset();
        CVtServiceClient::GetInstance();
        fake.queue("AddMessageReceipt", {2012, {}, {}, {}, 0, true});
        const LogCatcher log;
        startReceipt();
        QTRY_COMPARE(fake.hanging(), 1);
        QElapsedTimer clock;
        clock.start();
        CVtServiceClient::ReleaseInstance();
        QVERIFY(clock.elapsed() < 4000);
        QCOMPARE(fake.hanging(), 0);
        QVERIFY(log.has("添加回执信息失败，消息id为：m1， 回执类型为：3。"));
    }
};

QTEST_GUILESS_MAIN(TestServiceClient)
#include "tst_serviceclient.moc"
