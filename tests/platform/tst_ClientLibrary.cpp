#include "support/Freeze.h"
#include "support/Platform.h"
#include "support/ServedObject.h"
#include "tarn/client/IServiceAssistantManager.h"
#include "tarn/cloud/ICloudServiceAssistant.h"
#include "tarn/license/ILicenseServiceAssistant.h"
#include "tarn/link/MessageWire.h"
#include "tarn/link/ServiceConnection.h"
#include "tarn/message/IMessageServiceAssistant.h"
#include "tarn/message/MessageKeys.h"
#include "tarn/upgrade/IUpgradeServiceAssistant.h"
#include <QElapsedTimer>
#include <QLibrary>
#include <QMutex>
#include <QSemaphore>
#include <QTest>
#include <QtConcurrent>
#include <csignal>

using namespace tarn;
using test::Platform;
using test::ServedObject;
namespace key = tarn::message::key;
namespace wire = tarn::link::wire;

namespace {

using Assistant = IMessageServiceAssistant;
using Operation = void (Assistant::*)(Assistant::Input, Assistant::Output);

Assistant::Output call(Assistant *assistant, Operation operation, const QVariantMap &values = {})
{
    const auto input = assistant->CreateInputArgs();
    const auto output = assistant->CreateOutputArgs();
    for (auto it = values.cbegin(); it != values.cend(); ++it)
        input->SetValue(it.key(), it.value());
    (assistant->*operation)(input, output);
    return output;
}

QVariantMap receipt(const QString &id)
{
    return {{key::MsgId, id}, {key::MessageReceipt, 2}, {key::SoftName, QString()}};
}

} // namespace

// The library as the user interface meets it: loaded at run time, entered through its one symbol.
class TestClientLibrary final : public QObject
{
    Q_OBJECT
private slots:
    void init();
    void cleanup();
    void withoutAHub();
    void carriesTheMessageOperations();
    void findsTheServiceAgain();
    void forwardsEveryOperation();
    void theTaskQueryHasAShortDeadline();
    void endsAHangingCall();
    void worksAgainAfterUnloading();

private:
    void load();
    void store(int count);
    QVector<IServiceAssistant *> assistants() const
    {
        return {m_manager->GetLicenseServiceAssistant(), m_manager->GetCloudServiceAssistant(),
                m_manager->GetMessageServiceAssistant(), m_manager->GetUpgradeServiceAssistant()};
    }
    Assistant *message() { return m_manager->GetMessageServiceAssistant(); }
    int codeOfAll() { return call(message(), &Assistant::GetAllMessageRecords)->GetRetCode(); }

    std::unique_ptr<Platform> m_platform;
    std::unique_ptr<QLibrary> m_library;
    IServiceAssistantManager *m_manager = nullptr;
};

void TestClientLibrary::init()
{
    m_platform = std::make_unique<Platform>();
    load();
}

void TestClientLibrary::load()
{
    m_library = std::make_unique<QLibrary>(Platform::program(QStringLiteral("libTARN.ServiceClient.Base.so")));
    QVERIFY2(m_library->load(), qPrintable(m_library->errorString()));
    using Entry = IServiceAssistantManager *(*)();
    const auto entry = reinterpret_cast<Entry>(m_library->resolve("GetServiceAssistantManager"));
    QVERIFY(entry);
    m_manager = entry();
    QString error;
    for (IServiceAssistant *assistant : assistants()) {
        QVERIFY(assistant);
        assistant->Initialize(QStringLiteral("测试"), 1, error);
    }
}

void TestClientLibrary::cleanup()
{
    for (IServiceAssistant *assistant : assistants())
        assistant->UnInitialize();
    m_manager->UnInitialize();
    m_library->unload();
    m_platform.reset();
}

void TestClientLibrary::withoutAHub()
{
    QString error;
    QVERIFY(!message()->Initialize(QStringLiteral("测试"), 1, error));
    QVERIFY(!error.isEmpty());
    const auto output = call(message(), &Assistant::GetAllMessageRecords);
    QCOMPARE(output->GetRetCode(), 2012);
    QVERIFY(!output->GetError().isEmpty());
    QCOMPARE(call(message(), &Assistant::AddMessageReceipt, receipt(QStringLiteral("m")))->GetRetCode(), 2012);

    auto *upgrade = m_manager->GetUpgradeServiceAssistant();
    const auto tasks = upgrade->CreateOutputParam();
    upgrade->QueryTaskInfos(upgrade->CreateInputParam(), tasks);
    QCOMPARE(tasks->GetRetCode(), 1009);
    auto *cloud = m_manager->GetCloudServiceAssistant();
    const auto state = cloud->CreateOutputArgs();
    cloud->GetLoginState(cloud->CreateInputArgs(), state);
    QCOMPARE(state->GetRetCode(), 4012);

    QVERIFY(m_platform->startHub()); // comes later
    QCOMPARE(codeOfAll(), 2000);
}

void TestClientLibrary::store(int count)
{
    rpc::Bag bag;
    for (int i = 0; i < count; ++i)
        bag.list.append(QVariantMap{{key::MsgId, QString::number(i)}, {key::MsgTitle, QStringLiteral("标题")}});
    link::ServiceConnection connection;
    const auto result = connection.call(wire::MessageTag, wire::method::Import, bag);
    QVERIFY2(result.accepted, qPrintable(result.errorText + QString::fromStdString(result.error.message)));
}

void TestClientLibrary::carriesTheMessageOperations()
{
    QVERIFY(m_platform->startHub());
    store(3);
    QCOMPARE(call(message(), &Assistant::AddMessageReceipt, receipt(QStringLiteral("1")))->GetRetCode(), 2000);
    const auto bad = call(message(), &Assistant::AddMessageReceipt, {{key::MsgId, QStringLiteral("1")}});
    QCOMPARE(bad->GetRetCode(), 2003);
    QVERIFY(bad->GetError().contains(QStringLiteral("MessageReceipt")));
    QCOMPARE(call(message(), &Assistant::IgnoreMessage, {{key::MsgId, QStringLiteral("none")}})->GetRetCode(), 2002);
    const QVariantMap read{{key::MsgIdList, QStringList{QStringLiteral("0"), QStringLiteral("1")}},
                           {key::OperateType, QStringLiteral("MsgState")},
                           {QStringLiteral("MsgState"), 2}};
    QCOMPARE(call(message(), &Assistant::UpdateMessageStatus, read)->GetRetCode(), 2000);
    const auto one = call(message(), &Assistant::GetMessageRecord, {{key::MsgId, QStringLiteral("1")}});
    QCOMPARE(one->GetValueList().value(0).toMap().value(key::unRead), QVariant(false));
    // What cannot be sent is the caller's fault, not the connection's.
    const QVariantMap huge{{key::MsgId, QString(5 << 20, QLatin1Char('x'))}};
    QCOMPARE(call(message(), &Assistant::IgnoreMessage, huge)->GetRetCode(), 2003);
}

void TestClientLibrary::findsTheServiceAgain()
{
    QVERIFY(m_platform->startHub());
    store(5);
    QCOMPARE(codeOfAll(), 2000);
    const qint64 services = m_platform->servicesOfHub();
    ::kill(static_cast<pid_t>(services), SIGKILL);
    QTRY_VERIFY_WITH_TIMEOUT(m_platform->servicesOfHub() > 0 && m_platform->servicesOfHub() != services, 10000);
    int code = 0;
    QTRY_VERIFY_WITH_TIMEOUT((code = codeOfAll()) == 2000 || (code != 2001 && code != 2012), 10000);
    QCOMPARE(code, 2000);
    Platform::kill(m_platform->hub());
    QVERIFY(m_platform->startHub());
    QCOMPARE(codeOfAll(), 2000);
    QCOMPARE(call(message(), &Assistant::GetAllMessageRecords)->GetValueList().size(), 5);
}

void TestClientLibrary::forwardsEveryOperation()
{
    QVERIFY(m_platform->startHubAlone());
    QMutex mutex;
    QStringList methods;
    const auto echo = [&](const QString &method, const rpc::Bag &input) {
        const QMutexLocker lock(&mutex);
        methods.append(method);
        rpc::CallResult result;
        result.accepted = true;
        result.retCode = 4711;
        result.errorText = QStringLiteral("text");
        result.output = input;
        return result;
    };
    ServedObject upgradeService(wire::UpgradeTag, echo);
    ServedObject cloudService(wire::CloudTag, echo);
    QVERIFY(upgradeService.isServed() && cloudService.isServed());

    auto *cloud = m_manager->GetCloudServiceAssistant();
    using Cloud = ICloudServiceAssistant;
    for (const auto operation : {&Cloud::GetLoginState, &Cloud::GetMemoryLoginInfo, &Cloud::SendVerificationCode,
                                 &Cloud::LoginByPhone, &Cloud::LoginByAccount, &Cloud::GetQRCodeUrl,
                                 &Cloud::QueryQRCodeResult, &Cloud::GetLinkAddress, &Cloud::Logout}) {
        const auto input = cloud->CreateInputArgs();
        const auto output = cloud->CreateOutputArgs();
        input->SetValue(QStringLiteral("父级窗口句柄"), 7ULL);
        (cloud->*operation)(input, output);
        QCOMPARE(output->GetRetCode(), 4711);
        QCOMPARE(output->GetError(), QStringLiteral("text"));
        QCOMPARE(output->GetValue(QStringLiteral("父级窗口句柄")), QVariant(7ULL));
    }
    auto *upgrade = m_manager->GetUpgradeServiceAssistant();
    using Upgrade = IUpgradeServiceAssistant;
    for (const auto operation : {&Upgrade::CheckNewVersion, &Upgrade::IgnoreUpgrade, &Upgrade::StartDownload}) {
        const auto input = upgrade->CreateSoftInfoInputParam();
        const auto output = upgrade->CreateSoftInfoOutputParam();
        input->SetValueList({QVariantMap{{QStringLiteral("软件名称"), QStringLiteral("甲")}}});
        (upgrade->*operation)(input, output);
        QCOMPARE(output->GetRetCode(), 4711);
        QCOMPARE(output->GetValueList(), input->GetValueList());
    }
    for (const auto operation : {&Upgrade::QueryTaskInfos, &Upgrade::StopUpgrade, &Upgrade::InstallSoftware}) {
        const auto output = upgrade->CreateOutputParam();
        (upgrade->*operation)(upgrade->CreateInputParam(), output);
        QCOMPARE(output->GetRetCode(), 4711);
    }
    const QString expected = QStringLiteral(
        "GetLoginState GetMemoryLoginInfo SendVerificationCode LoginByPhone LoginByAccount GetQRCodeUrl "
        "QueryQRCodeResult GetLinkAddress Logout CheckNewVersion IgnoreUpgrade StartDownload QueryTaskInfos "
        "StopUpgrade InstallSoftware");
    QCOMPARE(methods.join(QLatin1Char(' ')), expected);
}

void TestClientLibrary::theTaskQueryHasAShortDeadline()
{
    QVERIFY(m_platform->startHubAlone());
    QSemaphore release;
    {
        ServedObject hanging(wire::UpgradeTag, [&](const QString &, const rpc::Bag &) {
            release.tryAcquire(1, 20000);
            return rpc::CallResult();
        });
        QVERIFY(hanging.isServed());
        auto *upgrade = m_manager->GetUpgradeServiceAssistant();
        const auto output = upgrade->CreateOutputParam();
        QElapsedTimer timer;
        timer.start();
        upgrade->QueryTaskInfos(upgrade->CreateInputParam(), output);
        QCOMPARE(output->GetRetCode(), 1001);
        QVERIFY2(timer.elapsed() < 5000, qPrintable(QString::number(timer.elapsed())));
        release.release(2);
    }
}

void TestClientLibrary::endsAHangingCall()
{
    QVERIFY(m_platform->startHub());
    store(1);
    QCOMPARE(codeOfAll(), 2000);
    const auto services = static_cast<pid_t>(m_platform->servicesOfHub());
    QVERIFY(services > 0);
    QVERIFY(freeze(services));
    QThreadPool callers;
    callers.setMaxThreadCount(3);
    QList<QFuture<int>> calls;
    QSemaphore begun;
    for (int i = 0; i < 3; ++i)
        calls.append(QtConcurrent::run(&callers, [&] {
            begun.release();
            return codeOfAll();
        }));
    QVERIFY(begun.tryAcquire(3, 10000));
    QElapsedTimer timer;
    timer.start();
    message()->UnInitialize();
    m_manager->UnInitialize();
    QVERIFY2(timer.elapsed() < 5000, qPrintable(QString::number(timer.elapsed())));
    for (QFuture<int> &hanging : calls)
        QCOMPARE(hanging.result(), 2012);
    QCOMPARE(codeOfAll(), 2012); // refused from now on
    ::kill(services, SIGCONT);
    QString error;
    QVERIFY2(message()->Initialize(QStringLiteral("测试"), 1, error), qPrintable(error));
    QTRY_COMPARE_WITH_TIMEOUT(codeOfAll(), 2000, 10000);
}

void TestClientLibrary::worksAgainAfterUnloading()
{
    QVERIFY(m_platform->startHub());
    const auto kept = call(message(), &Assistant::GetAllMessageRecords);
    m_manager->UnInitialize();
    m_library->unload();
    QCOMPARE(kept->GetRetCode(), 2000); // whoever still holds arguments may go on using them
    load();
    QCOMPARE(codeOfAll(), 2000);
}

QTEST_GUILESS_MAIN(TestClientLibrary)
#include "tst_ClientLibrary.moc"
