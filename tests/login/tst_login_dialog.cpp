// The requests of the sign-in dialog to the cloud service, and its reactions to the answers.
#include "frame/VtServiceClient.h"
#include "login/Login.h"
#include "support/BoxScript.h"
#include "support/LinkTaker.h"
#include "support/LogCatcher.h"
#include "widgets/CustomMessageBox.h"
#include <QApplication>
#include <QClipboard>
#include <QTimer>
#include <functional>
#include <memory>
#include <pthread.h>

using login::box;
using login::button;
using login::calls;
using login::edit;
using login::fill;
using login::press;

namespace {
constexpr char Phone[] = "13800138000";
constexpr char OneTimeCode[] = "246810";
constexpr char Token[] = "tok-en-9f8e";
constexpr char Page[] = "https://cloud.example/qr/ticket";
const QString Password = QString("S3cret'\"%1 ").repeated(1000);
const QString Account = QString("a'\"%1") + QChar(0) + "</b>";

constexpr CQueryQRCodeResult::Rhythm Fast{1, 1, 3};

// Records the buttons of message boxes that a key would press.
class TipProbe final : public QObject
{
public:
    TipProbe() { qApp->installEventFilter(this); }
    QStringList keys;

protected:
    bool eventFilter(QObject *watched, QEvent *event) override
    {
        auto *box = event->type() == QEvent::Show ? qobject_cast<CustomMessageBox *>(watched) : nullptr;
        if (box) // when it is shown, before a click gives the focus to a button
            QMetaObject::invokeMethod(
                box, [this, box] { look(box); }, Qt::QueuedConnection);
        return false;
    }

private:
    void look(const QWidget *box)
    {
        for (const auto *button : box->findChildren<QPushButton *>()) {
            if (button->isDefault() || box->focusWidget() == button)
                keys << button->text();
        }
    }
};

// Acts and confirms one tip. Returns its text; empty when there was none, or more than one.
QString tipOf(const std::function<void()> &act)
{
    BoxScript tips({"确定"});
    act();
    return tips.isDone() ? tips.texts.value(0) : QString();
}
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
    void answers_data();
    void answers();
    void phoneNumber_data();
    void phoneNumber();
    void countdown();
    void quick_data();
    void quick();
    void quickAddress_data();
    void quickAddress();
    void newAttemptStopsThePoller_data();
    void newAttemptStopsThePoller();
    void cancelledScan();
    void pollerThatCannotStart();
    void closedBeforeTheResultCame();
    void tipsNobodyAskedFor();
    void links_data();
    void links();
    void nothingToSend();
    void keys();

private:
    void open();
    QStringList ours() const; // the lines of the library, of all levels
    QString tipAfter(const char *name)
    {
        return tipOf([&] { press(m_dialog, name); });
    }

    QPointer<CYunLoginDialog> m_dialog;
    QSharedPointer<login::Notify> m_notify;
    std::unique_ptr<LogCatcher> m_log;
    std::unique_ptr<LinkTaker> m_browser; // null: no program opens web pages
    QStringList m_wholeLog, m_randomCodes;
};

void TestLoginDialog::init()
{
    FakeClient::fake().reset();
    m_log = std::make_unique<LogCatcher>();
    m_notify = QSharedPointer<login::Notify>::create();
    m_browser = std::make_unique<LinkTaker>(QStringList{"http", "https", "file", "javascript"});
}

void TestLoginDialog::cleanup()
{
    delete m_dialog;
    for (const QVariantMap &values : calls("GetQRCodeUrl"))
        m_randomCodes << values.value("随机码").toString();
    QVERIFY(CQueryQRCodeResult::waitForStopped(5000));
    login::processDeletions();
    login::settle();
    CVtServiceClient::ReleaseInstance();
    m_wholeLog << m_log->texts();
    m_log.reset();
    m_browser.reset();
}

// Searches all lines of all levels, Qt's own included, for secrets.
void TestLoginDialog::cleanupTestCase()
{
    const QString all = m_wholeLog.join('\n');
    QVERIFY(all.contains(Phone) && !m_randomCodes.isEmpty());
    for (const QString &secret : m_randomCodes + QStringList{Password.left(20), OneTimeCode, Token})
        QVERIFY2(!all.contains(secret), qPrintable(secret));
}

void TestLoginDialog::open()
{
    m_dialog = new CYunLoginDialog(nullptr, Fast);
    m_dialog->setAttribute(Qt::WA_DeleteOnClose);
    m_dialog->SetLoginNotify(m_notify);
    m_dialog->SetYunLockError(true);
    m_dialog->show();
    QVERIFY(QTest::qWaitForWindowExposed(m_dialog));
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
    QTest::addColumn<int>("code");
    QTest::addColumn<QVariantMap>("memory");
    QTest::addColumn<QString>("state"); // tab, auto, password box and field, phone box and field, account
    QTest::addColumn<QString>("log");
    const auto row = [](const char *name, int code, const QVariantMap &memory, const QString &state,
                        const QString &log = {}) { QTest::newRow(name) << code << memory << state << log; };
    row("nothing", 4000, {}, "1 0 00 00 z");
    row("phone", 4000, {{"LOGINMODEL", 0}, {"REMPHONE", true}}, "1 0 00 11 z");
    row("account", 4000, {{"LOGINMODEL", 1}, {"REMPASSWORD", true}}, "0 0 11 00 z");
    row("no number", 4000, {{"LOGINMODEL", QVariantList{1}}}, "1 0 00 00 z");
    row("auto", 4000, {{"AUTOLOGIN", true}, {"REMPHONE", true}}, "1 1 10 11 z");
    row("4012", 4012, {{"REMPHONE", true}}, "0 0 00 00 ",
        "【获取记忆的云账号登录信息】rpc接口通信失败，记录错误码为：4012，错误信息为：坏了 %2");
    row("4002", 4002, {}, "0 0 00 00 ",
        "【获取记忆的云账号登录信息】获取失败，返回错误码为：4002，错误信息为：坏了 %2");
}

void TestLoginDialog::remembered()
{
    QFETCH(int, code);
    QFETCH(QVariantMap, memory);
    for (const auto &[key, value] : {std::pair("ACCOUNT", "z"), std::pair("PASSWORD", "p"), std::pair("PHONE", "1")})
        memory.insert(QLatin1String(key), QLatin1String(value));
    FakeClient::fake().queue("GetMemoryLoginInfo", {code, "坏了 %2", memory});
    open();
    QTEST(ours().join('|'), "log");
    QCOMPARE(calls("GetLinkAddress").size(), 3); // also when the service could not be reached before
    QCOMPARE(box(m_dialog, "accountAutoLogin")->isChecked(), box(m_dialog, "phoneAutoLogin")->isChecked());
    QTEST(QString("%1 %2 %3%4 %5%6 %7")
              .arg(m_dialog->findChild<QTabWidget *>()->currentIndex())
              .arg(box(m_dialog, "accountAutoLogin")->isChecked())
              .arg(box(m_dialog, "rememberPassword")->isChecked())
              .arg(edit(m_dialog, "passwordEdit")->text().size())
              .arg(box(m_dialog, "rememberPhone")->isChecked())
              .arg(edit(m_dialog, "phoneEdit")->text().size())
              .arg(edit(m_dialog, "accountEdit")->text()),
          "state");
    for (const bool on : {true, false}) { // the remember box follows the auto box, not the other way round
        box(m_dialog, "accountAutoLogin")->setChecked(on);
        QCOMPARE(box(m_dialog, "rememberPassword")->isChecked(), on);
    }
    box(m_dialog, "rememberPhone")->setChecked(true);
    QCOMPARE(box(m_dialog, "phoneAutoLogin")->isChecked(), memory.contains("AUTOLOGIN"));
}

void TestLoginDialog::answers_data()
{
    QTest::addColumn<QByteArray>("button");
    QTest::addColumn<int>("code");
    QTest::addColumn<QString>("error");
    QTest::addColumn<QString>("tip");
    QTest::addColumn<QString>("log"); // lines, joined
    QTest::addColumn<bool>("closes"); // and notifies the caller
    const auto row = [](const char *button, int code, const QString &error, const QString &tip, const QString &log,
                        bool closes = false) {
        QTest::addRow("%s %d%s", button, code, error.isEmpty() ? ", no text" : "")
            << QByteArray(button) << code << error << tip << log << closes;
    };
    const QString begun = "开始登录云账号|";
    const QString failed = begun + "【账号密码登录】登录失败，返回错误码为：";
    const QString user = QString(Account).replace(QChar(0), ' '); // as the log writes it
    row("accountLoginButton", 4000, "", "", begun + "用户" + user + "登录成功|开始通知云登录后事件", true);
    row("accountLoginButton", 4018, "没有授权", "没有授权", begun + "【账号密码登录】云锁登录失败。");
    row("accountLoginButton", 4001, "断了%2", "发生通信错误", failed + "4001，错误信息为：断了%2");
    row("accountLoginButton", 4100, " 错\r\n用户\u2028li登录成功 \n", "错",
        failed + "4100，错误信息为：错  用户 li登录成功");
    row("codeButton", 4000, "", "发送成功，请查收!", "【获取验证码】调用获取验证码接口成功。");
    row("codeButton", 4012, "", "发生通信错误", "【获取验证码】rpc接口通信失败，记录错误码为：4012，错误信息为：");
    row("codeButton", 4101, "太频繁%2", "太频繁%2",
        "【获取验证码】调用获取验证码接口发生逻辑错误，返回错误码为：4101，错误信息为太频繁%2");
    const QString notified = "|【云登录对话框验证码登录】开始通知云登录后事件";
    const QString refused = "|【云登录对话框验证码登录】用户13800138000登录失败。";
    const QString lost = "【验证码登录】rpc接口通信失败，记录错误码为：%1，错误信息为：";
    row("phoneLoginButton", 4000, "", "", "【云登录对话框验证码登录】用户13800138000登录成功" + notified, true);
    row("phoneLoginButton", 4018, "坏了%2", "坏了%2", "【手机验证码】云锁登录失败。" + notified, true);
    row("phoneLoginButton", 4018, "", "登录失败", "【手机验证码】云锁登录失败。" + notified, true);
    row("phoneLoginButton", 4001, "", "发生通信错误", lost.arg(4001) + refused);
    row("phoneLoginButton", 4012, "坏了%2", "坏了%2", lost.arg(4012) + "坏了%2" + refused);
    row("phoneLoginButton", 4102, "坏了%2", "坏了%2",
        "【验证码登录】用户使用验证码登录失败，返回错误码为：4102，错误信息为：坏了%2" + refused);
}

void TestLoginDialog::answers()
{
    QFETCH(QByteArray, button);
    QFETCH(int, code);
    QFETCH(QString, error);
    QFETCH(QString, tip);
    QFETCH(bool, closes);
    const bool byAccount = button == "accountLoginButton";
    const bool sends = button == "codeButton";
    const QString operation = QLatin1String(byAccount ? "LoginByAccount"
                                            : sends   ? "SendVerificationCode"
                                                      : "LoginByPhone");
    FakeClient::fake().queue(operation, {code, error});
    open();
    fill(m_dialog, Account, Password, Phone, OneTimeCode);
    m_dialog->findChild<QTabWidget *>()->setCurrentIndex(byAccount ? 0 : 1);
    box(m_dialog, "accountAutoLogin")->setChecked(true);
    box(m_dialog, "rememberPassword")->setChecked(false);
    box(m_dialog, "rememberPhone")->setChecked(true);
    if (tip.isEmpty())
        press(m_dialog, button);
    else
        QVERIFY(tipAfter(button).contains(tip));
    QTEST(ours().join('|'), "log");
    QVariantMap sent{{"phone", Phone}};
    if (byAccount)
        sent = {{"user", Account}, {"pwd", Password}, {"自动登录", true}, {"记忆数据", false}};
    else if (!sends)
        sent = {{"phone", Phone}, {"code", OneTimeCode}, {"自动登录", false}, {"记忆数据", true}};
    if (!sends)
        sent.insert("YunLockErrorTip", true);
    QCOMPARE(calls(operation), QList<QVariantMap>{sent});
    login::settle();
    QCOMPARE(int(m_notify->calls), closes ? 1 : 0);
    login::processDeletions();
    QCOMPARE(m_dialog.isNull(), closes);
    QVERIFY(!QApplication::overrideCursor());
    if (closes)
        return;
    QVERIFY(m_dialog->isEnabled() && edit(m_dialog, "passwordEdit")->text() == Password);
    QCOMPARE(login::button(m_dialog, "phoneLoginButton")->text(), QString("立即登录"));
    QCOMPARE(login::button(m_dialog, "codeButton")->isEnabled(), !sends || code != 4000);
    QCOMPARE(m_dialog->focusWidget() == edit(m_dialog, "codeEdit"), sends && code == 4000);
}

void TestLoginDialog::phoneNumber_data()
{
    QTest::addColumn<QString>("entered");
    QTest::addColumn<QString>("text");
    const auto row = [](const char *name, const QString &entered, const QString &text) {
        QTest::newRow(name) << entered << text;
    };
    row("10 digits", "1380013800", "1380013800");
    row("12 digits", "138001380001", "");
    row("huge", QString(100000, '1'), "");
    row("blanks", " 138 0013\t8000\n", Phone);
    row("full-width", "１３８　００１３–８０００", Phone);
    row("country", "+86 138-0013-8000", Phone);
    row("country in brackets", "（＋86）13800138000", Phone);
    row("dialled country", "0086 13800138000", Phone);
    row("another country", "+49 13800138000", "");
    row("typed, 12 digits", "k:138001380009", Phone); // the last one is not taken
    row("typed with letters", "k:0x9", "09");
    row("typed with country", "k:+86-13800138000", Phone);
}

void TestLoginDialog::phoneNumber()
{
    QFETCH(QString, entered);
    QFETCH(QString, text);
    open();
    fill(m_dialog, {}, {}, "0", OneTimeCode);
    CCustomLineEdit *phone = edit(m_dialog, "phoneEdit");
    phone->clear();
    if (entered.startsWith("k:")) {
        QTest::keyClicks(phone, entered.mid(2));
    } else {
        QGuiApplication::clipboard()->setText(entered);
        phone->paste();
    }
    QCOMPARE(phone->text(), text);
    const bool complete = text.size() == 11;
    QVERIFY(tipAfter("codeButton").contains(complete ? "发送成功，请查收!" : "手机号填写不正确!"));
    QCOMPARE(calls("SendVerificationCode"), (complete ? QList<QVariantMap>{{{"phone", text}}} : QList<QVariantMap>()));
    if (complete)
        return;
    QVERIFY(tipAfter("phoneLoginButton").contains("手机号填写不正确!"));
    QCOMPARE(ours(), (QStringList{"手机号填写不正确!", "【云登录对话框验证码登录】手机号填写不正确!"}));
    QVERIFY(calls("LoginByPhone").isEmpty());
}

// Ten quick clicks: one request and one timer.
void TestLoginDialog::countdown()
{
    open();
    fill(m_dialog, {}, {}, Phone);
    QVERIFY(tipAfter("codeButton").contains("发送成功，请查收!"));
    for (int i = 0; i < 10; ++i) {
        press(m_dialog, "codeButton");
        m_dialog->onGetVerificationCodeBtn();
    }
    QCOMPARE(calls("SendVerificationCode").size(), 1);
    const auto timers = m_dialog->findChildren<QTimer *>();
    QCOMPARE(std::count_if(timers.begin(), timers.end(), [](auto *timer) { return timer->interval() == 1000; }), 1);
    const QPushButton *button = login::button(m_dialog, "codeButton");
    QTRY_COMPARE(button->text(), QString("  重试(59)  ")); // by the clock
    for (int left = 58; left >= 0; --left) {
        QVERIFY(!button->isEnabled());
        m_dialog->OnTimeOut();
        QCOMPARE(button->text(), left > 0 ? QString("  重试(%1)  ").arg(left) : "  获取动态密码  ");
    }
    QVERIFY(button->isEnabled());
}

void TestLoginDialog::quick_data()
{
    QTest::addColumn<QList<int>>("codes");
    QTest::addColumn<QString>("tip"); // begins so; none: signed in
    QTest::addColumn<QStringList>("log");
    QTest::newRow("confirmed") << QList<int>{4022, 4000} << ""
                               << QStringList{"扫码登录：开始通知云登录后事件", "快捷登录成功。"};
    QTest::newRow("lock") << QList<int>{4018} << "拒绝%1" << QStringList{"快捷登录：云锁登录失败，拒绝%1"};
    QTest::newRow("time-out") << QList<int>{4022, 4022, 4022} << "扫码登录超时，请重新扫码。"
                              << QStringList{"快捷登录失败，扫码登录超时，请重新扫码。"};
    const QString unbound = "检测到您首次通过微信或QQ登录岚川云，请先前往<a style=\"color: #0C64EB;\" "
                            "href=\"https://cloud.example/bind\">岚川用户中心</a>绑定后再登录。";
    QTest::newRow("unbound") << QList<int>{4024} << "检测到您首次通过微信或QQ登录岚川云，请先前往<a "
                             << QStringList{"快捷登录失败，" + unbound};
}

void TestLoginDialog::quick()
{
    QFETCH(QList<int>, codes);
    QFETCH(QString, tip);
    QFETCH(QStringList, log);
    FakeClient::fake().queue("GetQRCodeUrl", {4000, {}, {{"QRCODE_url", Page}}});
    for (const int code : codes)
        FakeClient::fake().queue("QueryQRCodeResult", {code, "拒绝%1", {{"token", Token}}});
    for (int i = 0; i < 3; ++i)
        FakeClient::fake().queue("GetLinkAddress", {4000, {}, {{"LinkUrl", "https://cloud.example/bind"}}});
    open();
    fill(m_dialog, Account, {});
    box(m_dialog, "accountAutoLogin")->setChecked(true);
    m_dialog->PasswordStateChanged();
    const TipProbe probe;
    BoxScript tips(tip.isEmpty() ? QStringList() : QStringList("确定"));
    bool loggedBefore = false;
    m_notify->act = [&] { loggedBefore = m_log->has("快捷登录成功。"); };
    press(m_dialog, "qqButton");
    QVERIFY(!m_dialog->isVisible());
    QCOMPARE(edit(m_dialog, "passwordEdit")->echoMode(), QLineEdit::Password);
    QCOMPARE(m_browser->urls, QStringList(Page));
    const QVariantMap asked = calls("GetQRCodeUrl").value(0);
    QCOMPARE(asked.value("扫码登录类型").toString(), QString("qqdenglu"));
    QVERIFY(QRegularExpression("^[0-9a-f]{8}$").match(asked.value("随机码").toString()).hasMatch());
    QTRY_VERIFY(tip.isEmpty() ? m_notify->calls == 1 : tips.isDone());
    QVERIFY(probe.keys.isEmpty());
    QVERIFY(!loggedBefore);
    QTRY_COMPARE(ours(), QStringList("点击QQ扫码登录。") + log);
    QCOMPARE(calls("QueryQRCodeResult").size(), codes.size());
    QCOMPARE(calls("QueryQRCodeResult")[0].value("随机码"), asked.value("随机码"));
    QVERIFY(calls("QueryQRCodeResult")[0].value("自动登录").toBool());
    login::processDeletions();
    QCOMPARE(m_dialog.isNull(), tip.isEmpty());
    QVERIFY(!m_dialog || (m_dialog->isVisible() && tips.texts[0].contains(tip) && m_notify->calls == 0));
}

void TestLoginDialog::quickAddress_data()
{
    QTest::addColumn<int>("code");
    QTest::addColumn<QVariant>("address");
    QTest::addColumn<bool>("browser");
    QTest::addColumn<QString>("tip");
    QTest::newRow("refused") << 4100 << QVariant(Page) << true << "获取扫码登录地址失败";
    QTest::newRow("missing") << 4000 << QVariant() << true << "获取扫码登录地址失败";
    QTest::newRow("a list") << 4000 << QVariant(QVariantList{1}) << true << "获取扫码登录地址失败";
    QTest::newRow("program") << 4000 << QVariant("file:///bin/sh") << true << "无法打开网页";
    QTest::newRow("no browser") << 4000 << QVariant(Page) << false << "无法打开网页";
}

void TestLoginDialog::quickAddress()
{
    QFETCH(int, code);
    QFETCH(QVariant, address);
    QFETCH(bool, browser);
    QFETCH(QString, tip);
    FakeClient::fake().queue("GetQRCodeUrl", {code, {}, {{"QRCODE_url", address}}});
    open();
    if (!browser)
        m_browser.reset();
    QVERIFY(tipAfter("weixinButton").contains(tip));
    QCOMPARE(calls("GetQRCodeUrl")[0].value("扫码登录类型").toString(), QString("weixindenglu"));
    QVERIFY(!m_browser || m_browser->urls.isEmpty());
    QVERIFY(m_dialog->isVisible() && m_log->has("点击微信扫码登录。") && !ours().join(' ').contains(Page));
}

// The success of the QR sign-in arrives during or after an account sign-in that the user has started meanwhile.
void TestLoginDialog::newAttemptStopsThePoller_data()
{
    QTest::addColumn<bool>("hangs");
    QTest::addColumn<int>("code"); // of the account sign-in
    QTest::newRow("hanging call") << true << 4100;
    QTest::newRow("both succeed") << true << 4000;
    QTest::newRow("result on its way") << false << 4100;
}

void TestLoginDialog::newAttemptStopsThePoller()
{
    QFETCH(bool, hangs);
    QFETCH(int, code);
    FakeClient::fake().queue("GetQRCodeUrl", {4000, {}, {{"QRCODE_url", Page}}});
    FakeClient::fake().queue("QueryQRCodeResult", {4000, {}, {{"token", Token}}, {}, 0, hangs});
    FakeClient::fake().queue("LoginByAccount", {code, "密码错"});
    open();
    press(m_dialog, "weixinButton");
    if (hangs)
        QTRY_COMPARE(FakeClient::fake().hanging(), 1);
    else
        QVERIFY(CQueryQRCodeResult::waitForStopped(5000)); // no event is processed
    fill(m_dialog, Account, Password);
    const QString tip = tipOf([this] { m_dialog->onAccountLoginBtn(); });
    QCOMPARE(tip.contains("密码错"), hangs && code == 4100); // otherwise already signed in
    FakeClient::fake().releaseHangs();
    QVERIFY(CQueryQRCodeResult::waitForStopped(5000));
    login::processDeletions();
    login::settle();
    QCOMPARE(int(m_notify->calls), 1); // the service has signed the user in
    QVERIFY(!m_dialog || !m_dialog->isVisible());
}

void TestLoginDialog::cancelledScan()
{
    FakeClient::fake().queue("GetQRCodeUrl", {4000, {}, {{"QRCODE_url", Page}}});
    FakeClient::fake().queue("QueryQRCodeResult", {4023, "拒绝", {}, {}, 0, true});
    open();
    fill(m_dialog, Account, {});
    press(m_dialog, "weixinButton");
    QTRY_COMPARE(FakeClient::fake().hanging(), 1);
    const QPointer<QWidget> notice = login::shown<tarn::visualized::WaitNotice>();
    QVERIFY(notice && !m_dialog->isVisible());
    press(notice, "cancelButton");
    QVERIFY(m_dialog->isVisible());
    QCOMPARE(m_dialog->focusWidget(), edit(m_dialog, "passwordEdit")); // the first empty field
    BoxScript tips(QStringList{});
    FakeClient::fake().releaseHangs();
    QVERIFY(CQueryQRCodeResult::waitForStopped(5000));
    login::processDeletions();
    QVERIFY(!notice->isVisible() && tips.isDone() && m_dialog->isVisible());
}

// The thread of the poller cannot be created.
void TestLoginDialog::pollerThatCannotStart()
{
    FakeClient::fake().queue("GetQRCodeUrl", {4000, {}, {{"QRCODE_url", Page}}});
    open();
    pthread_attr_t normal;
    QCOMPARE(pthread_getattr_default_np(&normal), 0);
    pthread_attr_t huge = normal;
    pthread_attr_setstacksize(&huge, size_t(1) << 46);
    QCOMPARE(pthread_setattr_default_np(&huge), 0);
    const QString tip = tipOf([this] {
        press(m_dialog, "weixinButton");
        QTRY_VERIFY(m_dialog->isVisible());
    });
    pthread_setattr_default_np(&normal);
    QVERIFY(tip.contains("扫码登录失败"));
    QVERIFY(m_dialog->isVisible());
}

// The service has signed the user in, so the caller is notified.
void TestLoginDialog::closedBeforeTheResultCame()
{
    FakeClient::fake().queue("GetQRCodeUrl", {4000, {}, {{"QRCODE_url", Page}}});
    FakeClient::fake().queue("QueryQRCodeResult", {4000, {}, {{"token", Token}}});
    open();
    press(m_dialog, "weixinButton");
    QVERIFY(CQueryQRCodeResult::waitForStopped(5000)); // no event is processed
    m_dialog->close();
    QCoreApplication::processEvents();
    QVERIFY(m_dialog.isNull() || !m_dialog->isVisible());
    login::settle();
    QCOMPARE(int(m_notify->calls), 1);
    QCOMPARE(m_log->count("快捷登录成功。"), 1);
}

// The end of a QR sign-in behind the shown dialog, and an answer that arrives while another window is active.
void TestLoginDialog::tipsNobodyAskedFor()
{
    open();
    QVERIFY(QTest::qWaitForWindowActive(m_dialog));
    const TipProbe probe;
    edit(m_dialog, "phoneEdit")->setFocus(); // the user has begun another sign-in
    QVERIFY(tipOf([this] { m_dialog->QuickLoginFail("拒绝"); }).contains("拒绝"));
    QCOMPARE(m_dialog->focusWidget(), edit(m_dialog, "phoneEdit"));
    QCOMPARE(tipOf([this] { m_dialog->QuickLoginTimerOut(); }), QString());
    QCOMPARE(m_dialog->focusWidget(), edit(m_dialog, "phoneEdit"));
    QWidget other;
    other.show();
    other.activateWindow();
    QVERIFY(QTest::qWaitForWindowActive(&other));
    QVERIFY(tipOf([this] { m_dialog->showLoginTip("断了", eTipError); }).contains("断了"));
    QCOMPARE(probe.keys, QStringList());
}

void TestLoginDialog::links_data()
{
    QTest::addColumn<QString>("atOpening");
    QTest::addColumn<QString>("atClick");
    QTest::addColumn<bool>("browser");
    QTest::addColumn<QString>("line");
    QTest::addColumn<QString>("tip"); // none: opens
    const QString web = "https://cloud.example/帐号?a=%1";
    const QString opening = "获取的跳转链接地址为：" + web + "，即将跳转。";
    QTest::newRow("web") << web << "" << true << opening << "";
    QTest::newRow("asked for again") << "" << web << true << opening << "";
    QTest::newRow("none") << ""
                          << "" << true << "获取的跳转地址为空。"
                          << "获取跳转链接失败";
    QTest::newRow("program") << "file:///bin/sh"
                             << "" << true
                             << "获取的跳转链接地址为：file:///bin/sh，即将跳转。|地址不是网页地址，未打开。"
                             << "无法打开网页";
    QTest::newRow("no browser") << web << "" << false << opening + "|没有程序可以打开网页。"
                                << "无法打开网页";
}

void TestLoginDialog::links()
{
    QFETCH(QString, atOpening);
    QFETCH(QString, atClick);
    QFETCH(bool, browser);
    QFETCH(QString, line);
    QFETCH(QString, tip);
    for (int i = 0; i < 5; ++i)
        FakeClient::fake().queue("GetLinkAddress", {4000, {}, {{"LinkUrl", i < 3 ? atOpening : atClick}}});
    open();
    QStringList keys;
    for (const QVariantMap &call : calls("GetLinkAddress"))
        keys << call.value("LinkKey").toString();
    QCOMPARE(keys, (QStringList{"FC_ACCOUNT_004", "FC_ACCOUNT_005", "FC_CUSTOM_001"}));
    m_log->clear();
    if (!browser)
        m_browser.reset();
    QStringList expected;
    struct Link
    {
        const char *button;
        QString where;
        QString click;
    };
    for (const auto &[name, where, click] : {Link{"registerButton", "【立即注册】", "用户点击立即注册按钮。"},
                                             Link{"forgetButton", "【忘记密码】", "用户点击忘记密码。"}}) {
        if (tip.isEmpty())
            press(m_dialog, name);
        else
            QVERIFY(tipAfter(name).contains(tip));
        expected << where + click;
        for (const QString &said : line.split('|'))
            expected << where + said;
    }
    QCOMPARE(ours(), expected);
    QCOMPARE(calls("GetLinkAddress").size(), atOpening.isEmpty() ? 5 : 3);
    QCOMPARE(m_browser ? m_browser->urls.size() : 0, tip.isEmpty() ? 2 : 0);
}

void TestLoginDialog::nothingToSend()
{
    open();
    fill(m_dialog, {}, Password);
    QVERIFY(tipAfter("accountLoginButton").contains("账号不能为空!"));
    fill(m_dialog, Account, {});
    QVERIFY(tipAfter("accountLoginButton").contains("密码不能为空!"));
    fill(m_dialog, {}, {}, Phone, "24681");
    QVERIFY(tipAfter("phoneLoginButton").contains("动态密码不正确，请重新输入!"));
    QCOMPARE(ours(),
             (QStringList{"账号不能为空!", "密码不能为空!", "【云登录对话框验证码登录】动态密码不正确，请重新输入!"}));
    QVERIFY(calls("LoginByAccount").isEmpty() && calls("LoginByPhone").isEmpty());

    FakeClient::fake().setAvailable(false);
    const CYunLoginDialog logged;
    QCOMPARE(ours().last(), QString("【云登录窗口初始化跳转链接地址】失败，原因为获取云服务客户端接口对象失败"));
    fill(m_dialog, Account, Password);
    for (const char *name : {"accountLoginButton", "weixinButton"})
        QVERIFY(tipAfter(name).contains("获取云服务失败"));
    fill(m_dialog, Account, Password, Phone, OneTimeCode);
    QVERIFY(tipAfter("phoneLoginButton").contains("获取云服务失败"));
    QVERIFY(tipAfter("codeButton").contains("发生通信错误"));
    QCOMPARE(button(m_dialog, "phoneLoginButton")->text(), QString("立即登录"));
}

// Keys for another program press nothing; Return in a field with the focus signs in, once.
void TestLoginDialog::keys()
{
    FakeClient::fake().queue("LoginByAccount", {4100, "密码错"});
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
    QKeyEvent held(QEvent::KeyPress, Qt::Key_Return, Qt::NoModifier, "\r", true);
    QApplication::sendEvent(password, &held);
    QVERIFY(calls("LoginByAccount").isEmpty());
    const TipProbe probe;
    BoxScript tips({"确定"});
    QTest::keyClick(password, Qt::Key_Return);
    QTest::keyClick(password, Qt::Key_Return);
    QVERIFY(calls("LoginByAccount").isEmpty()); // not from inside the line edit, which can be destroyed with the dialog
    QTRY_VERIFY(tips.isDone());
    QVERIFY(tips.texts.value(0).contains("密码错"));
    QCOMPARE(probe.keys, QStringList("确定")); // the user waits for this box
    QCOMPARE(calls("LoginByAccount").size(), 1);
    QCOMPARE(m_dialog->focusWidget(), password);
    for (const auto mode : {QLineEdit::Normal, QLineEdit::Password}) {
        press(password->parentWidget(), "suffixButton");
        QCOMPARE(password->echoMode(), mode);
        QVERIFY(password->inputMethodHints().testFlag(Qt::ImhSensitiveData));
        QVERIFY(password->inputMethodHints().testFlag(Qt::ImhHiddenText));
    }
    fill(m_dialog, {}, "secret", Phone);
    QTest::keyClick(edit(m_dialog, "phoneEdit"), Qt::Key_Return);
    QCOMPARE(m_dialog->focusWidget(), edit(m_dialog, "codeEdit"));
    QTest::keyClick(m_dialog, Qt::Key_Escape);
    QCOMPARE(password->text(), QString());    // before it is deleted
    password->setEchoMode(QLineEdit::Normal); // a masked field offers no undo anyway
    QVERIFY(!password->isUndoAvailable());
    login::processDeletions();
    QVERIFY(!m_dialog);
}

QTEST_MAIN(TestLoginDialog)
#include "tst_login_dialog.moc"
