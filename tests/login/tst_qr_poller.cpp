// The poller of a QR sign-in: how it ends, and that it ends once.
#include "frame/VtServiceClient.h"
#include "login/Login.h"
#include "support/LogCatcher.h"
#include <QElapsedTimer>

namespace {
// A poller whose signals are recorded as "name:text".
QPointer<CQueryQRCodeResult> start(QStringList *results, const CQueryQRCodeResult::Rhythm &rhythm = {2, 1, 5})
{
    auto *poller = new CQueryQRCodeResult(true, true, "first", rhythm);
    const auto tell = [results](const char *name) {
        return [=](const QString &text) { *results << QLatin1String(name) + QLatin1Char(':') + text; };
    };
    QObject::connect(poller, &CQueryQRCodeResult::loginSuccess, qApp, tell("success"));
    QObject::connect(poller, &CQueryQRCodeResult::loginFail, qApp, tell("fail"));
    QObject::connect(poller, &CQueryQRCodeResult::yunlockFail, qApp, tell("lock"));
    QObject::connect(poller, &CQueryQRCodeResult::loginTimeout, qApp, [=] { *results << "timeout"; });
    poller->start();
    return poller;
}
} // namespace

class TestQrPoller final : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase() { FakeClient::install(); }
    void init() { FakeClient::fake().reset(); }
    void cleanup() { CVtServiceClient::ReleaseInstance(); }
    void endings_data();
    void endings();
    void stopWhileWaiting();
    void stopDuringAHangingCall_data();
    void stopDuringAHangingCall();
    void stoppedBeforeItStarted();
};

void TestQrPoller::endings_data()
{
    QTest::addColumn<QList<int>>("codes"); // the last one decides
    QTest::addColumn<QString>("error");
    QTest::addColumn<QString>("result");
    QTest::addColumn<QString>("warning");
    const QList<int> four{4022, 4022, 4022, 4022};
    const QString unbound = "fail:检测到您首次通过微信或QQ登录岚川云，请先前往<a style=\"color: #0C64EB;\" "
                            "href=\"https://cloud.example/bind?a=1&amp;b=2\">岚川用户中心</a>绑定后再登录。";
    QTest::newRow("last poll") << four + QList<int>{4000} << ""
                               << "success:the-token"
                               << "";
    QTest::newRow("never") << four + QList<int>{4022} << ""
                           << "timeout"
                           << "";
    QTest::newRow("weixin unbound") << QList<int>{4022, 4024} << "x" << unbound << "";
    QTest::newRow("qq unbound") << QList<int>{4025} << "" << unbound << "";
    QTest::newRow("lock") << QList<int>{4018} << "没有授权"
                          << "lock:没有授权"
                          << "";
    QTest::newRow("expired") << QList<int>{4007} << " 过期 "
                             << "fail: 过期 "
                             << "";
    QTest::newRow("refused") << QList<int>{4023} << ""
                             << "fail:"
                             << "";
    QTest::newRow("transport") << QList<int>{4022, 4001} << "断了%1"
                               << "fail:断了%1"
                               << "查询二维码登录结果失败，returnCode:4001 errormsg:断了%1";
    QTest::newRow("no text") << QList<int>{4999} << ""
                             << "fail:获取扫码登录结果失败。"
                             << "查询二维码登录结果失败，returnCode:4999 errormsg:获取扫码登录结果失败。";
    QTest::newRow("no service") << QList<int>{} << ""
                                << "fail:获取云服务失败"
                                << "";
}

void TestQrPoller::endings()
{
    QFETCH(QList<int>, codes);
    QFETCH(QString, error);
    const LogCatcher log;
    FakeClient::fake().setAvailable(!codes.isEmpty());
    for (const int code : codes)
        FakeClient::fake().queue("QueryQRCodeResult", {code, error, {{"token", "the-token"}}});
    FakeClient::fake().queue("GetLinkAddress", {4000, {}, {{"LinkUrl", "https://cloud.example/bind?a=1&b=2"}}});
    QStringList results;
    const auto poller = start(&results);
    QTRY_VERIFY(!poller); // by itself
    QTEST(results.join('|'), "result");
    QTEST(log.texts(QtWarningMsg).join('|'), "warning");
    const auto polls = login::calls("QueryQRCodeResult");
    QCOMPARE(polls.size(), codes.size());
    if (!polls.isEmpty())
        QCOMPARE(polls[0], (QVariantMap{{"随机码", "first"}, {"自动登录", true}, {"YunLockErrorTip", true}}));
}

// With the rhythm of the product.
void TestQrPoller::stopWhileWaiting()
{
    const auto &rhythm = CQueryQRCodeResult::EveryThreeSeconds;
    QCOMPARE((QList<ulong>{ulong(rhythm.slices), rhythm.sliceMs, ulong(rhythm.polls)}), (QList<ulong>{30, 100, 40}));
    QStringList results;
    const auto poller = start(&results, rhythm);
    QElapsedTimer timer;
    timer.start();
    poller->stop();
    QVERIFY(poller->wait(2000));
    QVERIFY2(timer.elapsed() < 300, qPrintable(QString::number(timer.elapsed())));
    QTRY_VERIFY(!poller);
    QVERIFY(results.isEmpty());
}

void TestQrPoller::stopDuringAHangingCall_data()
{
    QTest::addColumn<int>("code");
    QTest::addColumn<QString>("result");
    QTest::newRow("failure") << 4999 << "";
    QTest::newRow("success") << 4000 << "success:the-token"; // the service has signed the user in
}

void TestQrPoller::stopDuringAHangingCall()
{
    QFETCH(int, code);
    const LogCatcher log;
    for (int i = 0; i < 2; ++i)
        FakeClient::fake().queue("QueryQRCodeResult",
                                 {i == 0 ? 4022 : code, "late", {{"token", "the-token"}}, {}, 0, true});
    QStringList results;
    const auto poller = start(&results);
    QTRY_COMPARE(FakeClient::fake().hanging(), 1);
    poller->setRandomFlag("second");
    FakeClient::fake().releaseHangs();
    QTRY_COMPARE(login::calls("QueryQRCodeResult").size(), 2);
    QCOMPARE(login::calls("QueryQRCodeResult")[1].value("随机码").toString(), QString("second"));
    poller->stop();
    QVERIFY(!CQueryQRCodeResult::waitForStopped(20)); // bounded
    FakeClient::fake().releaseHangs();
    QTRY_VERIFY(!poller);
    QTEST(results.join('|'), "result");
    QVERIFY(log.texts(QtWarningMsg).isEmpty());
}

// The client library may be unloaded by then: the poller must not load it again.
void TestQrPoller::stoppedBeforeItStarted()
{
    CVtServiceClient::ReleaseInstance();
    auto *poller = new CQueryQRCodeResult(true, true, "first");
    const QPointer<CQueryQRCodeResult> watched(poller);
    poller->stop();
    poller->start();
    CQueryQRCodeResult::deleteStopped(5000);
    QVERIFY(!watched);
    QVERIFY(!FakeClient::fake().operations().contains("Initialize cloud"));
}

QTEST_MAIN(TestQrPoller)
#include "tst_qr_poller.moc"
