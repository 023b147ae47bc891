// The sign-in dialog is closed, destroyed or shown again during a call. Meant for the address sanitizer.
#include "frame/VtServiceClient.h"
#include "login/ExecYunLogin.h"
#include "login/Login.h"
#include "login/LoginDialogCreator.h"
#include "login/QueryQRCodeResult.h"
#include "support/BoxScript.h"
#include "support/LinkTaker.h"
#include "support/LogCatcher.h"
#include <QApplication>
#include <QElapsedTimer>
#include <QSemaphore>
#include <QTimer>
#include <functional>
#include <thread>

using login::fill;
using login::press;
using tarn::visualized::WaitNotice;

namespace {
CYunLoginDialog *theDialog()
{
    const QWidgetList all = QApplication::topLevelWidgets();
    for (QWidget *widget : all) {
        if (auto *dialog = qobject_cast<CYunLoginDialog *>(widget))
            return dialog;
    }
    return nullptr;
}

void callerEnds(const QString &softId)
{
    const auto input = args::input<args::CloudIn>({{"软件标识", softId}});
    login::sendToManager(
        new CVisualizedEvents(CVisualizedEvents::eNotifyCloudParentFinish, new CNotifyCloudEventData(input)));
}

// Acts in the event loop that waits for the answer, when the service has received the call.
class DuringTheCall final : public QObject
{
public:
    explicit DuringTheCall(std::function<void()> act)
        : m_act(std::move(act))
    {
        connect(&m_timer, &QTimer::timeout, this, &DuringTheCall::look);
        m_timer.start(1);
    }
    bool isDone() const { return !m_act; }

private:
    void look()
    {
        if (FakeClient::fake().hanging() == 0)
            return;
        m_timer.stop();
        std::exchange(m_act, nullptr)();
    }
    QTimer m_timer;
    std::function<void()> m_act;
};

FakeAnswer hanging(int code)
{
    FakeAnswer answer{code, "密码错"};
    answer.hang = true;
    return answer;
}
} // namespace

enum class Turn { Closed, ClosedAfterTheAnswer, CallerEnded, OtherEnded, ShownAgain, Destroyed };
Q_DECLARE_METATYPE(Turn)

class TestLoginLifetimes final : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase();
    void init();
    void cleanup();
    void duringTheCall_data();
    void duringTheCall();
    void oneAttemptAtATime();
    void cancelled_data();
    void cancelled();
    void quitDuringTheCall_data();
    void quitDuringTheCall();
    void passwordIsTakenOut();
    void requestDuringTyping();
    void slowCallerHoldsUpNothing();
    void hangingPollerHoldsUpNothing();
    void requestDuringAQrSignIn();
    void closedUnderATip_data();
    void closedUnderATip();
    void closedButNotDeletedYet();

private:
    void signIn() { press(m_dialog, "accountLoginButton"); }
    // Return in a field starts the sign-in from a separate event; this function returns when the sign-in has ended.
    void signInByReturn(const char *field)
    {
        QTest::keyClick(login::edit(m_dialog, field), Qt::Key_Return);
        QCoreApplication::processEvents();
    }

    QPointer<CYunLoginDialog> m_dialog;
    QSharedPointer<login::Notify> m_notify;
    LogCatcher *m_log = nullptr;
};

void TestLoginLifetimes::initTestCase()
{
    FakeClient::install();
    std::thread([] { LoginDialogCreator::getInst(); }).join();
    QCOMPARE(LoginDialogCreator::getInst()->thread(), QCoreApplication::instance()->thread());
}

void TestLoginLifetimes::init()
{
    FakeClient::fake().reset();
    m_log = new LogCatcher;
    m_notify = QSharedPointer<login::Notify>::create();
    login::ask(m_notify, "cad");
    m_dialog = theDialog();
    QVERIFY(m_dialog && m_dialog->isVisible());
    QCOMPARE(m_dialog->focusWidget(), m_dialog);
    fill(m_dialog, "zhang", "secret");
}

void TestLoginLifetimes::cleanup()
{
    FakeClient::fake().releaseHangs();
    CVisualizedManager::FreeInstance();
    login::settle();
    login::processDeletions();
    QVERIFY(!theDialog());
    QVERIFY(!QApplication::overrideCursor());
    CVtServiceClient::ReleaseInstance();
    delete m_log;
}

void TestLoginLifetimes::duringTheCall_data()
{
    QTest::addColumn<Turn>("event");
    QTest::addColumn<int>("code");
    QTest::addColumn<bool>("survives"); // the dialog, until the answer
    QTest::addColumn<int>("told");
    QTest::addColumn<bool>("byReturn");
    for (const bool byReturn : {false, true}) {
        const auto row = [byReturn](const char *name) -> QTestData & {
            return QTest::newRow(qPrintable(QLatin1String(name) + QLatin1String(byReturn ? ", Return" : "")));
        };
        row("closed, signed in") << Turn::Closed << 4000 << false << 1 << byReturn;
        row("closed when the answer is there") << Turn::ClosedAfterTheAnswer << 4000 << false << 1 << byReturn;
        row("closed, refused") << Turn::Closed << 4100 << false << 0 << byReturn;
        row("caller ended") << Turn::CallerEnded << 4100 << false << 0 << byReturn;
        row("another software ended") << Turn::OtherEnded << 4000 << true << 1 << byReturn;
        row("shown again") << Turn::ShownAgain << 4000 << true << 0 << byReturn; // the next caller is notified instead
        row("service destroyed") << Turn::Destroyed << 4100 << false << 0 << byReturn;
    }
}

void TestLoginLifetimes::duringTheCall()
{
    QFETCH(Turn, event);
    QFETCH(int, code);
    QFETCH(bool, survives);
    QFETCH(bool, byReturn);
    FakeClient::fake().queue("LoginByAccount", hanging(code));
    const auto next = QSharedPointer<login::Notify>::create();
    bool aliveThen = false;
    bool cursorThen = false;
    DuringTheCall act([&] {
        switch (event) {
        case Turn::Closed:
            m_dialog->close();
            break;
        case Turn::ClosedAfterTheAnswer:
            FakeClient::fake().releaseHangs();
            tarn::visualized::cloudcalls::pool().waitForDone();
            QCoreApplication::processEvents(); // the wait is about to end
            m_dialog->close();
            break;
        case Turn::CallerEnded:
            callerEnds("cad");
            break;
        case Turn::OtherEnded:
            callerEnds("viewer");
            break;
        case Turn::ShownAgain:
            login::ask(next, "viewer");
            break;
        case Turn::Destroyed:
            CVisualizedManager::FreeInstance();
            CVtServiceClient::ReleaseInstance(); // ends the hanging call
            break;
        }
        login::processDeletions();
        aliveThen = m_dialog;
        cursorThen = QApplication::overrideCursor();
        FakeClient::fake().releaseHangs();
    });
    BoxScript tips(survives && code != 4000 ? QStringList("确定") : QStringList());
    if (byReturn)
        signInByReturn("passwordEdit");
    else
        signIn();
    QVERIFY(act.isDone() && tips.isDone());
    QCOMPARE(aliveThen, survives);
    QCOMPARE(cursorThen, survives);
    QVERIFY(!QApplication::overrideCursor());
    login::settle(); // the answer to a closed dialog is noticed later
    QTEST(int(m_notify->calls), "told");
    QCOMPARE(int(next->calls), event == Turn::ShownAgain && code == 4000 ? 1 : 0);
    if (survives && code != 4000)
        QVERIFY(m_dialog->isEnabled() && m_dialog->isVisible());
    QCOMPARE(LoginDialogCreator::getInst()->DiaIsExist(), survives && code != 4000);
}

// The waiting dialog starts nothing; the dialog of the next caller starts no account sign-in before the first has ended.
void TestLoginLifetimes::oneAttemptAtATime()
{
    FakeClient::fake().queue("LoginByAccount", hanging(4000));
    BoxScript tips({"确定"});
    DuringTheCall act([&] {
        QVERIFY(!m_dialog->isEnabled());
        signIn();
        m_dialog->onAccountLoginBtn();
        m_dialog->onVerificationCodeLoginBtn();
        m_dialog->onQQLogin();
        m_dialog->close();
        login::processDeletions();
        login::ask({}, "viewer");
        const QPointer<CYunLoginDialog> second = theDialog();
        QVERIFY(second && second->isEnabled());
        fill(second, "li", "secret");
        press(second, "accountLoginButton");
        QVERIFY(second);
        FakeClient::fake().releaseHangs();
    });
    signIn();
    QVERIFY(act.isDone() && tips.isDone());
    QVERIFY(tips.texts[0].contains("上一次登录尚未完成，请稍候再试。"));
    QCOMPARE(login::calls("LoginByAccount").size(), 1);
    QVERIFY(login::calls("LoginByPhone").isEmpty() && login::calls("GetQRCodeUrl").isEmpty());
    login::settle();
    QCOMPARE(int(m_notify->calls), 1);
    press(theDialog(), "accountLoginButton"); // now the second one can start
    QCOMPARE(login::calls("LoginByAccount").size(), 2);
}

void TestLoginLifetimes::cancelled_data()
{
    QTest::addColumn<int>("code");
    QTest::newRow("signed in all the same") << 4000;
    QTest::newRow("refused") << 4100;
}

// A sign-in that takes long can be left. A success that comes later closes the dialog and notifies the caller.
void TestLoginLifetimes::cancelled()
{
    QFETCH(int, code);
    FakeClient::fake().queue("LoginByAccount", hanging(code));
    BoxScript tips({"确定"});
    DuringTheCall act([] {
        QVERIFY(!login::shown<WaitNotice>());
        QTRY_VERIFY(login::shown<WaitNotice>());
        press(login::shown<WaitNotice>(), "cancelButton");
    });
    signIn();
    QVERIFY(act.isDone() && !login::shown<WaitNotice>());
    QVERIFY(m_dialog->isVisible() && m_dialog->isEnabled() && !QApplication::overrideCursor());
    signIn(); // the call is still under way
    QVERIFY(tips.isDone() && tips.texts[0].contains("上一次登录尚未完成"));
    QCOMPARE(int(m_notify->calls), 0);
    FakeClient::fake().releaseHangs();
    login::settle();
    QCOMPARE(int(m_notify->calls), code == 4000 ? 1 : 0);
    QCOMPARE(m_dialog->isVisible(), code != 4000);
    QCOMPARE(login::calls("LoginByAccount").size(), 1);
}

void TestLoginLifetimes::quitDuringTheCall_data()
{
    QTest::addColumn<bool>("answered");
    QTest::newRow("hanging") << false;
    QTest::newRow("answered, but not noticed yet") << true;
}

// The application does not wait for the call, and leaves the assistant to the end of the service.
void TestLoginLifetimes::quitDuringTheCall()
{
    QFETCH(bool, answered);
    FakeClient::fake().queue("LoginByAccount", hanging(4001));
    const DuringTheCall act([answered] {
        if (answered) {
            FakeClient::fake().releaseHangs();
            login::settle();
        }
        QCoreApplication::quit();
    });
    QTimer::singleShot(0, this, &TestLoginLifetimes::signIn);
    QElapsedTimer timer;
    timer.start();
    QCoreApplication::exec();
    QVERIFY(act.isDone());
    QVERIFY(timer.elapsed() < 3000);
    QVERIFY(m_dialog && m_dialog->isEnabled());
    QVERIFY(!FakeClient::fake().operations().contains("UnInitialize cloud"));
}

void TestLoginLifetimes::passwordIsTakenOut()
{
    ICloudServiceAssistant *assistant = CVtServiceClient::GetInstance()->GetCloudServiceAssistant();
    const auto input = assistant->CreateInputArgs();
    input->SetValue("pwd", "secret");
    ExecYunLogin(assistant, input, assistant->CreateOutputArgs());
    QCOMPARE(login::calls("LoginByAccount").value(0).value("pwd").toString(), QString("secret"));
    QVERIFY(!input->GetValue("pwd").isValid());
}

// A further request leaves the focus in the field.
void TestLoginLifetimes::requestDuringTyping()
{
    QVERIFY(QTest::qWaitForWindowActive(m_dialog));
    QWidget *password = login::edit(m_dialog, "passwordEdit");
    password->setFocus();
    login::ask(m_notify, "viewer");
    QCOMPARE(m_dialog->focusWidget(), password);
}

void TestLoginLifetimes::slowCallerHoldsUpNothing()
{
    struct Slow final : ICloudLoginNotify
    {
        void AfterLogin() override { goOn.acquire(); }
        QSemaphore goOn;
    };
    const auto slow = QSharedPointer<Slow>::create();
    m_dialog->SetLoginNotify(slow);
    signIn(); // would not return if it waited for the caller
    login::processDeletions();
    QVERIFY(!m_dialog);
    slow->goOn.release();
}

void TestLoginLifetimes::hangingPollerHoldsUpNothing()
{
    const LinkTaker browser({"http"});
    FakeClient::fake().queue("GetQRCodeUrl", {4000, {}, {{"QRCODE_url", "http://127.0.0.1/qr"}}});
    FakeClient::fake().queue("QueryQRCodeResult", hanging(4000));
    press(m_dialog, "weixinButton");
    QVERIFY(!m_dialog->isVisible());
    QTRY_COMPARE_WITH_TIMEOUT(FakeClient::fake().hanging(), 1, 6000);
    QElapsedTimer timer;
    timer.start();
    m_dialog->close();
    login::processDeletions();
    QVERIFY(!m_dialog);
    QVERIFY(timer.elapsed() < 200);
    CVisualizedManager::FreeInstance();
    QVERIFY(timer.elapsed() < 1500);
    QVERIFY(m_log->has("【云登录】扫码结果查询仍在等待云服务的应答。"));
    CVtServiceClient::ReleaseInstance(); // releases the call
    LoginDialogCreator::joinThreads();
    QVERIFY(CQueryQRCodeResult::waitForStopped(0));
    QVERIFY(timer.elapsed() < 4000);
    QCOMPARE(int(m_notify->calls), 0);
}

// The dialog that a QR sign-in has hidden is shown again for the new caller.
void TestLoginLifetimes::requestDuringAQrSignIn()
{
    const LinkTaker browser({"http"});
    FakeClient::fake().queue("GetQRCodeUrl", {4000, {}, {{"QRCODE_url", "http://127.0.0.1/qr"}}});
    press(m_dialog, "weixinButton");
    QVERIFY(!m_dialog->isVisible());
    QVERIFY(CVisualizedManager::GetInstance()->YunDiaIsExist());
    const auto next = QSharedPointer<login::Notify>::create();
    login::ask(next, "viewer");
    QCOMPARE(theDialog(), m_dialog.data());
    QVERIFY(m_dialog->isVisible() && !login::shown<WaitNotice>());
    callerEnds("cad"); // no longer the caller
    m_dialog->QuickLoginSuccess("token");
    login::settle();
    QCOMPARE(int(m_notify->calls), 0);
    QCOMPARE(int(next->calls), 1);
    QVERIFY(!CVisualizedManager::GetInstance()->YunDiaIsExist()); // although it has not been deleted yet
    login::ask(m_notify, "cad");
    QVERIFY(CVisualizedManager::GetInstance()->YunDiaIsExist());
    login::processDeletions();
    QVERIFY(CVisualizedManager::GetInstance()->YunDiaIsExist());
}

void TestLoginLifetimes::closedUnderATip_data()
{
    QTest::addColumn<bool>("byReturn");
    QTest::newRow("click") << false;
    QTest::newRow("Return") << true;
}

void TestLoginLifetimes::closedUnderATip()
{
    QFETCH(bool, byReturn);
    FakeClient::fake().queue("LoginByPhone", {4018, "没有授权"});
    fill(m_dialog, {}, {}, "13800138000", "123456");
    QTimer::singleShot(byReturn ? 50 : 0, this, [] { callerEnds("cad"); });
    if (byReturn)
        signInByReturn("codeEdit");
    else
        press(m_dialog, "phoneLoginButton");
    QVERIFY(!QApplication::activeModalWidget());
    QTRY_VERIFY(!m_dialog);
    login::settle();
    QCOMPARE(int(m_notify->calls), 0);
    QVERIFY(m_log->has("通知云账号对话框关闭结束，软件标识:cad"));
    callerEnds("cad"); // the dialog belongs to this software no longer
    callerEnds(QString());
    QCOMPARE(m_log->count("通知云账号对话框关闭结束，软件标识:cad"), 1);
    QVERIFY(m_log->has("通知云账号对话框关闭结束，软件标识为空。"));
}

// A closed dialog shows nothing and starts nothing.
void TestLoginLifetimes::closedButNotDeletedYet()
{
    BoxScript tips(QStringList{});
    m_dialog->close();
    m_dialog->close();
    m_dialog->showLoginTip("太迟", eTipError);
    fill(m_dialog, "zhang", "secret", "13800138000", "123456");
    m_dialog->onAccountLoginBtn();
    m_dialog->onVerificationCodeLoginBtn();
    m_dialog->onQQLogin();
    QVERIFY(m_dialog && tips.isDone() && tips.texts.isEmpty());
    QVERIFY(login::calls("LoginByAccount").isEmpty() && login::calls("LoginByPhone").isEmpty());
    login::ask(m_notify, "cad"); // opens another one
    QVERIFY(theDialog() && LoginDialogCreator::getInst()->DiaIsExist());
}

QTEST_MAIN(TestLoginLifetimes)
#include "tst_login_lifetimes.moc"
