#include "support/Sandbox.h"
#include "support/ServedObject.h"
#include "tarn/client/IServiceAssistantManager.h"
#include "tarn/cloud/ICloudServiceAssistant.h"
#include "tarn/keys/MessageKeys.h"
#include "tarn/license/ILicenseServiceAssistant.h"
#include "tarn/message/IMessageServiceAssistant.h"
#include "tarn/upgrade/IUpgradeServiceAssistant.h"
#include <QElapsedTimer>
#include <QLibrary>
#include <QSemaphore>
#include <QTest>
#include <QtConcurrent>
#include <csignal>

namespace key = tarn::message::key;

// The library as the user interface meets it: loaded at run time, entered through its one symbol.
class TestClientLibrary final : public QObject
{
    Q_OBJECT
private slots:
    void init()
    {
        m_platform = std::make_unique<Sandbox>();
        m_library = std::make_unique<QLibrary>(Sandbox::program("libTARN.ServiceClient.Base.so"));
        QVERIFY2(m_library->load(), qPrintable(m_library->errorString()));
        using Entry = IServiceAssistantManager *(*)();
        const auto entry = reinterpret_cast<Entry>(m_library->resolve("GetServiceAssistantManager"));
        QVERIFY(entry);
        m_manager = entry();
        QVERIFY(!initialize());
    }

    void cleanup()
    {
        m_manager->UnInitialize();
        m_library->unload();
        m_platform.reset();
    }

    void withoutAHub()
    {
        QCOMPARE(records(), 2012);
        QVERIFY(!call(&Assistant::AddMessageReceipt)->GetError().isEmpty());
        QVERIFY(!call(&Assistant::AddMessageReceipt)->GetError().startsWith("发生通信错误"));
        QCOMPARE(tasks(), 1009);
        QString error;
        QCOMPARE(loginState(&error), 4012);
        QVERIFY2(error.startsWith("发生通信错误（"), qPrintable(error)); // the sign-in shows it to the user

        QVERIFY(m_platform->startHub()); // comes later
        QCOMPARE(records(), 2000);
        auto output = call(&Assistant::AddMessageReceipt, {{key::MsgId, "1"}});
        QCOMPARE(output->GetRetCode(), 2003);
        QVERIFY(output->GetError().contains("MessageReceipt"));
        // What cannot be sent is the caller's fault, not the connection's.
        output = call(&Assistant::IgnoreMessage, {{key::MsgId, QString(5 << 20, 'x')}});
        QCOMPARE(output->GetRetCode(), 2003);
        QCOMPARE(loginState(&error, QString(5 << 20, 'x')), 4003);
        QVERIFY2(!error.isEmpty() && !error.startsWith("发生通信错误"), qPrintable(error));
        m_manager->GetCloudServiceAssistant()->UnInitialize();
        QCOMPARE(loginState(&error), 4012);
        QVERIFY2(error.startsWith("发生通信错误（"), qPrintable(error));
    }

    void refusalWithoutACode()
    {
        QVERIFY(m_platform->startHubAlone());
        const tarn::test::ServedObject service("IMessageService", [](auto &&...) { return tarn::rpc::CallResult(); });
        QVERIFY(service.isServed());
        QCOMPARE(records(), 2002);
    }

    void aHangingServiceHoldsNoCallerLong()
    {
        QVERIFY(m_platform->startHub());
        QCOMPARE(records(), 2000);
        const pid_t services = m_platform->services();
        QVERIFY(services > 0 && freeze(services));
        QThreadPool callers;
        callers.setMaxThreadCount(3);
        QList<QFuture<int>> calls;
        QSemaphore begun;
        for (int i = 0; i < 3; ++i)
            calls.append(QtConcurrent::run(&callers, [&] {
                begun.release();
                return records();
            }));
        QVERIFY(begun.tryAcquire(3, 10000));
        QElapsedTimer timer;
        timer.start();
        m_manager->GetMessageServiceAssistant()->UnInitialize();
        QVERIFY2(timer.elapsed() < 4500, qPrintable(QString::number(timer.elapsed()))); // the calls' own limit is 5 s
        for (QFuture<int> &hanging : calls)
            QCOMPARE(hanging.result(), 2012);
        QCOMPARE(records(), 2012); // refused from now on
        QVERIFY(initialize());

        // Twelve calls in a row, as one click on a prompt with twelve products makes them, and one of each other kind.
        const QList<int> failures{1001, 1009, 2001, 2012, 4001, 4012};
        timer.start();
        for (int i = 0; i < 12; ++i)
            QVERIFY(failures.contains(ignore()));
        QVERIFY(failures.contains(tasks()));
        QVERIFY2(timer.elapsed() < 10000, qPrintable(QString::number(timer.elapsed()))); // two waits would take as long
        timer.start();
        QString error;
        QVERIFY(failures.contains(loginState(&error)) && failures.contains(records()));
        QVERIFY2(error.startsWith("发生通信错误（"), qPrintable(error));
        QVERIFY2(timer.elapsed() < 15000, qPrintable(QString::number(timer.elapsed())));
        ::kill(services, SIGCONT);
        QTRY_COMPARE_WITH_TIMEOUT(records(), 2000, 10000);
        QTRY_COMPARE_WITH_TIMEOUT(tasks(), 1000, 10000);
    }

private:
    using Assistant = IMessageServiceAssistant;
    using Operation = void (Assistant::*)(Assistant::Input, Assistant::Output);

    Assistant::Output call(Operation operation, const QVariantMap &values = {})
    {
        Assistant *assistant = m_manager->GetMessageServiceAssistant();
        const auto input = assistant->CreateInputArgs();
        const auto output = assistant->CreateOutputArgs();
        for (auto it = values.cbegin(); it != values.cend(); ++it)
            input->SetValue(it.key(), it.value());
        (assistant->*operation)(input, output);
        return output;
    }

    int records() { return call(&Assistant::GetAllMessageRecords)->GetRetCode(); }

    int tasks()
    {
        auto *upgrade = m_manager->GetUpgradeServiceAssistant();
        const auto output = upgrade->CreateOutputParam();
        upgrade->QueryTaskInfos(upgrade->CreateInputParam(), output);
        return output->GetRetCode();
    }

    int loginState(QString *error, const QVariant &value = {})
    {
        auto *cloud = m_manager->GetCloudServiceAssistant();
        const auto input = cloud->CreateInputArgs();
        const auto output = cloud->CreateOutputArgs();
        input->SetValue("x", value);
        cloud->GetLoginState(input, output);
        *error = output->GetError();
        return output->GetRetCode();
    }

    int ignore()
    {
        auto *upgrade = m_manager->GetUpgradeServiceAssistant();
        const auto output = upgrade->CreateSoftInfoOutputParam();
        upgrade->IgnoreUpgrade(upgrade->CreateSoftInfoInputParam(), output);
        return output->GetRetCode();
    }

    /// @return whether the message service's assistant has found a hub
    bool initialize()
    {
        QString error;
        m_manager->GetLicenseServiceAssistant()->Initialize("测试", 1, error);
        m_manager->GetCloudServiceAssistant()->Initialize("测试", 1, error);
        m_manager->GetUpgradeServiceAssistant()->Initialize("测试", 1, error);
        return m_manager->GetMessageServiceAssistant()->Initialize("测试", 1, error) == error.isEmpty() &&
               error.isEmpty();
    }

    std::unique_ptr<Sandbox> m_platform;
    std::unique_ptr<QLibrary> m_library;
    IServiceAssistantManager *m_manager = nullptr;
};

QTEST_GUILESS_MAIN(TestClientLibrary)
#include "tst_ClientLibrary.moc"
