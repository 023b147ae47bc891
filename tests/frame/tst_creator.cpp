#include "frame/HubSegment.h"
#include "frame/ManagerAccess.h"
#include "frame/ServiceManager.h"
#include "frame/VisualizedManager.h"
#include "frame/VisualizedServiceCreator.h"
#include "frame/VtServiceClient.h"
#include "message/NotifyWnd.h"
#include "support/Args.h"
#include "support/FakeClient.h"
#include "support/FakeRpc.h"
#include "support/LogCatcher.h"
#include "support/NoticeData.h"
#include "support/Packages.h"
#include "tarn/factory/ObjectFactory.h"
#include "tarn/visualized/IVisualizedService.h"
#include "tarn/visualized/IVisulizedOperateManager.h"
#include <QDir>
#include <QTest>

namespace {
QString fontDirectory()
{
    return QCoreApplication::applicationDirPath() + "/System/share/tarn/fonts";
}

QSharedPointer<IVisualizedService> boundService()
{
    const std::any object = fakerpc::record.object;
    const auto *service = std::any_cast<QSharedPointer<IVisualizedService>>(&object);
    return service ? *service : QSharedPointer<IVisualizedService>();
}

bool callNotice(const QSharedPointer<IVisulizedOperateManager> &dispatcher)
{
    return dispatcher->ShowNotifyMessage(args::input<args::MessageIn>({{"MsgId", "m1"}, {"MsgContent", "正文"}}),
                                         args::output<args::MessageOut>());
}
} // namespace

// The creator as the host drives it: bind, tear down, and once more.
class TestCreator final : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase() { FakeClient::install(); }

    void init()
    {
        fakerpc::reset();
        FakeClient::fake().reset();
        m_hub = std::make_unique<HubSegment>("40123");
        m_log = std::make_unique<LogCatcher>();
    }

    void cleanup()
    {
        CVisualizedServiceCreator().destroy("IVisualizedService");
        m_log.reset();
        m_hub.reset();
        QDir(QCoreApplication::applicationDirPath() + "/System").removeRecursively();
    }

    void createBinds()
    {
        const QString name = "CVisualizedServiceCreator";
        for (tarn::IRegist *registrar : tarn::ObjectFactory::regists())
            registrar->registClass();
        const std::unique_ptr<QObject> plain(tarn::ObjectFactory::pointerTypeConstructors().value(name)(nullptr));
        QVERIFY(qobject_cast<CVisualizedServiceCreator *>(plain.get()));
        fakerpc::record.calls.clear();
        const QSharedPointer<QObject> made = tarn::ObjectFactory::constructors().value(name)(nullptr);
        auto &creator = dynamic_cast<CVisualizedServiceCreator &>(*made);
        QVERIFY(creator.create("IVisualizedService"));
        QCOMPARE(fakerpc::record.calls,
                 (QStringList{"createAdapter CVisualizedService", "add IVisualizedService", "active"}));
        QCOMPARE(fakerpc::record.interfaceName, QString("IVisualizedService"));
        const auto out = QSharedPointer<tarn::core::OutputArgs<IVisualizedService_OutputArg>>::create();
        const auto dispatcher = boundService()->getVisualizedOperateManager({}, out);
        QVERIFY(dispatcher);
        QCOMPARE(boundService()->getVisualizedOperateManager({}, {}), dispatcher);
        QCOMPARE(out->GetRetCode(), 6000);
        QVERIFY(m_log->has(QtInfoMsg, "[CVisualizedServiceCreator::create]开始绑定服务对象，标签[IVisualizedService]"));
        QVERIFY(m_log->has(QtInfoMsg, "[CVisualizedServiceCreator::create]服务对象绑定成功，标签[IVisualizedService]"));
    }

    void createFails()
    {
        fakerpc::behaviour.failing = QStringList{"add"};
        fakerpc::behaviour.error.message = "标签已被占用 %1 %2";
        CVisualizedServiceCreator creator;
        QVERIFY(!creator.create("t%2"));
        QVERIFY(!fakerpc::record.calls.contains("active"));
        QVERIFY(m_log->has(QtInfoMsg,
                           "[CVisualizedServiceCreator::create]适配器添加接口指针失败，错误信息[标签已被占用 %1 %2]"));
        QVERIFY(m_log->has(QtInfoMsg, "[CVisualizedServiceCreator::create]开始绑定服务对象，标签[t%2]"));

        // A failure after the object was added leaves nothing behind that refuses the next try.
        for (const QStringList &throwing : {QStringList(), QStringList{"active"}}) {
            fakerpc::behaviour = {};
            fakerpc::behaviour.failing = QStringList{"active"};
            fakerpc::behaviour.throwing = throwing;
            fakerpc::behaviour.error = {tarn::rpc::RpcError::Failed, "no port"};
            QVERIFY(!creator.create("tag"));
            fakerpc::behaviour = {};
            QVERIFY(creator.create("tag"));
            QVERIFY(!creator.create("tag")); // is bound
            creator.destroy("tag");
        }
        QVERIFY(m_log->has(QtCriticalMsg, "[CVisualizedServiceCreator::create]绑定服务对象时发生异常：no thread"));

        // The adapter takes a tag of another process over by itself, and it waits for a hub.
        for (const auto code : {tarn::rpc::RpcError::InvalidArgument, tarn::rpc::RpcError::NoHub}) {
            m_log->clear();
            fakerpc::behaviour.failing = QStringList{"active"};
            fakerpc::behaviour.error = {code, "not now"};
            QVERIFY(creator.create("tag"));
            QVERIFY(boundService());
            QVERIFY(m_log->has(QtWarningMsg, "[CVisualizedServiceCreator::create]适配器激活失败，错误信息[not now]"));
            creator.destroy("tag");
        }

        // No exception of the adapter leaves the creator, nor does one keep a later step from running.
        fakerpc::behaviour = {};
        fakerpc::behaviour.throwing = QStringList{"remove", "unactive"};
        fakerpc::behaviour.onCall = [](const QString &call) {
            if (call == "active")
                throw tarn::rpc::RpcError();
        };
        QVERIFY(!creator.create("tag"));
        QVERIFY(m_log->has(QtCriticalMsg, "[CVisualizedServiceCreator::create]绑定服务对象时发生异常：未知异常"));
        creator.destroy("tag");
        QVERIFY(fakerpc::record.calls.contains("shutdown"));
        QVERIFY(!CServiceManager::hasInstance());
    }

    void fonts()
    {
        CVisualizedServiceCreator creator;
        creator.create("IVisualizedService");
        QCOMPARE(m_log->count(QtWarningMsg, "字体文件目录不存在"), 1);
        QVERIFY(packages::writeFile(fontDirectory() + "/broken.ttf", "no font"));
        creator.create("second"); // the directory exists now
        QVERIFY(QDir(fontDirectory()).removeRecursively());
        creator.create("third"); // the fonts are loaded, so the directory is not read again
        QCOMPARE(m_log->count(QtWarningMsg, "字体文件目录不存在"), 1);
    }

    void destroyInOrder()
    {
        auto creator = std::make_unique<CVisualizedServiceCreator>();
        QVERIFY(creator->create("IVisualizedService"));
        auto service = boundService();
        const QWeakPointer<IVisualizedService> watch(service);
        const auto dispatcher = service->getVisualizedOperateManager({}, {}); // outlives the service
        QVERIFY(callNotice(dispatcher));
        QTRY_COMPARE(notice::visibleWindows<NotifyWnd>().size(), 1);
        const QPointer<NotifyWnd> window(notice::visibleWindows<NotifyWnd>().first());
        CVtServiceClient::GetInstance();
        QVERIFY(callNotice(dispatcher)); // an event that is still queued
        m_log->clear();
        fakerpc::record.calls.clear();
        const auto clientEnded = [] { return FakeClient::fake().operations().contains("UnInitialize manager"); };
        QStringList order;
        const auto note = [&](const QString &step) { order << (clientEnded() ? step + " after the client" : step); };
        connect(window, &QObject::destroyed, this, [&] { note("window"); });
        fakerpc::behaviour.onCall = note;

        for (int i = 0; i < 2; ++i) // the second time does nothing, above all it starts no hub
            creator->destroy("IVisualizedService");
        fakerpc::reset();
        QVERIFY(!window);
        QVERIFY(!CServiceManager::hasInstance());
        QCOMPARE(order, (QStringList{"window", "unactive after the client",
                                     "remove IVisualizedService after the client", "shutdown after the client"}));
        service.clear();
        QVERIFY(watch.isNull());
        QVERIFY(!callNotice(dispatcher));
        QCOMPARE(m_log->texts(QtCriticalMsg).size(), 1);
        QVERIFY(
            m_log->has(QtDebugMsg, "[CVisualizedServiceCreator::destroy]服务对象释放成功，标签[IVisualizedService]"));
        creator.reset();
        QCOMPARE(m_log->texts(QtInfoMsg).last(), QString("CVisualizedService 清理完成"));
        QCoreApplication::processEvents();
        QVERIFY(QApplication::topLevelWidgets().isEmpty());

        CVisualizedServiceCreator again;
        for (const QString &step : QStringList{"add", "active"}) {
            fakerpc::behaviour.failing = QStringList(step);
            fakerpc::behaviour.error.code = tarn::rpc::RpcError::Failed;
            QVERIFY(!again.create("IVisualizedService") && !callNotice(dispatcher));
            fakerpc::reset();
        }
        QVERIFY(again.create("IVisualizedService") && tarn::visualized::ServiceLease().isGranted());
        QVERIFY(callNotice(dispatcher));
        QTRY_COMPARE(notice::visibleWindows<NotifyWnd>().size(), 1);
        again.destroy("IVisualizedService");
        QVERIFY(notice::visibleWindows<NotifyWnd>().isEmpty());
    }

private:
    std::unique_ptr<HubSegment> m_hub;
    std::unique_ptr<LogCatcher> m_log;
};

QTEST_MAIN(TestCreator)
#include "tst_creator.moc"
