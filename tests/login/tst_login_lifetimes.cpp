// The sign-in dialog is closed, destroyed or shown again during a call. Meant for the address sanitizer.
#include "frame/VtServiceClient.h"
#include "login/AccountSignIn.h"
#include "login/Login.h"
#include "login/LoginDialogCreator.h"
#include <QElapsedTimer>
#include <QSemaphore>
#include <QTimer>
#include <thread>

using namespace login;
using namespace tarn::visualized;
using namespace request;
using FakeClient::callsOf;
using FakeClient::fake;

namespace {
// Also a closing one; null when there is none.
CYunLoginDialog *theDialog()
{
    return windows<CYunLoginDialog>().value(0);
}

void callerEnds(const QString &softId)
{
    const auto input = args::input<args::CloudIn>({{"软件标识", softId}});
    send(CVisualizedEvents::eNotifyCloudParentFinish, new CNotifyCloudEventData(input));
}

// Acts in the event loop that waits for the answer, when the service has received the call.
struct DuringTheCall final : QTimer
{
    explicit DuringTheCall(const std::function<void()> &act)
    {
        connect(this, &QTimer::timeout, this, [=] {
            if (fake().hanging() == 0)
                return;
            stop();
            isDone = true;
            act();
        });
        start(1);
    }
    bool isDone = false;
};

FakeAnswer hanging(int code)
{
    return {code, "密码错", {}, {}, 0, true};
}
} // namespace

class TestLoginLifetimes final : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase()
    {
        FakeClient::install();
        std::thread([] { LoginDialogCreator::getInst(); }).join();
        QCOMPARE(LoginDialogCreator::getInst()->thread(), QCoreApplication::instance()->thread());
    }

    void init()
    {
        fake().reset();
        m_log = new LogCatcher;
        m_notify = QSharedPointer<Notify>::create();
        m_next = QSharedPointer<Notify>::create();
        ask(m_notify, "cad");
        m_dialog = theDialog();
        QVERIFY(m_dialog && m_dialog->isVisible());
        QCOMPARE(m_dialog->focusWidget(), m_dialog);
        fill(m_dialog, "zhang", "secret");
    }

    void cleanup()
    {
        fake().releaseHangs();
        CVisualizedManager::FreeInstance();
        settle();
        processDeletions();
        QVERIFY(!theDialog());
        QVERIFY(!QApplication::overrideCursor());
        CVtServiceClient::ReleaseInstance();
        delete m_log;
    }

    void duringTheCall()
    {
        const auto close = [this] { m_dialog->close(); };
        const struct
        {
            const char *name;
            int code;
            bool survives;    // the dialog, until the answer
            QString notified; // calls of the first and of the next caller
            std::function<void()> event;
        } rows[] = {
            {"closed, signed in", 4000, false, "1 0", close},
            {"closed, refused", 4100, false, "0 0", close},
            {"closed, the next one open", 4000, false, "1 1",
             [this] {
                 m_dialog->close();
                 ask(m_next, "viewer");
             }},
            {"closed when the wait is about to end", 4000, false, "1 0",
             [this] {
                 fake().releaseHangs();
                 cloudcalls::pool().waitForDone();
                 QCoreApplication::processEvents();
                 m_dialog->close();
             }},
            {"caller ended", 4100, false, "0 0", [] { callerEnds("cad"); }},
            {"another software ended", 4000, true, "1 0", [] { callerEnds("viewer"); }},
            {"shown again", 4000, true, "0 1", [this] { ask(m_next, "viewer"); }},
            {"service destroyed", 4100, false, "0 0",
             [] {
                 CVisualizedManager::FreeInstance();
                 CVtServiceClient::ReleaseInstance(); // ends the hanging call
             }},
        };
        for (const auto &row : rows) {
            cleanup();
            init();
            fake().queue("LoginByAccount", hanging(row.code));
            bool aliveThen = false;
            bool cursorThen = false;
            const DuringTheCall act([&] {
                row.event();
                processDeletions();
                aliveThen = m_dialog;
                cursorThen = QApplication::overrideCursor();
                fake().releaseHangs();
            });
            const BoxScript tips(QStringList{});
            signIn();
            QVERIFY2(act.isDone && tips.isDone() && aliveThen == row.survives && cursorThen == row.survives, row.name);
            settle(); // the answer to a closed dialog is noticed later
            QVERIFY2(QString("%1 %2").arg(m_notify->calls).arg(m_next->calls) == row.notified, row.name);
            QVERIFY2(!LoginDialogCreator::getInst()->DiaIsExist(), row.name);
        }
    }

    // The waiting dialog starts nothing; that of the next caller starts no account sign-in before the first has ended.
    void oneAttemptAtATime()
    {
        fake().queue("LoginByAccount", hanging(4100));
        BoxScript tips({"确定"});
        DuringTheCall act([&] {
            QVERIFY(!m_dialog->isEnabled());
            signIn();
            tryEverything();
            m_dialog->close();
            processDeletions();
            ask({}, "viewer");
            const QPointer<CYunLoginDialog> second = theDialog();
            QVERIFY(second && second->isEnabled());
            fill(second, "li", "secret");
            BoxScript::press(second, "accountLoginButton");
            QVERIFY(second);
            fake().releaseHangs();
        });
        signIn();
        QVERIFY(act.isDone && tips.isDone());
        QVERIFY(tips.texts[0].contains("上一次登录尚未完成，请稍候再试。"));
        QCOMPARE(callsOf("LoginByAccount").size(), 1);
        QVERIFY(callsOf("LoginByPhone").isEmpty() && callsOf("GetQRCodeUrl").isEmpty());
        settle();
        BoxScript::press(theDialog(), "accountLoginButton"); // now the second one can start
        QCOMPARE(callsOf("LoginByAccount").size(), 2);
    }

    // A modal box of another window can lie above the wait.
    void closedUnderABox()
    {
        for (const bool answered : {false, true}) { // before the dialog closes
            cleanup();
            init();
            fake().queue("LoginByAccount", hanging(4000));
            bool concluded = false;
            const auto closeUnder = [&](QDialog *box) {
                if (answered) {
                    fake().releaseHangs();
                    settle();
                }
                m_dialog->close();
                fake().releaseHangs();
                settle();
                concluded = !AccountSignIn::current() && m_notify->calls == 1;
                box->reject();
            };
            const BoxScript script(QList<BoxScript::Step>{closeUnder});
            const DuringTheCall act([] { QDialog().exec(); });
            signIn();
            settle();
            QVERIFY(script.isDone() && concluded);
            QCOMPARE(int(m_notify->calls), 1);
        }
    }

    // A field can overwrite only a text that nothing else shares.
    void secretsAreNotShared()
    {
        const auto isShared = [this](const char *field) {
            const QString text = edit(m_dialog, field)->text();
            edit(m_dialog, field)->setText(QString());
            return text.isEmpty() || !text.isDetached();
        };
        bool shared = true;
        fake().queue("LoginByAccount", hanging(4100));
        const DuringTheCall act([&] {
            shared = isShared("passwordEdit");
            fake().releaseHangs();
        });
        const auto look = [&](QDialog *tip) {
            shared = isShared("codeEdit");
            tip->reject();
        };
        BoxScript tips({BoxScript::pressing("确定"), look});
        signIn();
        QVERIFY(act.isDone && !shared);
        fake().queue("LoginByPhone", {4102, "密码错"});
        fill(m_dialog, {}, {}, "13800138000", "123456");
        BoxScript::press(m_dialog, "phoneLoginButton");
        QVERIFY(tips.isDone() && !shared);
    }

    // A sign-in that takes long can be left. A success that comes later closes the dialog and notifies the caller.
    void underTheNotice()
    {
        const std::pair<bool, int> rows[] = {{false, 4100}, {true, 4100}, {true, 4000}}; // cancelled, answer
        for (const auto &[cancels, code] : rows) {
            fake().queue("LoginByAccount", hanging(code));
            const BoxScript tips(cancels ? QStringList() : QStringList("确定"));
            const DuringTheCall act([cancels = cancels] {
                QVERIFY(!notice());
                QTRY_VERIFY(notice());
                if (cancels)
                    BoxScript::press(notice(), "cancelButton");
                else
                    fake().releaseHangs();
            });
            signIn();
            QVERIFY(act.isDone && tips.isDone() && !notice());
            QVERIFY(m_dialog->isVisible() && m_dialog->isEnabled() && !QApplication::overrideCursor());
            QCOMPARE(int(m_notify->calls), 0);
            fake().releaseHangs();
            settle();
            QCOMPARE(int(m_notify->calls), code == 4000 ? 1 : 0);
            QCOMPARE(m_dialog->isVisible(), code != 4000);
        }
        QCOMPARE(callsOf("LoginByAccount").size(), 3);
    }

    // The application does not wait for the call, and leaves the assistant to the end of the service.
    void quitDuringTheCall()
    {
        for (const bool answered : {false, true}) {
            fake().queue("LoginByAccount", hanging(4001));
            const DuringTheCall act([answered] {
                if (answered) {
                    fake().releaseHangs();
                    settle();
                }
                QCoreApplication::quit();
            });
            const BoxScript tips(answered ? QStringList("确定") : QStringList());
            QTimer::singleShot(0, this, &TestLoginLifetimes::signIn);
            QCoreApplication::exec(); // would not return if it waited for the call
            QVERIFY(act.isDone);
            QVERIFY(m_dialog && m_dialog->isEnabled());
            QVERIFY(!fake().operations().contains("UnInitialize cloud"));
            fake().releaseHangs();
            settle();
        }
    }

    void passwordIsTakenOut()
    {
        ICloudServiceAssistant *assistant = CVtServiceClient::GetInstance()->GetCloudServiceAssistant();
        const auto input = assistant->CreateInputArgs();
        input->SetValue("pwd", "secret");
        ExecYunLogin(assistant, input, assistant->CreateOutputArgs());
        QCOMPARE(callsOf("LoginByAccount").value(0).value("pwd").toString(), QString("secret"));
        QVERIFY(!input->GetValue("pwd").isValid());
    }

    // A further request leaves the focus in the field.
    void requestDuringTyping()
    {
        QVERIFY(QTest::qWaitForWindowActive(m_dialog));
        QWidget *password = edit(m_dialog, "passwordEdit");
        password->setFocus();
        ask(m_notify, "viewer");
        QCOMPARE(m_dialog->focusWidget(), password);
    }

    void slowCallerHoldsUpNothing()
    {
        QSemaphore goOn;
        m_notify->act = [&] { goOn.acquire(); };
        signIn(); // would not return if it waited for the caller
        processDeletions();
        QVERIFY(!m_dialog);
        goOn.release();
        settle();
    }

    void hangingPollerHoldsUpNothing()
    {
        scan(hanging(4000));
        QTRY_COMPARE_WITH_TIMEOUT(fake().hanging(), 1, 15000);
        QElapsedTimer timer;
        timer.start();
        m_dialog->close();
        processDeletions();
        QVERIFY(!m_dialog && timer.elapsed() < 2000); // the poller would take three seconds
        CVisualizedManager::FreeInstance();
        QVERIFY(timer.elapsed() < 10000);
        QVERIFY(m_log->has("【云登录】扫码结果查询仍在等待云服务的应答。"));
        CVtServiceClient::ReleaseInstance(); // releases the call
        LoginDialogCreator::joinThreads();
        QVERIFY(CQueryQRCodeResult::waitForStopped(0));
        QCOMPARE(int(m_notify->calls), 0);
    }

    void endDuringAScan()
    {
        scan();
        CVisualizedManager::FreeInstance();
        QVERIFY(!m_log->has("【云登录】扫码结果查询仍在等待云服务的应答。"));
    }

    // The dialog that a QR sign-in has hidden is shown again for the new caller.
    void requestDuringAQrSignIn()
    {
        scan();
        QVERIFY(CVisualizedManager::GetInstance()->YunDiaIsExist());
        ask(m_next, "viewer");
        QCOMPARE(theDialog(), m_dialog.data());
        QVERIFY(m_dialog->isVisible() && !notice());
        callerEnds("cad"); // no longer the caller
        m_dialog->QuickLoginSuccess("token");
        QVERIFY(CQueryQRCodeResult::waitForStopped(1500)); // not three seconds, until the next poll
        settle();
        QCOMPARE(int(m_notify->calls), 0);
        QCOMPARE(int(m_next->calls), 1);
        QVERIFY(!CVisualizedManager::GetInstance()->YunDiaIsExist()); // although it has not been deleted yet
        ask(m_notify, "cad");
        QVERIFY(CVisualizedManager::GetInstance()->YunDiaIsExist());
        processDeletions();
        QVERIFY(CVisualizedManager::GetInstance()->YunDiaIsExist());
    }

    void closedUnderATip()
    {
        fake().queue("LoginByPhone", {4018, "没有授权"});
        fill(m_dialog, {}, {}, "13800138000", "123456");
        QTimer::singleShot(0, this, [] { callerEnds("cad"); });
        BoxScript::press(m_dialog, "phoneLoginButton");
        QVERIFY(!QApplication::activeModalWidget());
        QTRY_VERIFY(!m_dialog);
        settle();
        QCOMPARE(int(m_notify->calls), 0);
        callerEnds("cad"); // the dialog belongs to this software no longer
        callerEnds(QString());
        QCOMPARE(m_log->count("通知云账号对话框关闭结束，软件标识:cad"), 1);
        QVERIFY(m_log->has("通知云账号对话框关闭结束，软件标识为空。"));
    }

    // A closed dialog shows nothing and starts nothing.
    void closedButNotDeletedYet()
    {
        BoxScript tips(QStringList{});
        m_dialog->close();
        m_dialog->close();
        m_dialog->showLoginTip("太迟", eTipError);
        fill(m_dialog, "zhang", "secret", "13800138000", "123456");
        tryEverything();
        QVERIFY(m_dialog && tips.isDone() && tips.texts.isEmpty());
        QVERIFY(callsOf("LoginByAccount").isEmpty() && callsOf("LoginByPhone").isEmpty());
        ask(m_notify, "cad"); // opens another one
        QVERIFY(theDialog() && LoginDialogCreator::getInst()->DiaIsExist());
    }

private:
    void tryEverything()
    {
        m_dialog->onAccountLoginBtn();
        m_dialog->onVerificationCodeLoginBtn();
        m_dialog->onQQLogin();
    }
    void signIn() { BoxScript::press(m_dialog, "accountLoginButton"); }
    void scan(const FakeAnswer &result = {4022})
    {
        fake().queue("GetQRCodeUrl", {4000, {}, {{"QRCODE_url", "http://127.0.0.1/qr"}}});
        fake().queue("QueryQRCodeResult", result);
        BoxScript::press(m_dialog, "weixinButton");
        QVERIFY(!m_dialog->isVisible());
    }

    const LinkTaker m_browser{{"http"}};
    QPointer<CYunLoginDialog> m_dialog;
    QSharedPointer<Notify> m_notify, m_next; // the callers, in the order of their requests
    LogCatcher *m_log = nullptr;
};

QTEST_MAIN(TestLoginLifetimes)
#include "tst_login_lifetimes.moc"
