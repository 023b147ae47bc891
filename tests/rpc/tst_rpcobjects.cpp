// The typed objects: the visualized service's operations and the sign-in's notify object, called over real sockets.
#include "support/Sandbox.h"
#include "tarn/binding/LoginNotify.h"
#include "tarn/binding/Operations.h"
#include "tarn/cloud/ICloudLoginNotify.h"
#include "tarn/cloud/ICloudServiceArgs.h"
#include "tarn/core/BagArgs.h"
#include "tarn/keys/CloudKeys.h"
#include "tarn/license/ILicenseServiceArgs.h"
#include "tarn/message/IMessageServiceArgs.h"
#include "tarn/rpc/Rpc.h"
#include "tarn/rpc/Skeletons.h"
#include "tarn/upgrade/IUpgradeServiceArgs.h"
#include "tarn/visualized/IVisualizedService.h"
#include "tarn/visualized/IVisulizedOperateManager.h"
#include <QFile>
#include <QtTest>

using namespace tarn::binding;
using namespace tarn::rpc;

namespace {

const QString Tag = "visualized";
const QString Key = "k";

/// Answers every operation with what it was given; refuses when the input says so.
class FakeManager final : public IVisulizedOperateManager
{
public:
    QSharedPointer<ICloudLoginNotify> notify()
    {
        const QMutexLocker lock(&m_mutex);
        return m_notify;
    }
    QStringList takeCalls()
    {
        const QMutexLocker lock(&m_mutex);
        return std::exchange(m_calls, {});
    }
    template <class In, class Out>
    bool take(const char *name, const In &input, const Out &output)
    {
        const QMutexLocker lock(&m_mutex);
        m_calls.append(QLatin1String(name));
        if (input->GetValue("refuse").toBool())
            return false;
        output->SetRetCode(1234);
        output->SetError("e");
        output->SetValue(Key, input->GetValue(Key));
        return true;
    }
#define TARN_TAKE(name, In, Out)                                                                                       \
    bool name(QSharedPointer<In> input, QSharedPointer<Out> output) override                                           \
    {                                                                                                                  \
        return take(#name, input, output);                                                                             \
    }
    TARN_TAKE(QueryYunLoginDialogState, ICloudService_InputArgs, ICloudService_OutputArgs)
    TARN_TAKE(NotifyCloudParentFinish, ICloudService_InputArgs, ICloudService_OutputArgs)
    TARN_TAKE(showAutoCheckUpdateDialog, IUpgaredSoftInfoService_InputParam, IUpgaredSoftInfoService_OutputParam)
    TARN_TAKE(showUpgradeDownloadDialog, IUpgaredSoftInfoService_InputParam, IUpgaredSoftInfoService_OutputParam)
    TARN_TAKE(showSilentPatchInstallDialog, IUpgaredService_InputParam, IUpgaredService_OutputParam)
    TARN_TAKE(ShowMessageCenter, IMessageService_InputArgs, IMessageService_OutputArgs)
    TARN_TAKE(ShowNotifyMessage, IMessageService_InputArgs, IMessageService_OutputArgs)
    TARN_TAKE(ShowNetLockLogin, ILicenseService_InputArgs, ILicenseService_OutputArgs)
    TARN_TAKE(NotifyLicParentFinish, ILicenseService_InputArgs, ILicenseService_OutputArgs)
#undef TARN_TAKE
    bool showUpgradeExplainDialog(QSharedPointer<IUpgaredSoftInfoService_InputParam> input,
                                  QSharedPointer<IUpgaredSoftInfoService_OutputParam> output) override
    {
        output->SetValueList(input->GetValueList());
        return take("showUpgradeExplainDialog", input, output);
    }
    bool ShowCloudLogin(QSharedPointer<ICloudService_InputArgs> input, QSharedPointer<ICloudService_OutputArgs> output,
                        QSharedPointer<ICloudLoginNotify> given) override
    {
        QMutexLocker lock(&m_mutex);
        m_notify = given;
        lock.unlock();
        output->SetValue("saw", input->GetValue(NotifyKey));
        return take("ShowCloudLogin", input, output);
    }

private:
    QMutex m_mutex; ///< the calls arrive on threads of the RPC core
    QStringList m_calls;
    QSharedPointer<ICloudLoginNotify> m_notify;
};

class FakeService final : public IVisualizedService
{
public:
    QSharedPointer<FakeManager> manager{new FakeManager};

    QSharedPointer<IVisulizedOperateManager>
    getVisualizedOperateManager(QSharedPointer<IVisualizedService_InputArg>,
                                QSharedPointer<IVisualizedService_OutputArg> output) override
    {
        output->SetRetCode(tarn::visualized::HandedOut);
        return manager;
    }
};

class Notified final : public ICloudLoginNotify
{
public:
    std::atomic_int times = 0;
    void AfterLogin() override { ++times; }
};

} // namespace

class tst_RpcObjects : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase()
    {
        QVERIFY(m_box.startHubAlone() && m_host.init(m_box.settings()) && m_caller.init(m_box.settings()));
        m_adapter = m_host.createAdapter("host");
        QVERIFY(m_adapter->add(QSharedPointer<IVisualizedService>(m_service), tarn::visualized::Interface, Tag));
        QVERIFY(m_adapter->active());
        m_proxy = m_caller.stringToProxy(Tag);
        QVERIFY(m_proxy);
    }

    void operations()
    {
        const QVariantList records{QVariantMap{{"软件名称", "岚川"}}, QVariantMap()};
        for (const Operation &operation : visualizedOperations()) {
            manager().takeCalls();
            const CallResult accepted = call(operation.name, {{{Key, "值"}}, records});
            QVERIFY2(accepted.accepted, accepted.error.message.c_str());
            QCOMPARE(accepted.retCode, 1234);
            QCOMPARE(accepted.errorText, QString("e"));
            QCOMPARE(accepted.output.values.value(Key), QVariant("值"));
            if (operation.name == "showUpgradeExplainDialog")
                QCOMPARE(accepted.output.list, records);
            const CallResult refused = call(operation.name, {{{"refuse", true}}, {}});
            QVERIFY(refused.arrived() && !refused.accepted);
            QCOMPARE(refused.retCode, 0);
            QCOMPARE(manager().takeCalls(), (QStringList{operation.name, operation.name}));
        }
        QCOMPARE(call("unknown").error.code, int(RpcError::NotFound));
    }

    void notifyReachesTheCaller()
    {
        const auto adapter = m_caller.createAdapter("callbacks");
        const QSharedPointer<Notified> notified(new Notified);
        const std::any object = QSharedPointer<ICloudLoginNotify>(notified);
        QVERIFY(bindCallback(*adapter, object, LoginNotifyInterface).isNull()); // not active yet
        QVERIFY(adapter->active());
        const ObjectRef ref = bindCallback(*adapter, object, LoginNotifyInterface);
        QCOMPARE(ref.tag.size(), 32);
        QVERIFY(bindCallback(*adapter, object, LoginNotifyInterface).tag != ref.tag);
        QVERIFY(adapter->add(object, LoginNotifyInterface, "published") && m_caller.stringToProxy("published"));
        QVERIFY(!m_caller.stringToProxy(ref.tag)); // the hub does not know it
        const CallResult result = call("ShowCloudLogin", {{{NotifyKey, QVariant::fromValue(ref)}}, {}});
        QVERIFY(result.accepted && manager().notify());
        QVERIFY(!result.output.values.value("saw").isValid());
        manager().notify()->AfterLogin();
        QCOMPARE(notified->times.load(), 1);

        QVERIFY(adapter->remove(ref.tag));
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression("the caller of the sign-in cannot be told: no object"));
        manager().notify()->AfterLogin();
        QCOMPARE(notified->times.load(), 1);
        QVERIFY(call("ShowCloudLogin").accepted);
        QVERIFY(!manager().notify()); // none given
        QVERIFY(call("ShowCloudLogin", {{{NotifyKey, "no reference"}}, {}}).accepted);
        QVERIFY(!manager().notify());
    }

    void notifyOfADeadCaller()
    {
        QVector<ObjectRef> dead;
        {
            const auto adapter = m_caller.createAdapter("callbacks");
            const std::any object = QSharedPointer<ICloudLoginNotify>(new Notified);
            QVERIFY(adapter->active());
            dead.append(bindCallback(*adapter, object, LoginNotifyInterface));
        }
        for (const char *endpoint : {"unix:/nowhere/x.sock", "127.0.0.1:9", "\"; %%%"})
            dead.append({LoginNotifyInterface, "t", QLatin1String(endpoint), 1});
        for (const ObjectRef &ref : qAsConst(dead)) {
            QVERIFY(call("ShowCloudLogin", {{{NotifyKey, QVariant::fromValue(ref)}}, {}}).accepted);
            QElapsedTimer clock;
            clock.start();
            QTest::ignoreMessage(QtWarningMsg, QRegularExpression("the caller of the sign-in cannot be told: "));
            manager().notify()->AfterLogin();
            QVERIFY2(clock.elapsed() < 4500, qPrintable(ref.endpoint));
        }
    }

    /// TARN_WRITE_DOCS=1 writes the file instead.
    void documentIsUpToDate()
    {
        QFile file(QStringLiteral(TARN_SOURCE_DIR "/docs/operations.md"));
        if (qEnvironmentVariableIsSet("TARN_WRITE_DOCS")) {
            QVERIFY(file.open(QIODevice::WriteOnly));
            file.write(operationsDocument().toUtf8());
            return;
        }
        QVERIFY(file.open(QIODevice::ReadOnly));
        QCOMPARE(QString::fromUtf8(file.readAll()), operationsDocument());
    }

private:
    CallResult call(const QString &method, const Bag &bag = {}) { return m_proxy->call(method, bag); }
    FakeManager &manager() { return *m_service->manager; }

    Sandbox m_box;
    Rpc m_host;
    Rpc m_caller;
    const QSharedPointer<FakeService> m_service{new FakeService};
    QSharedPointer<RpcAdapter> m_adapter;
    QSharedPointer<RpcProxy> m_proxy;
};

QTEST_GUILESS_MAIN(tst_RpcObjects)
#include "tst_rpcobjects.moc"
