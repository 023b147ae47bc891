#include "support/Freeze.h"
#include "support/Platform.h"
#include "support/ServedObject.h"
#include "tarn/client/IServiceAssistantManager.h"
#include "tarn/cloud/ICloudServiceAssistant.h"
#include "tarn/core/BagArgs.h"
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
    void findsAHubThatComesLater();
    void carriesTheMessageOperations();
    void tenThousandRecords();
    void findsAKilledServiceAgain();
    void findsARestartedHubAgain();
    void forwardsEveryOperation();
    void theTaskQueryHasAShortDeadline();
    void endsAHangingCall();
    void worksAgainAfterUnloading();
    void takesOnlyItsOwnInput();

private:
    void load();
    void store(int count, int contentSize);
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
    for (IServiceAssistant *assistant : {static_cast<IServiceAssistant *>(m_manager->GetLicenseServiceAssistant()),
                                         static_cast<IServiceAssistant *>(m_manager->GetCloudServiceAssistant()),
                                         static_cast<IServiceAssistant *>(m_manager->GetMessageServiceAssistant()),
                                         static_cast<IServiceAssistant *>(m_manager->GetUpgradeServiceAssistant())}) {
        QVERIFY(assistant);
        assistant->Initialize(QStringLiteral("测试"), 1, error);
    }
}

void TestClientLibrary::cleanup()
{
    for (IServiceAssistant *assistant : {static_cast<IServiceAssistant *>(m_manager->GetCloudServiceAssistant()),
                                         static_cast<IServiceAssistant *>(m_manager->GetMessageServiceAssistant()),
                                         static_cast<IServiceAssistant *>(m_manager->GetUpgradeServiceAssistant())})
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

    auto *license = m_manager->GetLicenseServiceAssistant();
    const auto licenseInput = license->CreateInputArgs();
    licenseInput->SetValue(QStringLiteral("a"), 1);
    QCOMPARE(licenseInput->GetValue(QStringLiteral("a")), QVariant(1));
    QVERIFY(license->CreateOutputArgs());
}

void TestClientLibrary::findsAHubThatComesLater()
{
    QCOMPARE(codeOfAll(), 2012);
    QVERIFY(m_platform->startHub());
    QCOMPARE(codeOfAll(), 2000);
}

void TestClientLibrary::store(int count, int contentSize)
{
    link::ServiceConnection connection;
    for (int first = 0; first < count; first += 500) {
        rpc::Bag bag;
        for (int i = first; i < qMin(count, first + 500); ++i)
            bag.list.append(QVariantMap{{key::MsgId, QString::number(i)},
                                        {key::MsgTitle, QStringLiteral("标题 %1").arg(i)},
                                        {key::MsgContent, QString(contentSize, QChar(0x5b57))},
                                        {key::MsgDateTime, QStringLiteral("2026-01-01 00:00:00")}});
        const auto result = connection.call(wire::MessageTag, wire::method::Import, bag);
        QVERIFY2(result.accepted, qPrintable(result.errorText + QString::fromStdString(result.error.message)));
    }
}

void TestClientLibrary::carriesTheMessageOperations()
{
    QVERIFY(m_platform->startHub());
    store(3, 10);
    QCOMPARE(call(message(), &Assistant::AddMessageReceipt, receipt(QStringLiteral("1")))->GetRetCode(), 2000);
    const auto bad = call(message(), &Assistant::AddMessageReceipt, {{key::MsgId, QStringLiteral("1")}});
    QCOMPARE(bad->GetRetCode(), 2003);
    QVERIFY(bad->GetError().contains(QStringLiteral("MessageReceipt")));
    QCOMPARE(call(message(), &Assistant::IgnoreMessage, {{key::MsgId, QStringLiteral("none")}})->GetRetCode(), 2002);
    const QVariantMap read{{key::MsgIdList, QStringList{QStringLiteral("0"), QStringLiteral("1")}},
                           {key::OperateType, QStringLiteral("MsgState")},
                           {QStringLiteral("MsgState"), 2}};
    QCOMPARE(call(message(), &Assistant::UpdateMessageStatus, read)->GetRetCode(), 2000);
    const QVariantMap deleted{{key::MsgIdList, QStringList{QStringLiteral("2")}},
                              {key::OperateType, QStringLiteral("MessageStatu")},
                              {QStringLiteral("MessageStatu"), 3}};
    QCOMPARE(call(message(), &Assistant::UpdateMessageStatus, deleted)->GetRetCode(), 2000);
    const auto one = call(message(), &Assistant::GetMessageRecord, {{key::MsgId, QStringLiteral("1")}});
    QCOMPARE(one->GetValueList().size(), 1);
    QCOMPARE(one->GetValueList().at(0).toMap().value(key::unRead), QVariant(false));
    const auto all = call(message(), &Assistant::GetAllMessageRecords);
    QCOMPARE(all->GetRetCode(), 2000);
    QVERIFY(all->GetError().isEmpty());
    QCOMPARE(all->GetValueList().size(), 2);
    // What cannot be sent is the caller's fault, not the connection's.
    QCOMPARE(
        call(message(), &Assistant::IgnoreMessage, {{key::MsgId, QString(5 << 20, QLatin1Char('x'))}})->GetRetCode(),
        2003);
    QCOMPARE(codeOfAll(), 2000);
}

void TestClientLibrary::tenThousandRecords()
{
    QVERIFY(m_platform->startHub());
    store(10000, 300); // about 10 MB, more than one message of the RPC layer may hold
    QElapsedTimer timer;
    timer.start();
    const auto all = call(message(), &Assistant::GetAllMessageRecords);
    qInfo("10000 records in %lld ms", timer.elapsed());
    QCOMPARE(all->GetRetCode(), 2000);
    const QVariantList records = all->GetValueList();
    QCOMPARE(records.size(), 10000);
    for (int i = 0; i < records.size(); ++i)
        QCOMPARE(records.at(i).toMap().value(key::MsgId).toInt(), 9999 - i);
    QVERIFY(all->GetValue(wire::Cursor).isNull());
}

void TestClientLibrary::findsAKilledServiceAgain()
{
    QVERIFY(m_platform->startHub());
    store(5, 10);
    for (int round = 0; round < 3; ++round) {
        QCOMPARE(codeOfAll(), 2000);
        const qint64 services = m_platform->servicesOfHub();
        QVERIFY(services > 0);
        ::kill(static_cast<pid_t>(services), SIGKILL);
        QTRY_VERIFY_WITH_TIMEOUT(m_platform->servicesOfHub() > 0 && m_platform->servicesOfHub() != services, 10000);
        int code = 0;
        QTRY_VERIFY_WITH_TIMEOUT((code = codeOfAll()) == 2000 || (code != 2001 && code != 2012), 10000);
        QCOMPARE(code, 2000);
    }
    QCOMPARE(call(message(), &Assistant::GetAllMessageRecords)->GetValueList().size(), 5);
}

void TestClientLibrary::findsARestartedHubAgain()
{
    QVERIFY(m_platform->startHub());
    store(5, 10);
    QCOMPARE(codeOfAll(), 2000);
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
    const QStringList expected{QStringLiteral("GetLoginState"),
                               QStringLiteral("GetMemoryLoginInfo"),
                               QStringLiteral("SendVerificationCode"),
                               QStringLiteral("LoginByPhone"),
                               QStringLiteral("LoginByAccount"),
                               QStringLiteral("GetQRCodeUrl"),
                               QStringLiteral("QueryQRCodeResult"),
                               QStringLiteral("GetLinkAddress"),
                               QStringLiteral("Logout"),
                               QStringLiteral("CheckNewVersion"),
                               QStringLiteral("IgnoreUpgrade"),
                               QStringLiteral("StartDownload"),
                               QStringLiteral("QueryTaskInfos"),
                               QStringLiteral("StopUpgrade"),
                               QStringLiteral("InstallSoftware")};
    QCOMPARE(methods, expected);
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
    store(1, 10);
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

void TestClientLibrary::takesOnlyItsOwnInput()
{
    QVERIFY(m_platform->startHub());
    const auto output = message()->CreateOutputArgs();
    message()->GetAllMessageRecords(nullptr, output);
    QCOMPARE(output->GetRetCode(), 2003);
    message()->GetAllMessageRecords(message()->CreateInputArgs(), nullptr);
    // The host's RPC layer makes argument objects too; those are bags as well.
    const auto ofTheHost = QSharedPointer<core::InputArgs<IMessageService_InputArgs>>::create();
    message()->GetAllMessageRecords(ofTheHost, output);
    QCOMPARE(output->GetRetCode(), 2000);
}

QTEST_GUILESS_MAIN(TestClientLibrary)
#include "tst_ClientLibrary.moc"
