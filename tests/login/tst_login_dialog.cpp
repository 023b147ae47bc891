// What the sign-in dialog asks the cloud service, and what it makes of the answers.
#include "frame/VtServiceClient.h"
#include "login/Login.h"
#include "login/QueryQRCodeResult.h"
#include "support/LinkTaker.h"
#include "support/LogCatcher.h"
#include "support/ModalClicker.h"
#include <QApplication>
#include <QClipboard>
#include <QSignalSpy>
#include <QThreadPool>
#include <QTimer>
#include <memory>

using login::box;
using login::button;
using login::calls;
using login::edit;
using login::press;

namespace {
constexpr char Password[] = "S3cret-pass";
constexpr char OneTimeCode[] = "246810";
constexpr char Token[] = "tok-en-9f8e";
constexpr char Page[] = "https://cloud.example/qr/ticket";

// Its poller asks every few milliseconds.
class FastDialog final : public CYunLoginDialog
{
protected:
    CQueryQRCodeResult *makePoller(bool autoLogin, const QString &randomCode) const override
    {
        return new CQueryQRCodeResult(autoLogin, true, randomCode, {1, 1, 3});
    }
};
} // namespace

class TestLoginDialog final : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase() { FakeClient::install(); }
    void init();
    void cleanup();
    void cleanupTestCase();

    void remembered_data();
    void remembered();
    void memoryFails_data();
    void memoryFails();
    void rememberFollowsAuto();
    void account_data();
    void account();
    void accountNeedsBoth();
    void hostileInput();
    void noService();
    void phoneInput_data();
    void phoneInput();
    void codeIsSentOnce();
    void codeFails_data();
    void codeFails();
    void countdown();
    void codeLogin_data();
    void codeLogin();
    void codeLoginShowsThatItWorks();
    void quick_data();
    void quick();
    void quickAddress_data();
    void quickAddress();
    void newAttemptStopsThePoller_data();
    void newAttemptStopsThePoller();
    void links_data();
    void links();
    void keys();
    void maskedPasswordStaysHere();

private:
    void open();
    QStringList ours() const; // the lines of the library, whatever their level

    QPointer<CYunLoginDialog> m_dialog;
    QSharedPointer<login::Notify> m_notify;
    std::unique_ptr<LogCatcher> m_log;
    std::unique_ptr<LinkTaker> m_browser;
    QStringList m_wholeLog;
    QStringList m_randomCodes;
};

void TestLoginDialog::init()
{
    FakeClient::fake().reset();
    m_log = std::make_unique<LogCatcher>();
    m_browser = std::make_unique<LinkTaker>(QStringList{"http", "https", "file", "javascript"});
    m_notify = QSharedPointer<login::Notify>::create();
}

void TestLoginDialog::cleanup()
{
    delete m_dialog;
    for (const char *operation : {"GetQRCodeUrl", "QueryQRCodeResult"}) {
        for (const QVariantMap &values : calls(QString::fromLatin1(operation)))
            m_randomCodes << values.value("随机码").toString();
    }
    QVERIFY(CQueryQRCodeResult::waitForStopped(5000));
    login::processDeletions();
    QThreadPool::globalInstance()->waitForDone();
    QVERIFY(!QApplication::overrideCursor());
    CVtServiceClient::ReleaseInstance();
    m_wholeLog << m_log->texts();
    m_log.reset();
    m_browser.reset();
}

// Of everything that was logged, at any level, by anybody.
void TestLoginDialog::cleanupTestCase()
{
    QVERIFY(m_wholeLog.size() > 50);
    QVERIFY(!m_randomCodes.isEmpty());
    const QString all = m_wholeLog.join('\n');
    for (const QString &secret : m_randomCodes + QStringList{Password, OneTimeCode, Token, QString(10000, 'p')})
        QVERIFY2(!all.contains(secret), qPrintable(secret));
}

void TestLoginDialog::open()
{
    m_dialog = new FastDialog;
    m_dialog->setAttribute(Qt::WA_DeleteOnClose);
    m_dialog->SetLoginNotify(m_notify);
    m_dialog->SetYunLockError(true);
    m_dialog->show();
    QVERIFY(QTest::qWaitForWindowExposed(m_dialog));
    m_log->clear();
}

QStringList TestLoginDialog::ours() const
{
    QStringList texts;
    for (const LogCatcher::Line &line : m_log->lines()) {
        if (line.file == "libTARN.VisualizedService.so")
            texts << line.text;
    }
    return texts;
}

void TestLoginDialog::remembered_data()
{
    QTest::addColumn<QVariantMap>("memory");
    QTest::addColumn<int>("tab");
    QTest::addColumn<QString>("state"); // auto, password box and field, phone box and field
    const QVariantMap stored{{"ACCOUNT", "zhang"}, {"PASSWORD", Password}, {"PHONE", "13800138000"}};
    const auto with = [&](QVariantMap more) {
        for (auto it = stored.cbegin(); it != stored.cend(); ++it)
            more.insert(it.key(), it.value());
        return more;
    };
    QTest::newRow("nothing") << QVariantMap() << 0 << "0 00 00 ";
    QTest::newRow("phone") << with({{"LOGINMODEL", 0}, {"REMPHONE", true}}) << 1 << "0 00 11 zhang";
    QTest::newRow("account") << with({{"LOGINMODEL", 1}, {"REMPASSWORD", true}}) << 0 << "0 11 00 zhang";
    QTest::newRow("other model") << with({{"LOGINMODEL", 7}}) << 0 << "0 00 00 zhang";
    QTest::newRow("no number") << with({{"LOGINMODEL", QVariantList{1}}}) << 0 << "0 00 00 zhang";
    QTest::newRow("auto") << with({{"LOGINMODEL", 1}, {"AUTOLOGIN", true}}) << 0 << "1 10 10 zhang";
    QTest::newRow("auto, password") << with({{"LOGINMODEL", 1}, {"AUTOLOGIN", true}, {"REMPASSWORD", true}}) << 0
                                    << "1 11 10 zhang";
}

void TestLoginDialog::remembered()
{
    QFETCH(QVariantMap, memory);
    FakeClient::fake().queue("GetMemoryLoginInfo", {4000, {}, memory});
    open();
    QTEST(m_dialog->findChild<QTabWidget *>()->currentIndex(), "tab");
    QCOMPARE(box(m_dialog, "accountAutoLogin")->isChecked(), box(m_dialog, "phoneAutoLogin")->isChecked());
    const QString state = QString("%1 %2%3 %4%5 %6")
                              .arg(box(m_dialog, "accountAutoLogin")->isChecked())
                              .arg(box(m_dialog, "rememberPassword")->isChecked())
                              .arg(edit(m_dialog, "passwordEdit")->text() == Password)
                              .arg(box(m_dialog, "rememberPhone")->isChecked())
                              .arg(edit(m_dialog, "phoneEdit")->text() == "13800138000")
                              .arg(edit(m_dialog, "accountEdit")->text());
    QTEST(state, "state");
}

void TestLoginDialog::memoryFails_data()
{
    QTest::addColumn<int>("code");
    QTest::addColumn<QString>("line");
    const QString transport = "【获取记忆的云账号登录信息】rpc接口通信失败，记录错误码为：%1，错误信息为：坏了 %2";
    QTest::newRow("4001") << 4001 << transport.arg(4001);
    QTest::newRow("4012") << 4012 << transport.arg(4012);
    QTest::newRow("4002") << 4002 << "【获取记忆的云账号登录信息】获取失败，返回错误码为：4002，错误信息为：坏了 %2";
}

void TestLoginDialog::memoryFails()
{
    QFETCH(int, code);
    FakeClient::fake().queue("GetMemoryLoginInfo", {code, "坏了 %2", {{"ACCOUNT", "zhang"}}});
    const CYunLoginDialog dialog;
    QTEST(m_log->texts(QtCriticalMsg).join('\n'), "line");
    QCOMPARE(edit(&dialog, "accountEdit")->text(), QString());
    QCOMPARE(calls("GetLinkAddress").size(), 3);
}

void TestLoginDialog::rememberFollowsAuto()
{
    open();
    for (const auto &[automatic, remember] :
         {std::pair("accountAutoLogin", "rememberPassword"), std::pair("phoneAutoLogin", "rememberPhone")}) {
        for (const bool on : {true, false}) {
            box(m_dialog, automatic)->setChecked(on);
            QCOMPARE(box(m_dialog, remember)->isChecked(), on);
        }
        box(m_dialog, remember)->setChecked(true); // not the other way round
        QVERIFY(!box(m_dialog, automatic)->isChecked());
    }
}

void TestLoginDialog::account_data()
{
    QTest::addColumn<int>("code");
    QTest::addColumn<QString>("error");
    QTest::addColumn<QString>("tip"); // none: signed in
    QTest::addColumn<QString>("line");
    const QString failed = "【账号密码登录】登录失败，返回错误码为：%1，错误信息为：%2";
    QTest::newRow("4000") << 4000 << ""
                          << ""
                          << "用户zhang \"%1\"登录成功";
    QTest::newRow("4018") << 4018 << " 没有授权 "
                          << " 没有授权 "
                          << "【账号密码登录】云锁登录失败。";
    QTest::newRow("4001") << 4001 << "断了%1"
                          << "发生通信错误" << failed.arg(4001).arg("断了%1");
    QTest::newRow("4012") << 4012 << ""
                          << "发生通信错误" << failed.arg("4012", "");
    QTest::newRow("4100") << 4100 << " 密码错 \n"
                          << "密码错" << failed.arg("4100", "密码错");
}

void TestLoginDialog::account()
{
    QFETCH(int, code);
    QFETCH(QString, error);
    QFETCH(QString, tip);
    QFETCH(QString, line);
    FakeClient::fake().queue("LoginByAccount", {code, error});
    open();
    edit(m_dialog, "accountEdit")->setText("zhang \"%1\"");
    edit(m_dialog, "passwordEdit")->setText(Password);
    box(m_dialog, "accountAutoLogin")->setChecked(true);
    box(m_dialog, "rememberPassword")->setChecked(false);
    ModalClicker tips(tip.isEmpty() ? QStringList() : QStringList("确定"));
    press(m_dialog, "accountLoginButton");
    QVERIFY(tips.isDone());
    const QVariantMap sent{{"user", "zhang \"%1\""},
                           {"pwd", Password},
                           {"自动登录", true},
                           {"记忆数据", false},
                           {"YunLockErrorTip", true}};
    QCOMPARE(calls("LoginByAccount"), QList<QVariantMap>{sent});
    const bool success = tip.isEmpty();
    QStringList expected{"开始登录云账号", line};
    if (success)
        expected << "开始通知云登录后事件";
    QCOMPARE(ours(), expected);
    if (success) {
        login::processDeletions();
        QVERIFY(!m_dialog);
        QTRY_COMPARE(int(m_notify->calls), 1);
        QVERIFY(!m_notify->onGuiThread);
        return;
    }
    QVERIFY2(tips.texts().value(0).contains(tip), qPrintable(tips.texts().join('|')));
    QVERIFY(m_dialog->isVisible() && m_dialog->isEnabled());
    QCOMPARE(edit(m_dialog, "passwordEdit")->text(), QString(Password)); // to be mended
    QCOMPARE(int(m_notify->calls), 0);
}

void TestLoginDialog::accountNeedsBoth()
{
    open();
    ModalClicker tips({"确定", "确定"});
    press(m_dialog, "accountLoginButton");
    edit(m_dialog, "accountEdit")->setText("zhang");
    press(m_dialog, "accountLoginButton");
    QVERIFY(tips.isDone());
    QCOMPARE(m_log->texts(QtCriticalMsg), (QStringList{"账号不能为空!", "密码不能为空!"}));
    QVERIFY(tips.texts()[0].contains("账号不能为空!") && tips.texts()[1].contains("密码不能为空!"));
    QVERIFY(calls("LoginByAccount").isEmpty());
}

void TestLoginDialog::hostileInput()
{
    open();
    const QString account = QString("a'\"%1") + QChar(0) + "</b>";
    edit(m_dialog, "accountEdit")->setText(account);
    edit(m_dialog, "passwordEdit")->setText(QString(10000, 'p'));
    press(m_dialog, "accountLoginButton");
    QCOMPARE(calls("LoginByAccount").value(0).value("user").toString(), account);
    QCOMPARE(calls("LoginByAccount").value(0).value("pwd").toString(), QString(10000, 'p'));
}

void TestLoginDialog::noService()
{
    FakeClient::fake().setAvailable(false);
    const CYunLoginDialog logged;
    QVERIFY(m_log->has("【云登录窗口初始化跳转链接地址】失败，原因为获取云服务客户端接口对象失败"));
    open();
    edit(m_dialog, "accountEdit")->setText("zhang");
    edit(m_dialog, "passwordEdit")->setText(Password);
    edit(m_dialog, "phoneEdit")->setText("13800138000");
    edit(m_dialog, "codeEdit")->setText(OneTimeCode);
    ModalClicker tips({"确定", "确定", "确定", "确定", "确定"});
    press(m_dialog, "accountLoginButton");
    press(m_dialog, "weixinButton");
    press(m_dialog, "qqButton");
    login::setTab(m_dialog, 1);
    press(m_dialog, "phoneLoginButton");
    press(m_dialog, "codeButton");
    QVERIFY(tips.isDone());
    for (int i = 0; i < 4; ++i)
        QVERIFY(tips.texts()[i].contains("获取云服务失败"));
    QVERIFY(tips.texts()[4].contains("发生通信错误"));
    QCOMPARE(button(m_dialog, "phoneLoginButton")->text(), QString("立即登录"));
    QVERIFY(button(m_dialog, "codeButton")->isEnabled());
}

void TestLoginDialog::phoneInput_data()
{
    QTest::addColumn<QString>("pasted");
    QTest::addColumn<QString>("text");
    QTest::newRow("10 digits") << "1380013800"
                               << "1380013800";
    QTest::newRow("11 digits") << "13800138000"
                               << "13800138000";
    QTest::newRow("12 digits") << "138001380001"
                               << "";
    QTest::newRow("blanks") << " 138 0013\t8000\n"
                            << "13800138000";
    QTest::newRow("wide blanks, dashes") << "138　0013–8000"
                                         << "13800138000";
    QTest::newRow("full-width") << "１３８００１３８０００"
                                << "13800138000";
    QTest::newRow("letters") << "1380013800a"
                             << "";
    QTest::newRow("huge") << QString(100000, '1') << "";
}

void TestLoginDialog::phoneInput()
{
    QFETCH(QString, pasted);
    QFETCH(QString, text);
    open();
    login::setTab(m_dialog, 1);
    QGuiApplication::clipboard()->setText(pasted);
    edit(m_dialog, "phoneEdit")->paste();
    QCOMPARE(edit(m_dialog, "phoneEdit")->text(), text);
    edit(m_dialog, "codeEdit")->setText(OneTimeCode);
    const bool complete = text.size() == 11;
    const auto pressAndRead = [this](const char *name) {
        ModalClicker tips({"确定"});
        press(m_dialog, name);
        return tips.isDone() ? tips.texts().join('|') : QString();
    };
    QVERIFY(pressAndRead("codeButton").contains(complete ? "发送成功，请查收!" : "手机号填写不正确!"));
    QCOMPARE(calls("SendVerificationCode").size(), complete ? 1 : 0);
    if (complete) {
        QCOMPARE(calls("SendVerificationCode")[0], (QVariantMap{{"phone", text}}));
        return;
    }
    QVERIFY(pressAndRead("phoneLoginButton").contains("手机号填写不正确!"));
    QCOMPARE(m_log->texts(QtCriticalMsg),
             (QStringList{"手机号填写不正确!", "【云登录对话框验证码登录】手机号填写不正确!"}));
    QVERIFY(calls("LoginByPhone").isEmpty());
}

void TestLoginDialog::codeIsSentOnce()
{
    open();
    login::setTab(m_dialog, 1);
    edit(m_dialog, "phoneEdit")->setText("13800138000");
    ModalClicker tips({"确定"});
    for (int i = 0; i < 10; ++i) {
        press(m_dialog, "codeButton");
        m_dialog->onGetVerificationCodeBtn();
    }
    QVERIFY(tips.isDone());
    QCOMPARE(calls("SendVerificationCode").size(), 1);
    int running = 0;
    for (const auto *timer : m_dialog->findChildren<QTimer *>()) {
        running += timer->isActive() && timer->interval() == 1000 ? 1 : 0;
    }
    QCOMPARE(running, 1);
    QCOMPARE(ours().join('\n'), QString("【获取验证码】调用获取验证码接口成功。"));
    QTRY_COMPARE(button(m_dialog, "codeButton")->text(), QString("  重试(59)  ")); // by the clock
    m_dialog->close();                                                             // in the middle of it
}

void TestLoginDialog::codeFails_data()
{
    QTest::addColumn<int>("code");
    QTest::addColumn<QString>("error");
    QTest::addColumn<QString>("tip");
    QTest::addColumn<QString>("line");
    QTest::newRow("4001") << 4001 << "断了%2"
                          << "断了%2"
                          << "【获取验证码】rpc接口通信失败，记录错误码为：4001，错误信息为：断了%2";
    QTest::newRow("4012") << 4012 << ""
                          << "发生通信错误"
                          << "【获取验证码】rpc接口通信失败，记录错误码为：4012，错误信息为：";
    QTest::newRow("4101") << 4101 << "太频繁"
                          << "太频繁"
                          << "【获取验证码】调用获取验证码接口发生逻辑错误，返回错误码为：4101，错误信息为太频繁";
}

void TestLoginDialog::codeFails()
{
    QFETCH(int, code);
    QFETCH(QString, error);
    QFETCH(QString, tip);
    FakeClient::fake().queue("SendVerificationCode", {code, error});
    open();
    login::setTab(m_dialog, 1);
    edit(m_dialog, "phoneEdit")->setText("13800138000");
    ModalClicker tips({"确定", "确定"});
    press(m_dialog, "codeButton");
    QVERIFY(tips.texts().value(0).contains(tip));
    QTEST(ours().join('\n'), "line");
    QVERIFY(button(m_dialog, "codeButton")->isEnabled());
    QCOMPARE(button(m_dialog, "codeButton")->text(), QString("  获取动态密码  "));
    press(m_dialog, "codeButton");
    QCOMPARE(calls("SendVerificationCode").size(), 2);
}

void TestLoginDialog::countdown()
{
    open();
    QPushButton *code = button(m_dialog, "codeButton");
    QCOMPARE(code->text(), QString("  获取动态密码  "));
    for (int left = 59; left >= 1; --left) {
        m_dialog->OnTimeOut();
        QCOMPARE(code->text(), QString("  重试(%1)  ").arg(left));
        QVERIFY(!code->isEnabled());
    }
    m_dialog->OnTimeOut();
    QCOMPARE(code->text(), QString("  获取动态密码  "));
    QVERIFY(code->isEnabled());
}

void TestLoginDialog::codeLogin_data()
{
    QTest::addColumn<int>("code");
    QTest::addColumn<QString>("error");
    QTest::addColumn<QString>("tip");
    QTest::addColumn<QStringList>("log");
    QTest::addColumn<bool>("closes");
    const QString tell = "【云登录对话框验证码登录】开始通知云登录后事件";
    const QString failed = "【云登录对话框验证码登录】用户13800138000登录失败。";
    QTest::newRow("4000") << 4000 << ""
                          << "" << QStringList{"【云登录对话框验证码登录】用户13800138000登录成功", tell} << true;
    QTest::newRow("4018") << 4018 << "没有授权"
                          << "没有授权" << QStringList{"【手机验证码】云锁登录失败。", tell} << true;
    QTest::newRow("4001") << 4001 << "断了%2"
                          << "断了%2"
                          << QStringList{"【验证码登录】rpc接口通信失败，记录错误码为：4001，错误信息为：断了%2",
                                         failed}
                          << false;
    QTest::newRow("4102") << 4102 << "码错"
                          << "码错"
                          << QStringList{"【验证码登录】用户使用验证码登录失败，返回错误码为：4102，错误信息为：码错",
                                         failed}
                          << false;
}

void TestLoginDialog::codeLogin()
{
    QFETCH(int, code);
    QFETCH(QString, error);
    QFETCH(QString, tip);
    QFETCH(QStringList, log);
    QFETCH(bool, closes);
    FakeClient::fake().queue("LoginByPhone", {code, error});
    open();
    login::setTab(m_dialog, 1);
    edit(m_dialog, "phoneEdit")->setText("13800138000");
    edit(m_dialog, "codeEdit")->setText("24681");
    {
        ModalClicker tips({"确定"});
        press(m_dialog, "phoneLoginButton");
        QVERIFY(tips.texts().value(0).contains("动态密码不正确，请重新输入!"));
        QCOMPARE(ours().join('\n'), QString("【云登录对话框验证码登录】动态密码不正确，请重新输入!"));
        QVERIFY(calls("LoginByPhone").isEmpty());
        m_log->clear();
    }
    edit(m_dialog, "codeEdit")->setText(OneTimeCode);
    box(m_dialog, "rememberPhone")->setChecked(true);
    ModalClicker tips(tip.isEmpty() ? QStringList() : QStringList("确定"));
    press(m_dialog, "phoneLoginButton");
    QVERIFY(tips.isDone());
    const QVariantMap sent{{"phone", "13800138000"},
                           {"code", OneTimeCode},
                           {"自动登录", false},
                           {"记忆数据", true},
                           {"YunLockErrorTip", true}};
    QCOMPARE(calls("LoginByPhone"), QList<QVariantMap>{sent});
    QVERIFY(FakeClient::fake().calls().last().onGuiThread);
    QCOMPARE(ours(), log);
    QVERIFY(tips.texts().join("").contains(tip));
    QTRY_COMPARE(int(m_notify->calls), closes ? 1 : 0);
    login::processDeletions();
    QCOMPARE(m_dialog.isNull(), closes);
    if (m_dialog)
        QCOMPARE(button(m_dialog, "phoneLoginButton")->text(), QString("立即登录"));
}

// The call keeps the GUI thread: what it shows meanwhile must have been painted before.
void TestLoginDialog::codeLoginShowsThatItWorks()
{
    struct PaintSpy : QObject
    {
        bool eventFilter(QObject *watched, QEvent *event) override
        {
            if (event->type() == QEvent::Paint && FakeClient::fake().operations().count("LoginByPhone") == 0)
                painted = static_cast<QPushButton *>(watched)->text();
            return false;
        }
        QString painted;
    } spy;
    open();
    login::setTab(m_dialog, 1);
    QCoreApplication::processEvents();
    edit(m_dialog, "phoneEdit")->setText("13800138000");
    edit(m_dialog, "codeEdit")->setText(OneTimeCode);
    button(m_dialog, "phoneLoginButton")->installEventFilter(&spy);
    press(m_dialog, "phoneLoginButton");
    QCOMPARE(spy.painted, QString("登录中..."));
}

void TestLoginDialog::quick_data()
{
    QTest::addColumn<QList<int>>("codes");
    QTest::addColumn<QString>("tip"); // none: signed in
    QTest::addColumn<QString>("line");
    QTest::newRow("confirmed") << QList<int>{4022, 4000} << ""
                               << "快捷登录成功。";
    QTest::newRow("refused") << QList<int>{4023} << "用户拒绝"
                             << "快捷登录失败，用户拒绝";
    QTest::newRow("lock") << QList<int>{4018} << "用户拒绝"
                          << "快捷登录：云锁登录失败，用户拒绝";
    QTest::newRow("time-out") << QList<int>{4022, 4022, 4022} << "扫码登录超时，请重新扫码。"
                              << "快捷登录失败，扫码登录超时，请重新扫码。";
    QTest::newRow("unbound") << QList<int>{4024} << "href=\"https://cloud.example/bind\""
                             << "";
}

void TestLoginDialog::quick()
{
    QFETCH(QList<int>, codes);
    QFETCH(QString, tip);
    QFETCH(QString, line);
    for (const QString &address : QStringList{"", "", "https://cloud.example/bind"})
        FakeClient::fake().queue("GetLinkAddress", {4000, {}, {{"LinkUrl", address}}});
    FakeClient::fake().queue("GetQRCodeUrl", {4000, {}, {{"QRCODE_url", Page}}});
    for (const int code : codes)
        FakeClient::fake().queue("QueryQRCodeResult", {code, "用户拒绝", {{"token", Token}}});
    open();
    ModalClicker tips(tip.isEmpty() ? QStringList() : QStringList("确定"));
    box(m_dialog, "accountAutoLogin")->setChecked(true);
    press(m_dialog, "qqButton");
    QVERIFY(!m_dialog->isVisible());
    QCOMPARE(m_browser->urls, QStringList(Page));
    const QVariantMap asked = calls("GetQRCodeUrl").value(0);
    QCOMPARE(asked.value("扫码登录类型").toString(), QString("qqdenglu"));
    const QString randomCode = asked.value("随机码").toString();
    QVERIFY(QRegularExpression("^[0-9a-f]{8}$").match(randomCode).hasMatch());
    QTRY_VERIFY(tip.isEmpty() ? m_notify->calls == 1 : tips.isDone());
    const auto polls = calls("QueryQRCodeResult");
    QCOMPARE(polls.size(), codes.size());
    QCOMPARE(polls[0], (QVariantMap{{"随机码", randomCode}, {"自动登录", true}, {"YunLockErrorTip", true}}));
    QStringList log = ours();
    QCOMPARE(log.takeFirst(), QString("点击QQ扫码登录。"));
    if (tip.isEmpty()) {
        QCOMPARE(log, (QStringList{"扫码登录：开始通知云登录后事件", line}));
        QTRY_VERIFY(!m_dialog);
        return;
    }
    if (!line.isEmpty())
        QCOMPARE(log, QStringList(line));
    QVERIFY2(tips.texts()[0].contains(tip), qPrintable(tips.texts()[0]));
    QTRY_VERIFY(m_dialog->isVisible());
    QCOMPARE(int(m_notify->calls), 0);
}

void TestLoginDialog::quickAddress_data()
{
    QTest::addColumn<int>("code");
    QTest::addColumn<QVariant>("address");
    QTest::newRow("refused") << 4002 << QVariant(Page);
    QTest::newRow("transport") << 4001 << QVariant(Page);
    QTest::newRow("missing") << 4000 << QVariant();
    QTest::newRow("empty") << 4000 << QVariant("");
    QTest::newRow("program") << 4000 << QVariant("file:///bin/sh");
    QTest::newRow("script") << 4000 << QVariant("javascript:alert(1)");
    QTest::newRow("no host") << 4000 << QVariant("https:///x");
    QTest::newRow("a list") << 4000 << QVariant(QVariantList{1});
}

void TestLoginDialog::quickAddress()
{
    QFETCH(int, code);
    QFETCH(QVariant, address);
    FakeClient::fake().queue("GetQRCodeUrl", {code, "坏了", {{"QRCODE_url", address}}});
    open();
    ModalClicker tips({"确定"});
    press(m_dialog, "weixinButton");
    QVERIFY(tips.isDone());
    QVERIFY(tips.texts()[0].contains("获取扫码登录地址失败"));
    QVERIFY(m_browser->urls.isEmpty());
    QVERIFY(m_dialog->isVisible());
    QVERIFY(m_log->has("点击微信扫码登录。"));
    QCOMPARE(m_log->texts(QtCriticalMsg).size(), 1);
}

// The answer comes when the user has long gone on, or is on its way to this thread when they do.
void TestLoginDialog::newAttemptStopsThePoller_data()
{
    QTest::addColumn<bool>("hangs");
    QTest::newRow("hanging call") << true;
    QTest::newRow("result on its way") << false;
}

void TestLoginDialog::newAttemptStopsThePoller()
{
    QFETCH(bool, hangs);
    FakeClient::fake().queue("GetQRCodeUrl", {4000, {}, {{"QRCODE_url", Page}}});
    FakeClient::fake().queue("QueryQRCodeResult", {4000, {}, {{"token", Token}}, {}, 0, hangs});
    FakeClient::fake().queue("LoginByAccount", {4100, "密码错"});
    open();
    press(m_dialog, "weixinButton");
    if (hangs)
        QTRY_COMPARE(FakeClient::fake().hanging(), 1);
    else
        QVERIFY(CQueryQRCodeResult::waitForStopped(5000)); // no event is processed
    edit(m_dialog, "accountEdit")->setText("zhang");
    edit(m_dialog, "passwordEdit")->setText(Password);
    ModalClicker tips({"确定"});
    m_dialog->onAccountLoginBtn();
    QVERIFY(tips.isDone());
    FakeClient::fake().releaseHangs();
    QVERIFY(CQueryQRCodeResult::waitForStopped(5000));
    login::processDeletions();
    QVERIFY(m_dialog);
    QCOMPARE(int(m_notify->calls), 0);
}

void TestLoginDialog::links_data()
{
    QTest::addColumn<QString>("address");
    QTest::addColumn<bool>("opens");
    QTest::newRow("web") << "https://cloud.example/帐号?a=%1" << true;
    QTest::newRow("none") << "" << false;
    QTest::newRow("program") << "file:///bin/sh" << false;
    QTest::newRow("nonsense") << "：：//\n" << false;
}

void TestLoginDialog::links()
{
    QFETCH(QString, address);
    QFETCH(bool, opens);
    for (int i = 0; i < 2; ++i)
        FakeClient::fake().queue("GetLinkAddress", {4000, {}, {{"LinkUrl", address}}});
    open();
    QStringList keys;
    for (const QVariantMap &call : calls("GetLinkAddress"))
        keys << call.value("LinkKey").toString();
    QCOMPARE(keys, (QStringList{"FC_ACCOUNT_004", "FC_ACCOUNT_005", "FC_CUSTOM_001"}));
    ModalClicker tips(opens ? QStringList() : QStringList{"确定", "确定"});
    press(m_dialog, "registerButton");
    press(m_dialog, "forgetButton");
    QVERIFY(tips.isDone());
    const QString outcome = opens ? "获取的跳转链接地址为：" + address + "，即将跳转。" : "获取的跳转地址为空。";
    QCOMPARE(ours(), (QStringList{"【立即注册】用户点击立即注册按钮。", "【立即注册】" + outcome,
                                  "【忘记密码】用户点击忘记密码。", "【忘记密码】" + outcome}));
    QCOMPARE(m_browser->urls.size(), opens ? 2 : 0);
    QVERIFY(opens || tips.texts()[0].contains("获取跳转链接失败"));
}

// What is typed for another program presses nothing; in a field that the user has gone to, Return signs in, once.
void TestLoginDialog::keys()
{
    FakeClient::fake().queue("LoginByAccount", {4100, "密码错"});
    open();
    m_dialog->setFocus();
    for (const Qt::Key key : {Qt::Key_Return, Qt::Key_Space, Qt::Key_Escape, Qt::Key_Tab})
        QTest::keyClick(m_dialog, key);
    QVERIFY(m_dialog->isVisible());
    QCOMPARE(m_dialog->focusWidget(), m_dialog);
    for (const auto *one : m_dialog->findChildren<QPushButton *>())
        QVERIFY(!one->isDefault() && !one->autoDefault());
    QTest::mouseClick(edit(m_dialog, "accountEdit"), Qt::LeftButton);
    edit(m_dialog, "accountEdit")->setFocus();
    QTest::keyClicks(edit(m_dialog, "accountEdit"), "zhang");
    QTest::keyClick(edit(m_dialog, "accountEdit"), Qt::Key_Return);
    CCustomLineEdit *password = edit(m_dialog, "passwordEdit");
    QCOMPARE(m_dialog->focusWidget(), password);
    QTest::keyClicks(password, Password);
    QKeyEvent held(QEvent::KeyPress, Qt::Key_Return, Qt::NoModifier, "\r", true);
    QApplication::sendEvent(password, &held);
    QVERIFY(calls("LoginByAccount").isEmpty());
    ModalClicker tips({"确定"});
    QTest::keyClick(password, Qt::Key_Return);
    QVERIFY(tips.isDone());
    QCOMPARE(calls("LoginByAccount").size(), 1);
    QCOMPARE(m_dialog->focusWidget(), password);
    QTest::keyClick(m_dialog, Qt::Key_Escape);
    login::processDeletions();
    QVERIFY(!m_dialog);
}

void TestLoginDialog::maskedPasswordStaysHere()
{
    open();
    CCustomLineEdit *password = edit(m_dialog, "passwordEdit");
    password->setText(Password);
    QGuiApplication::clipboard()->setText("before");
    password->selectAll();
    QTest::keySequence(password, QKeySequence::Copy);
    QTest::keySequence(password, QKeySequence::Cut);
    QCOMPARE(QGuiApplication::clipboard()->text(), QString("before"));
    QCOMPARE(password->text(), QString(Password));
    auto *eye = button(password->parentWidget(), "suffixButton");
    QTest::mouseClick(eye, Qt::LeftButton);
    QCOMPARE(password->echoMode(), QLineEdit::Normal);
    QTest::mouseClick(eye, Qt::LeftButton);
    QCOMPARE(password->echoMode(), QLineEdit::Password);
    m_dialog->close();
    QCOMPARE(password->text(), QString()); // before it is deleted
}

QTEST_MAIN(TestLoginDialog)
#include "tst_login_dialog.moc"
