#include "e2e/Session.h"

#include <QTest>

// What is missing or broken around the host: it starts, says so, stays and ends as usual.
class TestBadSetup final : public QObject
{
    Q_OBJECT
private slots:
    void hostGoesOn_data();
    void hostGoesOn();
    void noHubProgram();
};

void TestBadSetup::hostGoesOn_data()
{
    QTest::addColumn<QString>("file");
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<QString>("logged");
    QTest::newRow("no fonts folder") << QStringLiteral("System/share/tarn/fonts") << QByteArray()
                                     << QStringLiteral("字体文件目录不存在");
    QTest::newRow("invalid test address")
        << QStringLiteral("RpcTestIp.ini") << QByteArray("[config]\nTestIp=999.1.2.3\n")
        << QStringLiteral("RPC测试IP非法:999.1.2.3");
    QTest::newRow("valid test address") << QStringLiteral("RpcTestIp.ini") << QByteArray("[config]\nTestIp=127.0.0.1\n")
                                        << QStringLiteral("RPC测试IP地址:127.0.0.1");
}

void TestBadSetup::hostGoesOn()
{
    QFETCH(QString, file);
    QFETCH(QByteArray, content);
    QFETCH(QString, logged);
    Session session;
    if (content.isEmpty())
        session.removeBinFile(file);
    else
        QVERIFY(session.writeBinFile(file, content));
    QVERIFY(session.startHost());
    QVERIFY2(session.waitReady(), qPrintable(session.hostLog()));
    QTRY_VERIFY2(session.hostLog().contains(logged), qPrintable(session.hostLog()));
    QCOMPARE(session.stopHost(), 0);
}

void TestBadSetup::noHubProgram()
{
    Session session;
    QVERIFY(session.removeBinFile(QStringLiteral("ServiceHub")));
    QVERIFY(session.startHost());
    QTRY_VERIFY2(session.hostLog().contains(QStringLiteral("统一服务应用程序文件不存在")),
                 qPrintable(session.hostLog()));
    QVERIFY(session.hostRuns());
    QCOMPARE(session.tarnctl({QStringLiteral("status")}).exitCode, 3);
    QCOMPARE(session.stopHost(), 0);
}

QTEST_GUILESS_MAIN(TestBadSetup)
#include "tst_bad_setup.moc"
