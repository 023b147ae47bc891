// From an application's request to its notify object, with real processes, a real mouse and keyboard, and a real browser.
#include "e2e/Browser.h"
#include "e2e/Popup.h"
#include "e2e/Session.h"
#include "support/Freeze.h"
#include "support/XInput.h"
#include <QJsonArray>
#include <QJsonObject>
#include <QRegularExpression>
#include <QTest>
#include <QWidget>
#include <csignal>

namespace {

const QString Dialog = QStringLiteral("CYunLoginDialog");
const QString Tip = QStringLiteral("CustomMessageBox");
const QString Services = QStringLiteral("tarn-services");
const QString Password = QStringLiteral("geheimeswort");
const QString Phone = QStringLiteral("13800000001");

// Places in the dialog, at 96 dpi.
constexpr QPoint AccountTab(125, 73);
constexpr QPoint SmsTab(275, 73);
constexpr QPoint FirstField(120, 134);
constexpr QPoint SecondField(120, 185);
constexpr QPoint CodeButton(311, 185);
constexpr int QuickAbove = 48; // from the lower edge
constexpr uint32_t BackSpace = 0xff08;
constexpr uint32_t Return = 0xff0d;
constexpr uint32_t End = 0xff57;

XClient waitFor(const QString &role)
{
    XClient client;
    const bool up = QTest::qWaitFor(
        [&] {
            client = xclients::byRole(role);
            return !client.isNull();
        },
        20000);
    return up ? client : XClient();
}

// An application that asks for a sign-in and waits for the notification.
class Caller final
{
public:
    Caller(const Session &session, const QWidget &window)
    {
        m_process.setProcessEnvironment(session.environment());
        m_process.start(session.bin() + QStringLiteral("/tarnctl"),
                        QStringList{QStringLiteral("call"), QStringLiteral("ShowCloudLogin"),
                                    QStringLiteral(R"({"软件标识":"e2e"})"), QStringLiteral("--wait"),
                                    QStringLiteral("--parent"), QString::number(window.winId())});
        m_process.waitForStarted();
    }
    // The last line that it printed, once it has ended.
    QString lastWord(int timeoutMs = 20000)
    {
        m_process.waitForFinished(timeoutMs);
        return QString::fromUtf8(m_process.readAllStandardOutput()).trimmed().section(QLatin1Char('\n'), -1) +
               QString::fromUtf8(m_process.readAllStandardError());
    }
    void kill()
    {
        m_process.kill();
        m_process.waitForFinished();
    }

private:
    QProcess m_process;
};

} // namespace

class TestCloudLogin final : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase();
    void init();
    void byAccount();
    void byKeyboardAlone();
    void byPhone();
    void byQrCode();
    void serviceThatHangsAndDies();
    void closedByTheCallersEnd();
    void cleanup();
    void cleanupTestCase(); // no secret in any log

private:
    Session::Result cloud(const QStringList &arguments, const QByteArray &input = {}) const
    {
        return m_session.tarnctl(QStringList{QStringLiteral("cloud")} + arguments, 30000, input);
    }
    QJsonObject state() const { return cloud({QStringLiteral("state"), QStringLiteral("--json")}).json().toObject(); }
    int loginState() const { return state().value(QStringLiteral("login_state")).toInt(-1); }
    XClient waitForDialog() const;
    QString oneTimeCode();
    void click(const XClient &client, const QPoint &place);
    void type(const QString &text);
    void fill(const XClient &dialog, const QPoint &field, const QString &text);
    void signIn(const XClient &dialog, const QString &password);
    QString readTip(); // and closes it
    QUrl newLink(int before) const;

    Session m_session;
    XInput m_input;
    QWidget m_window; // the application's
    QStringList m_secrets;
};

void TestCloudLogin::initTestCase()
{
    QVERIFY(m_input.isValid());
    m_window.setGeometry(300, 200, 800, 600);
    m_window.show();
    QVERIFY(QTest::qWaitForWindowExposed(&m_window));
    // With the RPC core's own lines: they are searched for secrets too.
    QVERIFY(m_session.writeBinFile(QStringLiteral("cfg.ini"), "[config]\nRpcLog=true\n[system]\napps_path=apps\n"));
    QVERIFY(m_session.startHost());
    QVERIFY2(m_session.waitReady(), qPrintable(m_session.hostLog()));
    const auto added = cloud({QStringLiteral("account"), QStringLiteral("add"), QStringLiteral("zhang"),
                              QStringLiteral("--phone"), Phone, QStringLiteral("--weixin"), QStringLiteral("wx1")},
                             Password.toLatin1() + '\n');
    QVERIFY2(added.exitCode == 0, added.errors.constData());
    m_secrets << Password;
}

void TestCloudLogin::init()
{
    QCOMPARE(cloud({QStringLiteral("logout")}).exitCode, 0);
    QCOMPARE(loginState(), 0);
    QVERIFY(xclients::byRole(Dialog).isNull());
}

// Closes the dialog that a failed test has left.
void TestCloudLogin::cleanup()
{
    m_session.signalAll(Services, SIGCONT);
    const XClient left = xclients::byRole(Dialog);
    if (!left.isNull())
        xclients::requestClose(left.id);
    QTRY_VERIFY(xclients::byRole(Dialog).isNull());
}

// In the middle of the application's window, and in front of it.
XClient TestCloudLogin::waitForDialog() const
{
    XClient client;
    const bool up = QTest::qWaitFor(
        [&] {
            client = xclients::byRole(Dialog);
            const QPoint off = client.geometry.center() - m_window.geometry().center();
            return !client.isNull() && off.manhattanLength() <= 2 && xclients::focused().id == client.id;
        },
        20000);
    return up ? client : XClient();
}

QString TestCloudLogin::oneTimeCode()
{
    const QJsonArray sent = cloud({QStringLiteral("outbox"), QStringLiteral("--json")}).json().toArray();
    const QString code = sent.at(0).toObject().value(QStringLiteral("code")).toString();
    m_secrets << code;
    return code;
}

void TestCloudLogin::click(const XClient &client, const QPoint &place)
{
    const QPoint at = client.geometry.topLeft() + place;
    m_input.click(at.x(), at.y());
    QVERIFY(m_input.settle());
}

void TestCloudLogin::type(const QString &text)
{
    for (const QChar c : text)
        QVERIFY(m_input.key(c.unicode()));
}

void TestCloudLogin::fill(const XClient &dialog, const QPoint &field, const QString &text)
{
    click(dialog, field);
    QTRY_COMPARE(xclients::focused().id, dialog.id); // the keys are sent to the window with the focus
    m_input.key(End);
    for (int i = 0; i < 20; ++i)
        m_input.key(BackSpace);
    type(text);
}

void TestCloudLogin::signIn(const XClient &dialog, const QString &password)
{
    click(dialog, AccountTab); // the dialog opens at the way used last
    fill(dialog, FirstField, QStringLiteral("zhang"));
    fill(dialog, SecondField, password);
    m_input.key(Return);
}

QString TestCloudLogin::readTip()
{
    QProcess reader;
    reader.start(QStringLiteral("/usr/bin/python3"),
                 {QStringLiteral(TARN_E2E_DIR "/alert_text.py"), QStringLiteral("40")});
    reader.waitForFinished(45000);
    const XClient tip = waitFor(Tip);
    xclients::requestClose(tip.id);
    return popup::waitGone(tip.id) ? QString::fromUtf8(reader.readAllStandardOutput()).trimmed() : QString();
}

QUrl TestCloudLogin::newLink(int before) const
{
    const bool opened = QTest::qWaitFor([&] { return m_session.openedLinks().size() > before; }, 20000);
    return opened ? QUrl(m_session.openedLinks().at(before)) : QUrl();
}

void TestCloudLogin::byAccount()
{
    Caller caller(m_session, m_window);
    const XClient dialog = waitForDialog();
    QVERIFY(!dialog.isNull());
    signIn(dialog, QStringLiteral("falscheswort"));
    m_secrets << QStringLiteral("falscheswort");
    QCOMPARE(readTip(), QStringLiteral("账号或密码错误"));
    QCOMPARE(xclients::byRole(Dialog).id, dialog.id);
    QCOMPARE(loginState(), 0);
    signIn(dialog, Password);
    QCOMPARE(caller.lastWord(), QStringLiteral("AfterLogin"));
    QVERIFY(popup::waitGone(dialog.id));
    QCOMPARE(state().value(QStringLiteral("user")).toString(), QStringLiteral("zhang"));
}

// The caller's window is the active one, so the dialog opens with the focus in the field that is still empty.
void TestCloudLogin::byKeyboardAlone()
{
    m_window.activateWindow();
    QVERIFY(QTest::qWaitForWindowActive(&m_window));
    Caller caller(m_session, m_window);
    const XClient dialog = waitForDialog(); // with the account that signed in before
    QVERIFY(!dialog.isNull());
    type(Password);
    m_input.key(Return);
    QCOMPARE(caller.lastWord(), QStringLiteral("AfterLogin"));
    QVERIFY(popup::waitGone(dialog.id));
}

void TestCloudLogin::byPhone()
{
    Caller caller(m_session, m_window);
    const XClient dialog = waitForDialog();
    QVERIFY(!dialog.isNull());
    click(dialog, SmsTab);
    fill(dialog, FirstField, Phone);
    click(dialog, CodeButton);
    QCOMPARE(readTip(), QStringLiteral("发送成功，请查收!"));
    const QString code = oneTimeCode();
    QCOMPARE(code.size(), 6);
    fill(dialog, SecondField, code == QLatin1String("123456") ? QStringLiteral("654321") : QStringLiteral("123456"));
    m_input.key(Return);
    QCOMPARE(readTip(), QStringLiteral("动态密码错误"));
    fill(dialog, SecondField, code);
    m_input.key(Return);
    QCOMPARE(caller.lastWord(), QStringLiteral("AfterLogin"));
    QVERIFY(popup::waitGone(dialog.id));
    QCOMPARE(state().value(QStringLiteral("Way")).toString(), QStringLiteral("phone"));
}

void TestCloudLogin::byQrCode()
{
    if (!Browser::isInstalled())
        QSKIP("chromium and chromium-driver are not installed (scripts/install-deps.sh test)");
    Browser browser(m_session.path(QStringLiteral("browser")));
    QVERIFY2(browser.start(), qPrintable(browser.errorText()));
    const int links = m_session.openedLinks().size();
    Caller caller(m_session, m_window);
    const XClient dialog = waitForDialog();
    QVERIFY(!dialog.isNull());
    click(dialog, QPoint(110, dialog.geometry.height() - QuickAbove));
    const QUrl page = newLink(links);
    m_secrets << page.fileName();
    QTRY_VERIFY(xclients::byRole(Dialog).isNull()); // hidden, not closed
    QVERIFY(m_session.tarnctl({QStringLiteral("call"), QStringLiteral("QueryYunLoginDialogState")})
                .output.contains("true"));

    QVERIFY2(browser.open(page), qPrintable(browser.errorText()));
    const QString state = QStringLiteral("#state");
    QTRY_COMPARE(browser.text(state), QStringLiteral("请使用微信扫描二维码"));
    QVERIFY(browser.openTab(QUrl(browser.attribute(QStringLiteral("#phone"), QStringLiteral("href")))));
    QVERIFY(browser.type(QStringLiteral("#identity"), QStringLiteral("wx1")));
    QVERIFY2(browser.click(QStringLiteral("#confirm")), qPrintable(browser.errorText()));
    QCOMPARE(caller.lastWord(), QStringLiteral("AfterLogin"));
    QVERIFY(browser.goToTab(0));
    QTRY_COMPARE(browser.text(state), QStringLiteral("登录成功，可以关闭此页面"));
    QCOMPARE(this->state().value(QStringLiteral("Way")).toString(), QStringLiteral("weixin"));
}

void TestCloudLogin::serviceThatHangsAndDies()
{
    Caller caller(m_session, m_window);
    const XClient dialog = waitForDialog();
    QVERIFY(!dialog.isNull());
    const QVector<qint64> services = m_session.pids(Services);
    QCOMPARE(services.size(), 1);
    QVERIFY(freeze(static_cast<pid_t>(services.first())));
    const QString started = QStringLiteral("开始登录云账号");
    const int before = m_session.hostLog().count(started);
    signIn(dialog, Password);
    QTRY_COMPARE(m_session.hostLog().count(started), before + 1);
    QVERIFY(xclients::byRole(Tip).isNull());
    QCOMPARE(m_session.signalAll(Services, SIGKILL), 1);
    QCOMPARE(readTip(), QStringLiteral("发生通信错误"));
    QTRY_VERIFY_WITH_TIMEOUT(loginState() == 0, 20000); // the hub has restarted it
    signIn(dialog, Password);
    QCOMPARE(caller.lastWord(), QStringLiteral("AfterLogin"));
}

void TestCloudLogin::closedByTheCallersEnd()
{
    Caller caller(m_session, m_window);
    const XClient dialog = waitForDialog();
    QVERIFY(!dialog.isNull());
    const QVector<qint64> services = m_session.pids(Services);
    QVERIFY(freeze(static_cast<pid_t>(services.first())));
    signIn(dialog, Password); // hangs while the application ends
    const auto finish = [&](const char *software) {
        return m_session
            .tarnctl({QStringLiteral("call"), QStringLiteral("NotifyCloudParentFinish"), QString::fromUtf8(software)})
            .exitCode;
    };
    QCOMPARE(finish(R"({"软件标识":"another"})"), 0);
    QVERIFY(!popup::waitGone(dialog.id, 500));
    QCOMPARE(finish(R"({"软件标识":"e2e"})"), 0);
    QVERIFY(popup::waitGone(dialog.id));
    m_session.signalAll(Services, SIGCONT);
    caller.lastWord();
    QTRY_COMPARE(loginState(), 2); // the service completes the call that was sent
    QVERIFY(m_session.hostRuns());
}

void TestCloudLogin::cleanupTestCase()
{
    QCOMPARE(m_session.stopHost(), 0);
    const QString log = m_session.hostLog();
    QVERIFY(log.contains(QStringLiteral("zhang"))); // the lines that name the account are there
    for (const QString &secret : qAsConst(m_secrets))
        QVERIFY2(!secret.isEmpty() && !log.contains(secret), qPrintable(secret));
    // Tokens and random codes: hex of 64 and of 8 digits.
    const QRegularExpression hex(QStringLiteral("\\b(?<!-)([0-9a-f]{64}|(?=[0-9]*[a-f])[0-9a-f]{8})\\b"));
    const auto found = hex.match(log);
    QVERIFY2(!found.hasMatch(), qPrintable(log.mid(qMax(0, found.capturedStart() - 100), 200)));
}

QTEST_MAIN(TestCloudLogin)
#include "tst_cloud_login.moc"
