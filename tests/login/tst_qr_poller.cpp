// The poller of a QR sign-in: how it ends, and that it ends once.
#include "frame/VtServiceClient.h"
#include "login/Login.h"
#include "login/QueryQRCodeResult.h"
#include "support/LogCatcher.h"
#include <QElapsedTimer>
#include <QSignalSpy>
#include <memory>

namespace {
constexpr CQueryQRCodeResult::Rhythm Fast{2, 1, 5};

// All four signals of a poller, as one list.
struct Results
{
    explicit Results(CQueryQRCodeResult *poller)
        : success(poller, &CQueryQRCodeResult::loginSuccess)
        , fail(poller, &CQueryQRCodeResult::loginFail)
        , timeout(poller, &CQueryQRCodeResult::loginTimeout)
        , lock(poller, &CQueryQRCodeResult::yunlockFail)
    {
    }
    int count() const { return success.count() + fail.count() + timeout.count() + lock.count(); }
    QString text() const
    {
        for (const QSignalSpy *spy : {&success, &fail, &timeout, &lock}) {
            if (!spy->isEmpty())
                return QString::fromLatin1(spy->signal()).section(QLatin1Char('('), 0, 0) + QLatin1Char(':') +
                       spy->first().value(0).toString();
        }
        return {};
    }
    QSignalSpy success, fail, timeout, lock;
};
} // namespace

class TestQrPoller final : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase() { FakeClient::install(); }
    void init() { FakeClient::fake().reset(); }
    void cleanup();
    void endings_data();
    void endings();
    void withoutService();
    void sendsItsFlagsAndTheLatestCode();
    void stopWhileWaiting();
    void stopDuringAHangingCall();
    void stopFromAReceiver();
};

void TestQrPoller::cleanup()
{
    FakeClient::fake().releaseHangs();
    QVERIFY(CQueryQRCodeResult::waitForStopped(5000));
    login::processDeletions();
    CVtServiceClient::ReleaseInstance();
}

void TestQrPoller::endings_data()
{
    QTest::addColumn<QList<int>>("codes"); // the last one decides
    QTest::addColumn<QString>("error");
    QTest::addColumn<QString>("result");
    QTest::addColumn<QString>("warning");
    const QList<int> waiting{4022, 4022, 4022, 4022, 4022};
    const QString unbound = "loginFail:检测到您首次通过微信或QQ登录岚川云，请先前往<a style=\"color: #0C64EB;\" "
                            "href=\"https://cloud.example/bind?a=1&amp;b=2\">岚川用户中心</a>绑定后再登录。";
    QTest::newRow("confirmed") << QList<int>{4000} << ""
                               << "loginSuccess:the-token"
                               << "";
    QTest::newRow("later") << QList<int>{4022, 4022, 4000} << ""
                           << "loginSuccess:the-token"
                           << "";
    QTest::newRow("last poll") << waiting.mid(1) + QList<int>{4000} << ""
                               << "loginSuccess:the-token"
                               << "";
    QTest::newRow("never") << waiting << ""
                           << "loginTimeout:"
                           << "";
    QTest::newRow("weixin unbound") << QList<int>{4022, 4024} << "x" << unbound << "";
    QTest::newRow("qq unbound") << QList<int>{4025} << "" << unbound << "";
    QTest::newRow("lock") << QList<int>{4018} << "没有授权"
                          << "yunlockFail:没有授权"
                          << "";
    QTest::newRow("expired") << QList<int>{4007} << " 过期 "
                             << "loginFail: 过期 "
                             << "";
    QTest::newRow("refused") << QList<int>{4023} << ""
                             << "loginFail:"
                             << "";
    QTest::newRow("transport") << QList<int>{4022, 4001} << "断了"
                               << "loginFail:断了"
                               << "查询二维码登录结果失败，returnCode:4001 errormsg:断了";
    QTest::newRow("no text") << QList<int>{4999} << ""
                             << "loginFail:获取扫码登录结果失败。"
                             << "查询二维码登录结果失败，returnCode:4999 errormsg:获取扫码登录结果失败。";
}

void TestQrPoller::endings()
{
    QFETCH(QList<int>, codes);
    QFETCH(QString, error);
    const LogCatcher log;
    for (const int code : codes)
        FakeClient::fake().queue("QueryQRCodeResult", {code, error, {{"token", "the-token"}}});
    FakeClient::fake().queue("GetLinkAddress", {4000, {}, {{"LinkUrl", "https://cloud.example/bind?a=1&b=2"}}});
    const QPointer<CQueryQRCodeResult> poller = new CQueryQRCodeResult(false, false, "secret42", Fast);
    const Results results(poller);
    poller->start();
    QTRY_VERIFY(!poller); // by itself
    QCOMPARE(results.count(), 1);
    QTEST(results.text(), "result");
    QTEST(log.texts(QtWarningMsg).join('\n'), "warning");
    QCOMPARE(login::calls("QueryQRCodeResult").size(), codes.size());
}

void TestQrPoller::withoutService()
{
    FakeClient::fake().setAvailable(false);
    const QPointer<CQueryQRCodeResult> poller = new CQueryQRCodeResult(false, false, "secret42", Fast);
    const Results results(poller);
    poller->start();
    QTRY_VERIFY(!poller);
    QCOMPARE(results.text(), QString("loginFail:获取云服务失败"));
}

void TestQrPoller::sendsItsFlagsAndTheLatestCode()
{
    FakeClient::fake().queue("QueryQRCodeResult", {4022, {}, {}, {}, 0, true});
    const QPointer<CQueryQRCodeResult> poller = new CQueryQRCodeResult(true, true, "first", Fast);
    poller->start();
    QTRY_COMPARE(FakeClient::fake().hanging(), 1);
    poller->setRandomFlag("second");
    FakeClient::fake().releaseHangs();
    QTRY_VERIFY(!poller);
    const auto polls = login::calls("QueryQRCodeResult");
    QCOMPARE(polls.size(), 2);
    QCOMPARE(polls[0], (QVariantMap{{"随机码", "first"}, {"自动登录", true}, {"YunLockErrorTip", true}}));
    QCOMPARE(polls[1].value("随机码").toString(), QString("second"));
}

// With the rhythm that ships.
void TestQrPoller::stopWhileWaiting()
{
    const QPointer<CQueryQRCodeResult> poller = new CQueryQRCodeResult(false, false, "secret42");
    const Results results(poller);
    poller->start();
    QElapsedTimer timer;
    timer.start();
    poller->stop();
    QVERIFY(poller->wait(2000));
    QVERIFY2(timer.elapsed() < 300, qPrintable(QString::number(timer.elapsed())));
    QTRY_VERIFY(!poller);
    QCOMPARE(results.count(), 0);
    QVERIFY(login::calls("QueryQRCodeResult").isEmpty());
}

void TestQrPoller::stopDuringAHangingCall()
{
    const LogCatcher log;
    FakeClient::fake().queue("QueryQRCodeResult", {4999, "late", {}, {}, 0, true});
    const QPointer<CQueryQRCodeResult> poller = new CQueryQRCodeResult(false, false, "secret42", Fast);
    const Results results(poller);
    poller->start();
    QTRY_COMPARE(FakeClient::fake().hanging(), 1);
    poller->stop();
    QVERIFY(!CQueryQRCodeResult::waitForStopped(20)); // bounded
    FakeClient::fake().releaseHangs();
    QTRY_VERIFY(!poller);
    QCOMPARE(results.count(), 0);
    QVERIFY(log.texts(QtWarningMsg).isEmpty());
}

// A receiver on the poller's own thread.
void TestQrPoller::stopFromAReceiver()
{
    const QPointer<CQueryQRCodeResult> poller = new CQueryQRCodeResult(false, false, "secret42", Fast);
    connect(
        poller, &CQueryQRCodeResult::loginSuccess, poller, [&](const QString &) { poller->stop(); },
        Qt::DirectConnection);
    poller->start();
    QTRY_VERIFY(!poller);
}

QTEST_MAIN(TestQrPoller)
#include "tst_qr_poller.moc"
