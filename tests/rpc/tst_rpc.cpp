#include "Sandbox.h"
#include "tarn/rpc/IInvocable.h"
#include "tarn/rpc/RpcLog.h"
#include <QtTest>

using namespace tarn::rpc;

class tst_Rpc : public QObject
{
    Q_OBJECT
private slots:
    void smoke();
};

void tst_Rpc::smoke()
{
    Sandbox box;
    QVERIFY(box.startHub());
    RpcLog::set_print(true);
    const auto peer = box.startPeer(QStringLiteral("a"));
    QVERIFY(peer);
    Rpc rpc;
    QVERIFY2(rpc.init(box.settings()), getRpcLastError().message.c_str());
    const auto proxy = rpc.stringToProxy(QStringLiteral("a"));
    QVERIFY2(proxy, getRpcLastError().message.c_str());
    Bag bag;
    bag.values.insert(QStringLiteral("键"), QStringLiteral("值"));
    const CallResult r = proxy->call(QStringLiteral("Echo"), bag);
    QVERIFY2(r.arrived(), r.error.message.c_str());
    QCOMPARE(r.retCode, 42);
    QCOMPARE(r.output.values, bag.values);
    const auto hub = rpc.stringToProxy(QStringLiteral("IServiceHub"));
    qDebug() << hub->call(QStringLiteral("List"), {}).output.list;
    QElapsedTimer t;
    t.start();
    for (int i = 0; i < 5000; ++i)
        QVERIFY(proxy->call(QStringLiteral("Echo"), bag).arrived());
    qDebug() << t.nsecsElapsed() / 5000 / 1000 << "us";
}

QTEST_GUILESS_MAIN(tst_Rpc)
#include "tst_rpc.moc"
