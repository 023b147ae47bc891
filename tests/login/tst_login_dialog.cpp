// The requests of the sign-in dialog to the cloud service, and its reactions to the answers.
#include "frame/VtServiceClient.h"
#include "login/Login.h"
#include <QClipboard>
#include <QMimeData>

using namespace login;
using namespace request;
using FakeClient::callsOf;
using FakeClient::fake;

namespace {
constexpr char Phone[] = "13800138000";
constexpr char OneTimeCode[] = "246810";
constexpr char Token[] = "tok-en-9f8e";
constexpr char Page[] = "https://cloud.example/qr/ticket";
constexpr char BindingPage[] = "https://cloud.example/bind?a=1&b=2";
const QString Password = QString("S3cret'\"%1 ").repeated(1000);
const QString Account = QString("a'\"%1") + QChar(0) + "</b>";

constexpr CQueryQRCodeResult::Rhythm Fast{1, 1, 3};

void offerPage(const QVariant &address = Page, int code = 4000)
{
    fake().queue("GetQRCodeUrl", {code, {}, {{"QRCODE_url", address}}});
}

} // namespace
class TestLoginDialog final : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase() { FakeClient::install(); }

    void init()
    {
        fake().reset();
        m_log = std::make_unique<LogCatcher>();
        m_notify = QSharedPointer<Notify>::create();
        m_browser = std::make_unique<LinkTaker>(QStringList{"http", "https", "file"});
    }

    void cleanup()
    {
        delete m_dialog;
        for (const QVariantMap &values : callsOf("GetQRCodeUrl"))
            m_randomCodes << values.value("随机码").toString();
        QVERIFY(CQueryQRCodeResult::waitForStopped(5000));
        processDeletions();
        settle();
        CVtServiceClient::ReleaseInstance();
        m_wholeLog << m_log->texts();
        m_log.reset();
        m_browser.reset();
    }

    // Searches all lines of all levels, Qt's own included, for secrets.
    void cleanupTestCase()
    {
        const QString all = m_wholeLog.join('\n');
        QVERIFY(all.contains(Phone) && !m_randomCodes.isEmpty());
        for (const QString &secret : m_randomCodes + QStringList{Password.left(20), OneTimeCode, Token})
            QVERIFY2(!all.contains(secret), qPrintable(secret));
    }

    void remembered()
    {
        const struct
        {
            int code;
            QVariantMap stored;
            QString state; // tab, auto, password box and field, phone box and field, account
            QString log;
        } rows[] = {
            {4000, {{"LOGINMODEL", 0}, {"REMPHONE", true}}, "1 0 00 11 z", ""},
            {4000, {{"LOGINMODEL", 1}, {"REMPASSWORD", true}}, "0 0 11 00 z", ""},
            {4000, {{"AUTOLOGIN", true}, {"REMPHONE", true}}, "1 1 10 11 z", ""},
            {4012,
             {{"REMPHONE", true}},
             "0 0 00 00 ",
             "【获取记忆的云账号登录信息】rpc接口通信失败，记录错误码为：4012，错误信息为：坏了 %2"},
            {4002, {}, "0 0 00 00 ", "【获取记忆的云账号登录信息】获取失败，返回错误码为：4002，错误信息为：坏了 %2"},
        };
        for (auto row : rows) {
            startAgain();
            row.stored.insert(QVariantMap{{"ACCOUNT", "z"}, {"PASSWORD", "p"}, {"PHONE", "1"}});
            fake().queue("GetMemoryLoginInfo", {row.code, "坏了 %2", row.stored});
            open();
            QCOMPARE(ours(), row.log);
            QCOMPARE(callsOf("GetLinkAddress").size(), 3); // also when the service could not be reached before
            const QString state = QString("%1 %2 %3%4 %5%6 %7")
                                      .arg(m_dialog->findChild<QTabWidget *>()->currentIndex())
                                      .arg(box(m_dialog, "accountAutoLogin")->isChecked())
                                      .arg(box(m_dialog, "rememberPassword")->isChecked())
                                      .arg(edit(m_dialog, "passwordEdit")->text().size())
                                      .arg(box(m_dialog, "rememberPhone")->isChecked())
                                      .arg(edit(m_dialog, "phoneEdit")->text().size())
                                      .arg(edit(m_dialog, "accountEdit")->text());
            QCOMPARE(state, row.state);
            QCOMPARE(box(m_dialog, "phoneAutoLogin")->isChecked(), box(m_dialog, "accountAutoLogin")->isChecked());
            for (const auto &[automatic, remember] :
                 {std::pair("accountAutoLogin", "rememberPassword"), std::pair("phoneAutoLogin", "rememberPhone")}) {
                for (const bool on : {true, false}) { // the remember box follows the auto box, not the other way round
                    box(m_dialog, automatic)->setChecked(on);
                    QCOMPARE(box(m_dialog, remember)->isChecked(), on);
                }
                box(m_dialog, remember)->setChecked(true);
                QVERIFY(!box(m_dialog, automatic)->isChecked());
            }
        }
    }

    void answers()
    {
        const QString begun = "开始登录云账号|";
        const QString failed = begun + "【账号密码登录】登录失败，返回错误码为：";
        const QString user = QString(Account).replace(QChar(0), ' ');
        const QString notified = "|【云登录对话框验证码登录】开始通知云登录后事件";
        const QString refused = "|【云登录对话框验证码登录】用户13800138000登录失败。";
        const struct
        {
            QString button;
            int code;
            QString error;
            QString tip;
            QString log;         // lines, joined
            bool closes = false; // and notifies the caller
        } rows[] = {
            {"accountLoginButton", 4000, "", "", begun + "用户" + user + "登录成功|开始通知云登录后事件", true},
            {"accountLoginButton", 4018, "没有授权", "没有授权", begun + "【账号密码登录】云锁登录失败。"},
            {"accountLoginButton", 4001, "断了%2", "发生通信错误", failed + "4001，错误信息为：断了%2"},
            {"accountLoginButton", 4100, " 错\r\n用户\u2028li登录成功 \n", "错",
             failed + "4100，错误信息为：错  用户 li登录成功"},
            {"codeButton", 4000, "", "发送成功，请查收!", "【获取验证码】调用获取验证码接口成功。"},
            {"codeButton", 4012, "", "发生通信错误", "【获取验证码】rpc接口通信失败，记录错误码为：4012，错误信息为："},
            {"codeButton", 4101, "太频繁%2", "太频繁%2",
             "【获取验证码】调用获取验证码接口发生逻辑错误，返回错误码为：4101，错误信息为太频繁%2"},
            {"phoneLoginButton", 4000, "", "", "【云登录对话框验证码登录】用户13800138000登录成功" + notified, true},
            {"phoneLoginButton", 4018, "", "登录失败", "【手机验证码】云锁登录失败。" + notified, true},
            {"phoneLoginButton", 4001, "", "发生通信错误",
             "【验证码登录】rpc接口通信失败，记录错误码为：4001，错误信息为：" + refused},
            {"phoneLoginButton", 4102, "坏了%2", "坏了%2",
             "【验证码登录】用户使用验证码登录失败，返回错误码为：4102，错误信息为：坏了%2" + refused},
        };
        for (const auto &row : rows) {
            startAgain();
            const bool byAccount = row.button == "accountLoginButton";
            const bool sends = row.button == "codeButton";
            const QLatin1String operation(byAccount ? "LoginByAccount"
                                          : sends   ? "SendVerificationCode"
                                                    : "LoginByPhone");
            fake().queue(operation, {row.code, row.error});
            open();
            fill(m_dialog, Account, Password, Phone, OneTimeCode);
            m_dialog->findChild<QTabWidget *>()->setCurrentIndex(byAccount ? 0 : 1);
            box(m_dialog, "accountAutoLogin")->setChecked(true);
            box(m_dialog, "rememberPassword")->setChecked(false);
            box(m_dialog, "rememberPhone")->setChecked(true);
            if (row.tip.isEmpty())
                BoxScript::press(m_dialog, row.button);
            else
                QVERIFY(tipAfter(row.button).contains(row.tip));
            QCOMPARE(ours(), row.log);
            QVariantMap sent{{"phone", Phone}};
            if (byAccount)
                sent = {{"user", Account}, {"pwd", Password}, {"自动登录", true}, {"记忆数据", false}};
            else if (!sends)
                sent = {{"phone", Phone}, {"code", OneTimeCode}, {"自动登录", false}, {"记忆数据", true}};
            if (!sends)
                sent.insert("YunLockErrorTip", true);
            QCOMPARE(callsOf(operation), QList<QVariantMap>{sent});
            settle();
            QCOMPARE(int(m_notify->calls), int(row.closes));
            processDeletions();
            QCOMPARE(m_dialog.isNull(), row.closes);
            QVERIFY(!QApplication::overrideCursor());
            if (row.closes)
                continue;
            QVERIFY(m_dialog->isEnabled() && edit(m_dialog, "passwordEdit")->text() == Password);
            QCOMPARE(button(m_dialog, "phoneLoginButton")->text(), QString("立即登录"));
            QCOMPARE(button(m_dialog, "codeButton")->isEnabled(), !sends || row.code != 4000);
            QCOMPARE(m_dialog->focusWidget() == edit(m_dialog, "codeEdit"), sends && row.code == 4000);
        }
    }

    void phoneNumber()
    {
        open();
        fill(m_dialog, {}, {}, "0", OneTimeCode);
        CCustomLineEdit *phone = edit(m_dialog, "phoneEdit");
        QCOMPARE(phone->accessibleName(), QString("请输入手机号")); // placeholders are not spoken
        QTest::keyClicks(phone, "x8");                              // no letter
        QCOMPARE(phone->text(), QString("08"));
        phone->clear();
        QTest::keyClicks(phone, "+86-138001380009"); // the twelfth digit is not taken
        QCOMPARE(phone->text(), QString(Phone));
        const std::pair<QString, QString> pasted[] = {{"138001380001", ""},
                                                      {"（＋86）１３８　００１３–８０００", Phone},
                                                      {"0086 13800138000", Phone},
                                                      {"+49 13800138000", ""},
                                                      {"1380013800", "1380013800"}};
        for (const auto &[clip, text] : pasted) {
            phone->clear();
            QGuiApplication::clipboard()->setText(clip);
            phone->paste();
            QCOMPARE(phone->text(), text);
        }
        for (const QString &name : QStringList{"codeButton", "phoneLoginButton"}) // ten digits
            QVERIFY(tipAfter(name).contains("手机号填写不正确!") && m_dialog->focusWidget() == phone);
        QCOMPARE(ours(), QString("手机号填写不正确!|【云登录对话框验证码登录】手机号填写不正确!"));
        QVERIFY(callsOf("SendVerificationCode").isEmpty() && callsOf("LoginByPhone").isEmpty());
    }

    // Quick clicks: one request.
    void countdown()
    {
        open();
        fill(m_dialog, {}, {}, Phone);
        QVERIFY(tipAfter("codeButton").contains("发送成功，请查收!"));
        BoxScript::press(m_dialog, "codeButton");
        m_dialog->onGetVerificationCodeBtn();
        QCOMPARE(callsOf("SendVerificationCode").size(), 1);
        const QPushButton *again = button(m_dialog, "codeButton");
        QTRY_COMPARE(again->text(), QString("  重试(59)  ")); // by the clock
        const auto ticks = [this] {
            const auto timers = m_dialog->findChildren<QTimer *>();
            return std::any_of(timers.cbegin(), timers.cend(),
                               [](const QTimer *timer) { return timer->interval() == 1000 && timer->isActive(); });
        };
        for (int left = 58; left >= 0; --left) {
            QVERIFY(!again->isEnabled() && ticks());
            m_dialog->OnTimeOut();
            QCOMPARE(again->text(), left > 0 ? QString("  重试(%1)  ").arg(left) : "  获取动态密码  ");
        }
        QVERIFY(again->isEnabled() && !ticks());
    }

    void quick()
    {
        const QString failed = "快捷登录失败，";
        const QString query = "查询二维码登录结果失败，returnCode:%1 errormsg:%2|" + failed + "%2";
        const QString unbound = "检测到您首次通过微信或QQ登录岚川云，请先前往<a style=\"color: #0C64EB;\" "
                                "href=\"https://cloud.example/bind?a=1&amp;b=2\">岚川用户中心</a>绑定后再登录。";
        const struct
        {
            QList<int> codes;
            QString error;
            QString tip; // empty: signed in
            QString log; // lines, joined
        } rows[] = {
            {{4022, 4022, 4000}, "", "", "扫码登录：开始通知云登录后事件|快捷登录成功。"},
            {{4022, 4022, 4022}, "", "扫码登录超时，请重新扫码。", failed + "扫码登录超时，请重新扫码。"},
            {{4018}, "拒绝%1", "拒绝%1", "快捷登录：云锁登录失败，拒绝%1"},
            {{4018}, "", "云锁登录失败。", "快捷登录：云锁登录失败，"},
            {{4022, 4024}, "x", "绑定后再登录", failed + unbound},
            {{4025}, "", "绑定后再登录", failed + unbound},
            {{4007}, " 过期 ", " 过期 ", failed + " 过期 "},
            {{4023}, "", "快捷登录失败", failed},
            {{4022, 4001}, "断了%1", "断了%1", query.arg("4001", "断了%1")},
            {{4999}, "", "获取扫码登录结果失败。", query.arg("4999", "获取扫码登录结果失败。")},
        };
        for (const auto &row : rows) {
            startAgain();
            offerPage();
            for (const int code : row.codes)
                fake().queue("QueryQRCodeResult", {code, row.error, {{"token", Token}}});
            const int asked = row.codes.contains(4025) ? 4 : 3; // the last one by the poller
            for (int i = 1; i <= asked; ++i)
                fake().queue("GetLinkAddress", {4000, {}, {{"LinkUrl", i < asked ? "" : BindingPage}}});
            open();
            box(m_dialog, "accountAutoLogin")->setChecked(true);
            m_dialog->findChild<QTabWidget *>()->setCurrentIndex(0);
            m_dialog->PasswordStateChanged();
            BoxScript tips(row.tip.isEmpty() ? QStringList() : QStringList("确定"));
            bool loggedBefore = false;
            m_notify->act = [&] { loggedBefore = m_log->has("快捷登录成功。"); };
            BoxScript::press(m_dialog, "qqButton");
            QVERIFY(!m_dialog->isVisible());
            QCOMPARE(edit(m_dialog, "passwordEdit")->echoMode(), QLineEdit::Password);
            QCOMPARE(m_browser->urls, QStringList(Page));
            const QVariantMap page = callsOf("GetQRCodeUrl").value(0);
            QCOMPARE(page.value("扫码登录类型").toString(), QString("qqdenglu"));
            QVERIFY(QRegularExpression("^[0-9a-f]{8}$").match(page.value("随机码").toString()).hasMatch());
            QTRY_VERIFY(row.tip.isEmpty() ? m_notify->calls == 1 : tips.isDone());
            QVERIFY(tips.keyButtons.isEmpty() && !loggedBefore);
            QTRY_COMPARE(ours(), "点击QQ扫码登录。|" + row.log);
            QCOMPARE(callsOf("GetLinkAddress").size(), asked);
            QCOMPARE(callsOf("QueryQRCodeResult").size(), row.codes.size());
            QCOMPARE(callsOf("QueryQRCodeResult")[0],
                     (QVariantMap{{"随机码", page.value("随机码")}, {"自动登录", true}, {"YunLockErrorTip", true}}));
            processDeletions();
            QCOMPARE(m_dialog.isNull(), row.tip.isEmpty());
            QVERIFY(!m_dialog || (m_dialog->isVisible() && tips.texts[0].contains(row.tip) && m_notify->calls == 0));
        }
    }

    void quickFailsToBegin()
    {
        open();
        const std::tuple<int, QVariant, QString> answers[] = {{4100, Page, "获取扫码登录地址失败"},
                                                              {4000, QVariantList{1}, "获取扫码登录地址失败"},
                                                              {4000, "file:///bin/sh", "无法打开网页"}};
        for (const auto &[code, address, tip] : answers) {
            offerPage(address, code);
            QVERIFY(tipAfter("weixinButton").contains(tip));
            QVERIFY(m_dialog->isVisible() && m_browser->urls.isEmpty());
        }
        QCOMPARE(callsOf("GetQRCodeUrl")[0].value("扫码登录类型").toString(), QString("weixindenglu"));
        QCOMPARE(m_log->count("点击微信扫码登录。"), 3);
        QVERIFY(!ours().contains(Page));
    }

    void pollerAlone()
    {
        QStringList failures;
        for (const bool available : {true, false}) {
            fake().setAvailable(available);
            fake().queue("QueryQRCodeResult", {4023, "拒绝"});
            const QPointer<CQueryQRCodeResult> poller = new CQueryQRCodeResult(true, true, "first", Fast);
            connect(poller, &CQueryQRCodeResult::loginFail, this, [&](const QString &error) { failures << error; });
            poller->setRandomFlag("second");
            poller->start();
            QTRY_VERIFY(!poller); // deletes itself
        }
        QCOMPARE(failures, (QStringList{"拒绝", "获取云服务失败"}));
        QCOMPARE(callsOf("QueryQRCodeResult").value(0).value("随机码").toString(), QString("second"));
        // The client library may be unloaded by then: a stopped poller must not load it again.
        CVtServiceClient::ReleaseInstance();
        fake().reset();
        const QPointer<CQueryQRCodeResult> stopped = new CQueryQRCodeResult(true, true, "first");
        stopped->stop();
        stopped->start();
        CQueryQRCodeResult::deleteStopped(5000);
        QVERIFY(!stopped && fake().operations().isEmpty());
    }

    // The success of the QR sign-in arrives when the dialog has been closed, or during or after an account sign-in that
    // the user has started meanwhile. The service has signed the user in, so the caller is notified; so is that of a dialog
    // that was opened meanwhile.
    void successOfAStoppedPoller()
    {
        const struct
        {
            bool hangs; // else the result is on its way
            int code;   // of the account sign-in; 0: the dialog is closed instead
        } rows[] = {{true, 4100}, {true, 4000}, {true, 0}, {false, 4100}, {false, 0}};
        for (const auto &row : rows) {
            startAgain();
            offerPage();
            fake().queue("QueryQRCodeResult", {4000, {}, {{"token", Token}}, {}, 0, row.hangs});
            fake().queue("LoginByAccount", {row.code, "密码错"});
            open();
            BoxScript::press(m_dialog, "weixinButton");
            if (row.hangs)
                QTRY_COMPARE(fake().hanging(), 1);
            else
                QVERIFY(CQueryQRCodeResult::waitForStopped(5000)); // no event is processed
            fill(m_dialog, Account, Password);
            const auto first = m_notify;
            if (row.code == 0) {
                m_dialog->close();
                if (row.hangs)
                    processDeletions();
                m_notify = QSharedPointer<Notify>::create();
                create();
            } else { // a tip only when the user has not been signed in yet
                QCOMPARE(tipOf([this] { m_dialog->onAccountLoginBtn(); }).contains("密码错"),
                         row.hangs && row.code == 4100);
            }
            fake().releaseHangs();
            QVERIFY(CQueryQRCodeResult::waitForStopped(5000));
            processDeletions();
            settle();
            QVERIFY(first->calls == 1 && m_notify->calls == 1);
            QVERIFY(row.code != 0 || m_log->count("快捷登录成功。") == 2);
            QVERIFY(!m_dialog || !m_dialog->isVisible());
        }
    }

    void signedInWithoutACaller()
    {
        fake().queue("GetLinkAddress", {4012}); // each further call could block as long
        open();
        QCOMPARE(callsOf("GetLinkAddress").size(), 1);
        m_log->clear();
        m_dialog->SetLoginNotify({});
        m_dialog->QuickLoginSuccess(Token);
        QCOMPARE(ours(), QString("快捷登录成功。"));
    }

    void cancelledScan()
    {
        for (const bool answered : {false, true}) {
            startAgain();
            offerPage();
            fake().queue("QueryQRCodeResult", {4999, "拒绝", {}, {}, 0, true});
            open();
            fill(m_dialog, Account, {});
            BoxScript::press(m_dialog, "weixinButton");
            QTRY_COMPARE(fake().hanging(), 1);
            QWidget *cancellable = notice();
            QVERIFY(cancellable && !m_dialog->isVisible());
            if (answered) // the result is on its way
                fake().releaseHangs();
            QCOMPARE(CQueryQRCodeResult::waitForStopped(answered ? 5000 : 20), answered); // no event is processed
            BoxScript::press(cancellable, "cancelButton");
            QVERIFY(m_dialog->isVisible());
            QCOMPARE(m_dialog->focusWidget(), edit(m_dialog, "passwordEdit")); // the first empty field
            const BoxScript tips(QStringList{});
            fake().releaseHangs();
            QVERIFY(CQueryQRCodeResult::waitForStopped(5000));
            processDeletions();
            QVERIFY(!notice() && tips.isDone() && m_dialog->isVisible());
            QCOMPARE(m_log->texts(QtWarningMsg).isEmpty(), !answered);
        }
    }

    // The end of a QR sign-in behind the shown dialog, and an answer that arrives while another window is active.
    void unaskedTips()
    {
        open();
        QVERIFY(QTest::qWaitForWindowActive(m_dialog));
        BoxScript tips(QStringList{"确定", "确定"});
        edit(m_dialog, "phoneEdit")->setFocus(); // the user has begun another sign-in
        m_dialog->QuickLoginFail("拒绝");
        m_dialog->QuickLoginTimerOut(); // no tip
        QCOMPARE(m_dialog->focusWidget(), edit(m_dialog, "phoneEdit"));
        QWidget other;
        other.show();
        other.activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(&other));
        m_dialog->showLoginTip("断了", eTipError);
        QVERIFY(tips.isDone() && tips.texts[0].contains("拒绝") && tips.texts[1].contains("断了"));
        QCOMPARE(tips.keyButtons, QStringList());
    }

    void links()
    {
        const QString web = "https://cloud.example/帐号?a=%1";
        const QString opening = "获取的跳转链接地址为：" + web + "，即将跳转。";
        const struct
        {
            QString atOpening;
            QString atClick;
            QString log; // lines, joined
            QString tip; // empty: opens
            bool browser;
        } rows[] = {
            {web, "", opening, "", true},
            {"", web, opening, "", true},
            {"", "", "获取的跳转地址为空。", "获取跳转链接失败", true},
            {"file:///bin/sh", "", "获取的跳转链接地址为：file:///bin/sh，即将跳转。|地址不是网页地址，未打开。",
             "无法打开网页", true},
            {web, "", opening + "|没有程序可以打开网页。", "无法打开网页", false},
        };
        for (const auto &row : rows) {
            startAgain();
            for (int i = 0; i < 5; ++i)
                fake().queue("GetLinkAddress", {4000, {}, {{"LinkUrl", i < 3 ? row.atOpening : row.atClick}}});
            open();
            m_log->clear();
            if (!row.browser)
                m_browser.reset();
            QStringList expected;
            const std::tuple<QString, QString, QString> links[] = {
                {"registerButton", "【立即注册】", "用户点击立即注册按钮。"},
                {"forgetButton", "【忘记密码】", "用户点击忘记密码。"}};
            for (const auto &[name, where, click] : links) {
                if (row.tip.isEmpty())
                    BoxScript::press(m_dialog, name);
                else
                    QVERIFY(tipAfter(name).contains(row.tip));
                expected << where + click;
                for (const QString &said : row.log.split('|'))
                    expected << where + said;
            }
            QCOMPARE(ours(), expected.join('|'));
            QStringList keys{"FC_ACCOUNT_004", "FC_ACCOUNT_005", "FC_CUSTOM_001"};
            if (row.atOpening.isEmpty())
                keys << keys.mid(0, 2);
            for (const QVariantMap &call : callsOf("GetLinkAddress"))
                QCOMPARE(call.value("LinkKey").toString(), keys.isEmpty() ? QString() : keys.takeFirst());
            QVERIFY(keys.isEmpty());
            QCOMPARE(m_browser ? m_browser->urls.size() : 0, row.tip.isEmpty() ? 2 : 0);
        }
    }

    void nothingToSend()
    {
        open();
        fill(m_dialog, {}, Password);
        const auto focused = [this] { return m_dialog->focusWidget()->objectName(); };
        QVERIFY(tipAfter("accountLoginButton").contains("账号不能为空!"));
        QCOMPARE(focused(), QString("accountEdit"));
        fill(m_dialog, Account, {});
        QVERIFY(tipAfter("accountLoginButton").contains("密码不能为空!"));
        QCOMPARE(focused(), QString("passwordEdit"));
        fill(m_dialog, {}, {}, Phone, "24681");
        QVERIFY(tipAfter("phoneLoginButton").contains("动态密码不正确，请重新输入!"));
        QCOMPARE(focused(), QString("codeEdit"));
        QCOMPARE(ours(), QString("账号不能为空!|密码不能为空!|【云登录对话框验证码登录】动态密码不正确，请重新输入!"));
        QVERIFY(callsOf("LoginByAccount").isEmpty() && callsOf("LoginByPhone").isEmpty());

        fake().setAvailable(false);
        const CYunLoginDialog logged;
        QVERIFY(ours().endsWith("|【云登录窗口初始化跳转链接地址】失败，原因为获取云服务客户端接口对象失败"));
        fill(m_dialog, Account, Password, Phone, OneTimeCode);
        for (const QString &name : QStringList{"accountLoginButton", "weixinButton", "phoneLoginButton"})
            QVERIFY(tipAfter(name).contains("获取云服务失败"));
        QVERIFY(tipAfter("codeButton").contains("发生通信错误"));
        QCOMPARE(button(m_dialog, "phoneLoginButton")->text(), QString("立即登录"));
    }

    // Keys for another program press nothing; Return in a field with the focus signs in, once.
    void keys()
    {
        fake().queue("LoginByAccount", {4100, "密码错"});
        open();
        fill(m_dialog, {}, {});
        m_dialog->setFocus();
        for (const Qt::Key key : {Qt::Key_Return, Qt::Key_Space, Qt::Key_Escape, Qt::Key_Tab})
            QTest::keyClick(m_dialog, key);
        QVERIFY(m_dialog->isVisible());
        QCOMPARE(m_dialog->focusWidget(), m_dialog);
        QTest::mouseClick(edit(m_dialog, "accountEdit"), Qt::LeftButton);
        edit(m_dialog, "accountEdit")->setFocus();
        QTest::keyClicks(edit(m_dialog, "accountEdit"), "zhang\r");
        CCustomLineEdit *password = edit(m_dialog, "passwordEdit");
        QCOMPARE(m_dialog->focusWidget(), password);
        QTest::keyClicks(password, "secret");
        BoxScript tips({"确定"});
        QKeyEvent held(QEvent::KeyPress, Qt::Key_Return, Qt::NoModifier, "\r", true);
        QApplication::sendEvent(password, &held);
        QCoreApplication::processEvents();
        QTest::keyClick(password, Qt::Key_Return);
        QTest::keyClick(password, Qt::Key_Return);
        QVERIFY(callsOf("LoginByAccount").isEmpty()); // not from inside the line edit, which can be destroyed meanwhile
        QTRY_VERIFY(tips.isDone());
        QVERIFY(tips.texts.value(0).contains("密码错"));
        QCOMPARE(tips.keyButtons, QStringList("确定")); // the user waits for this box
        QCOMPARE(callsOf("LoginByAccount").size(), 1);
        QCOMPARE(m_dialog->focusWidget(), password);
        for (const auto mode : {QLineEdit::Normal, QLineEdit::Password}) {
            BoxScript::press(password->parentWidget(), "suffixButton");
            QCOMPARE(password->echoMode(), mode);
            QVERIFY(password->inputMethodHints().testFlag(Qt::ImhSensitiveData));
            QVERIFY(password->inputMethodHints().testFlag(Qt::ImhHiddenText));
            password->selectAll();
            password->OnCopyClicked(false);
        }
        QVERIFY(QGuiApplication::clipboard()->mimeData()->hasFormat("x-kde-passwordManagerHint")); // while it was shown
        fill(m_dialog, {}, "secret", Phone);
        QTest::keyClick(edit(m_dialog, "phoneEdit"), Qt::Key_Return);
        QCOMPARE(m_dialog->focusWidget(), edit(m_dialog, "codeEdit"));
        QTest::keyClick(edit(m_dialog, "codeEdit"), Qt::Key_Tab);
        QCOMPARE(m_dialog->focusWidget(), button(m_dialog, "codeButton"));
        BoxScript::press(m_dialog, "closeButton");
        QCOMPARE(password->text(), QString());    // before it is deleted
        password->setEchoMode(QLineEdit::Normal); // a masked field offers no undo anyway
        QVERIFY(!password->isUndoAvailable());
        processDeletions();
        QVERIFY(!m_dialog);
    }

private:
    // For the next row of a table.
    void startAgain()
    {
        cleanup();
        init();
    }

    void create()
    {
        m_dialog = new CYunLoginDialog(nullptr, Fast);
        m_dialog->setAttribute(Qt::WA_DeleteOnClose);
        m_dialog->SetLoginNotify(m_notify);
        m_dialog->SetYunLockError(true);
    }

    void open()
    {
        create();
        m_dialog->show();
        QVERIFY(QTest::qWaitForWindowExposed(m_dialog));
    }

    // The lines of the library, of all levels, joined.
    QString ours() const { return m_log->ours().join('|'); }

    // Acts and confirms one tip. Returns its text; empty when there was none, or more than one.
    static QString tipOf(const std::function<void()> &act)
    {
        const BoxScript tips({"确定"});
        act();
        return tips.isDone() ? tips.texts.value(0) : QString();
    }
    QString tipAfter(const QString &name)
    {
        return tipOf([&] { BoxScript::press(m_dialog, name); });
    }

    QPointer<CYunLoginDialog> m_dialog;
    QSharedPointer<Notify> m_notify;
    std::unique_ptr<LogCatcher> m_log;
    std::unique_ptr<LinkTaker> m_browser; // null: no program opens web pages
    QStringList m_wholeLog, m_randomCodes;
};

QTEST_MAIN(TestLoginDialog)
#include "tst_login_dialog.moc"
