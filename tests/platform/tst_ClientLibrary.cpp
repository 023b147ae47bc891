#include "support/Freeze.h"
#include "support/Platform.h"
#include "support/ServedObject.h"
#include "tarn/client/IServiceAssistantManager.h"
#include "tarn/cloud/ICloudServiceAssistant.h"
#include "tarn/keys/MessageKeys.h"
#include "tarn/license/ILicenseServiceAssistant.h"
#include "tarn/link/MessageWire.h"
#include "tarn/link/ServiceConnection.h"
#include "tarn/message/IMessageServiceAssistant.h"
#include "tarn/upgrade/IUpgradeServiceAssistant.h"
#include <QElapsedTimer>
#include <QLibrary>
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
    void aHangingServiceHoldsAWindowOnce();
    void endsAHangingCall();

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
    auto output = call(message(), &Assistant::GetAllMessageRecords);
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
    output = call(message(), &Assistant::AddMessageReceipt, {{key::MsgId, QStringLiteral("1")}});
    QCOMPARE(output->GetRetCode(), 2003);
    QVERIFY(output->GetError().contains(QStringLiteral("MessageReceipt")));
    // What cannot be sent is the caller's fault, not the connection's.
    output = call(message(), &Assistant::IgnoreMessage, {{key::MsgId, QString(5 << 20, QLatin1Char('x'))}});
    QCOMPARE(output->GetRetCode(), 2003);
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

/// Twelve calls in a row, as one click on a prompt with twelve products makes them, and one of each other kind.
void TestClientLibrary::aHangingServiceHoldsAWindowOnce()
{
    QVERIFY(m_platform->startHub());
    QCOMPARE(codeOfAll(), 2000);
    const auto services = static_cast<pid_t>(m_platform->servicesOfHub());
    QVERIFY(services > 0 && freeze(services));
    auto *upgrade = m_manager->GetUpgradeServiceAssistant();
    auto *cloud = m_manager->GetCloudServiceAssistant();
    const auto ignore = [&] {
        const auto output = upgrade->CreateSoftInfoOutputParam();
        upgrade->IgnoreUpgrade(upgrade->CreateSoftInfoInputParam(), output);
        return output->GetRetCode();
    };
    const auto queryTasks = [&] {
        const auto output = upgrade->CreateOutputParam();
        upgrade->QueryTaskInfos(upgrade->CreateInputParam(), output);
        return output->GetRetCode();
    };
    const auto state = [&] {
        const auto output = cloud->CreateOutputArgs();
        cloud->GetLoginState(cloud->CreateInputArgs(), output);
        return output->GetRetCode();
    };
    QElapsedTimer timer;
    timer.start();
    for (int i = 0; i < 12; ++i)
        QVERIFY(QList<int>({1001, 1009}).contains(ignore()));
    QVERIFY(QList<int>({1001, 1009}).contains(queryTasks()));
    QVERIFY2(timer.elapsed() < 6000, qPrintable(QString::number(timer.elapsed())));
    timer.start();
    QVERIFY(QList<int>({4001, 4012}).contains(state()));
    QVERIFY2(timer.elapsed() < 4000, qPrintable(QString::number(timer.elapsed())));
    timer.start();
    QVERIFY(QList<int>({2001, 2012}).contains(codeOfAll()));
    QVERIFY2(timer.elapsed() < 6000, qPrintable(QString::number(timer.elapsed())));
    ::kill(services, SIGCONT);
    QTRY_COMPARE_WITH_TIMEOUT(codeOfAll(), 2000, 10000);
    QTRY_COMPARE_WITH_TIMEOUT(queryTasks(), 1000, 10000);
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

QTEST_GUILESS_MAIN(TestClientLibrary)
#include "tst_ClientLibrary.moc"
