#include "services/Services.h"
#include "services/cloud/CloudStore.h"
#include "services/cloud/QrTickets.h"
#include "support/CallContext.h"
#include "support/LogCatcher.h"
#include "support/OwnProcess.h"
#include "support/Packages.h"
#include "tarn/keys/CloudKeys.h"
#include "tarn/link/CloudWire.h"
#include <QRegularExpression>
#include <QTcpSocket>
#include <QTest>
#include <QUrl>
#include <future>
#include <sys/fsuid.h>
#include <tuple>
#include <unistd.h>
#include <vector>

using namespace tarn;
using rpc::CallResult;
namespace key = tarn::cloud::key;
namespace code = tarn::cloud::code;
namespace wire = tarn::link::wire;

namespace {

const QString Name = QStringLiteral("张三");
const QString Password = QStringLiteral("p\"ass 词");
const QString Phone = QStringLiteral("13800000001");
const QString Other = QStringLiteral("13800000002");
const QByteArray QrConsent("decision=confirm&identity=wx%2B1%26");
const QString Wrong = QStringLiteral("动态密码错误");
const QString Expired = QStringLiteral("动态密码已失效，请重新获取");
const QString Unknown = QStringLiteral("该手机号尚未注册"); // the code itself was right
constexpr qint64 Minute = 60'000;

struct Reply
{
    int status = 0;
    QByteArray head;
    QString body;
};

// Sends raw bytes; what comes back until the server closes.
Reply exchange(int port, const QByteArray &request)
{
    QTcpSocket socket;
    socket.connectToHost("127.0.0.1", static_cast<quint16>(port));
    QByteArray all;
    if (socket.waitForConnected() && socket.write(request) == request.size()) {
        while (socket.waitForReadyRead(20000))
            all += socket.readAll();
    }

    const int gap = all.indexOf("\r\n\r\n");
    return {all.mid(9, 3).toInt(), all.left(gap), QString::fromUtf8(all.mid(gap + 4))};
}

} // namespace

// Accounts, sessions, codes and pages of the cloud account service, on a clock that the test sets.
class TestCloudService final : public QObject
{
    Q_OBJECT
private slots:
    void init()
    {
        m_service.reset();
        m_now = 1'700'000'000'000;
        m_directory = std::make_unique<QTemporaryDir>();
        start();
        QVERIFY(call(wire::method::AddAccount, {{key::User, Name},
                                                {key::Password, Password},
                                                {key::Phone, Phone},
                                                {wire::Weixin, "wx+1&"},
                                                {wire::Qq, "12345"}})
                    .accepted);
    }

    void signsInByAccount()
    {
        const auto add = [&](const QString &name, const QString &phone = {}) {
            return call(wire::method::AddAccount, {{key::User, name}, {key::Password, "p"}, {key::Phone, phone}})
                .retCode;
        };
        QCOMPARE(add(Name), code::Refused);
        QCOMPARE(add("b", Phone), code::Refused);
        for (const uint sign : {0x1fu, 0x202eu, 0x200bu, 0x2028u, 0xe0041u}) // they would hide or turn text
            QCOMPARE(add("b" + QString::fromUcs4(&sign, 1) + "c"), code::InvalidArgs);
        QCOMPARE(add("b"), code::Ok);
        QCOMPARE(add("c"), code::Ok); // two without a phone

        for (const QString &user :
             {QString("nobody"), QString("'\"\0;--"), Name}) // does not reveal which accounts there are
            QCOMPARE(signIn(user, "nonsense").errorText, QString("账号或密码错误"));
        const qint64 before = own::processorMs();
        signIn("nobody", "nonsense");
        QVERIFY(own::processorMs() - before > 5); // nor does the time of an answer: a hash takes about 50 ms
        QCOMPARE(signIn(Name, Password).retCode, code::Ok);
        QCOMPARE(state(), 2);
        QVERIFY(lock()); // ends the session
        QCOMPARE(state(), 0);
        QCOMPARE(signIn(Name, "nonsense").retCode, code::Refused);
        const auto locked = signIn(Name, Password);
        QCOMPARE(locked.retCode, code::LockRefused);
        QVERIFY(locked.errorText != signIn(Name, Password, {{key::YunLockErrorTip, true}}).errorText);
        QVERIFY(lock(false));
        QVERIFY(signIn(Name, Password).accepted);
        QVERIFY(call(wire::method::RemoveAccount, {{key::User, "b"}}).accepted);
        QCOMPARE(state(), 2);
        QVERIFY(call(wire::method::RemoveAccount, {{key::User, Name}}).accepted);
        QCOMPARE(state(), 0);
        QCOMPARE(call(wire::method::RemoveAccount, {{key::User, Name}}).retCode, code::Refused);
        QCOMPARE(call(wire::method::ListAccounts).output.list.size(), 1);
    }

    // A new code each minute would otherwise allow thousands of tries a day.
    void codesAndTriesEnd()
    {
        QCOMPARE(send(), QString());
        QString code = lastCode();
        QVERIFY(!packages::readFile(file("cloud.db-wal")).contains(code.toLatin1()));
        m_now += Minute - 1000;
        QCOMPARE(send(), QString("动态密码发送过于频繁，请1秒后再试"));
        m_now += 4 * Minute + 999;
        QCOMPARE(check(code, Other), Expired);
        QCOMPARE(check(code), QString());
        QCOMPARE(state(), 2);
        QCOMPARE(memory().value(key::LoginModel).toInt(), 0);
        QCOMPARE(check(code), Expired); // used up
        QVERIFY(outbox().isEmpty());
        QCOMPARE(send(), QString());
        code = lastCode();
        m_now += 5 * Minute;
        QCOMPARE(check(code), Expired);
        QCOMPARE(send(), QString());
        m_now -= 100 * Minute; // the clock was set back
        QVERIFY(outbox().isEmpty());

        QCOMPARE(send(), QString());
        code = lastCode();
        const QString guess = code == "000000" ? "000001" : "000000";
        for (const QString &wrong : {guess, QString(), code + '0', QString(10000, u'7'), guess})
            QCOMPARE(check(wrong), Wrong);
        QCOMPARE(check(code), Expired);
        for (int tries = 5; tries < 20; ++tries) {
            m_now += Minute;
            QCOMPARE(send(), QString());
            QCOMPARE(check("x"), Wrong);
        }
        start(); // also for the next process
        QVERIFY(check(lastCode()).contains("次数过多"));
        QCOMPARE(send(Other), QString());
        QCOMPARE(check(lastCode(), Other), Unknown); // other phones are not concerned
        m_now += 24 * 60 * Minute;
        QCOMPARE(send(), QString());
        QCOMPARE(check(lastCode()), QString());
    }

    void remembersWhatWasAsked()
    {
        const auto remembered = [this] {
            const QVariantMap map = memory();
            return QVariantList{map.value(key::StoredAccount), map.value(key::StoredPassword),
                                map.value(key::RememberPassword), map.value(key::AutoLoginStored)};
        };
        QCOMPARE(memory().value(key::LoginModel).toInt(), 1);
        const QVariantList nothing{"", "", false, false};
        const QVariantList all{Name, Password, true, true};
        QCOMPARE(remembered(), nothing);
        QVERIFY(signIn(Name, Password, {{key::Remember, true}, {key::AutoLogin, true}}).accepted);
        QCOMPARE(remembered(), all);
        for (const QFileInfo &info : QDir(m_directory->path()).entryInfoList({"cloud.*"}, QDir::Files)) {
            QVERIFY((info.permissions() & (QFile::ReadGroup | QFile::ReadOther)) == 0); // whatever the umask
            const QByteArray bytes = packages::readFile(info.filePath());
            const auto *utf16 = reinterpret_cast<const char *>(Password.utf16());
            QVERIFY(!bytes.contains(Password.toUtf8()));
            QVERIFY(!bytes.contains(QByteArray(utf16 + 1, 2 * Password.size() - 2))); // of either byte order
        }
        QVERIFY(signIn(Name, Password).accepted);
        QCOMPARE(remembered(), (QVariantList{Name, "", false, false})); // the name in any case
        QVERIFY(signIn(Name, Password, {{key::AutoLogin, true}}).accepted);
        QCOMPARE(remembered(), all); // an automatic sign-in needs the password
        QVERIFY(call(wire::method::RemoveAccount, {{key::User, Name}}).accepted);
        QCOMPARE(remembered(), nothing);
    }

    void signsInAgain()
    {
        const auto restarted = [this] {
            start();
            return state();
        };
        QVERIFY(signIn(Name, Password, {{key::Remember, true}}).accepted);
        QCOMPARE(restarted(), 0);
        QVERIFY(signIn(Name, Password, {{key::AutoLogin, true}}).accepted);
        QCOMPARE(restarted(), 5);
        QVERIFY(call("Logout").accepted);
        QCOMPARE(restarted(), 0);
        QVERIFY(memory().value(key::AutoLoginStored).toBool()); // the boxes stay as the user left them
        post(phoneOf(qrUrl()), QrConsent);
        QVERIFY(call("QueryQRCodeResult", {{key::RandomCode, m_randomCode}, {key::AutoLogin, true}}).accepted);
        QCOMPARE(restarted(), 5);
        const QByteArray sealed =
            services::CloudStore(m_directory->path()).value("SELECT sealed FROM remembered").toByteArray();
        QVERIFY(call(wire::method::RemoveAccount, {{key::User, Name}}).accepted);
        QVERIFY(call(wire::method::AddAccount, {{key::User, Name}, {key::Password, Password}}).accepted);
        QCOMPARE(restarted(), 0);
        services::CloudStore(m_directory->path()).run("INSERT OR REPLACE INTO remembered VALUES(1, ?)", {sealed});
        QCOMPARE(restarted(), 0); // another account of the same name
    }

    void badKeysCountAsNone()
    {
        const std::function<bool()> faults[] = {
            [this] { return QFile::setPermissions(file("cloud.key"), QFile::ReadOwner | QFile::ReadOther); },
            [this] { return packages::writeFile(file("cloud.key"), QByteArray(200, 'x')); },
            [this] {
                return QFile::rename(file("cloud.key"), file("sound")) && QFile::link(file("sound"), file("cloud.key"));
            }};
        for (const auto &damage : faults) {
            QVERIFY(signIn(Name, Password).accepted);
            QCOMPARE(memory().value(key::StoredAccount).toString(), Name);
            QVERIFY(damage());
            start();
            QCOMPARE(memory().value(key::StoredAccount).toString(), QString());
        }
        QCOMPARE(QDir(m_directory->path()).entryList({"cloud.key.broken-*"}).size(), 3); // kept
    }

    // A key that cannot be read may be sound: it is left alone, and calls that need it are refused.
    void keysThatCannotBeRead()
    {
        m_service.reset();
        QVERIFY(QFile::setPermissions(file("cloud.key"), QFile::Permissions()));
        if (::geteuid() == 0) { // root reads every file
            for (const QFileInfo &info : QDir(m_directory->path()).entryInfoList({"cloud.db*"}, QDir::Files))
                QVERIFY(QFile::setPermissions(info.filePath(), QFile::Permissions(0x6666)));
            QVERIFY(QFile::setPermissions(m_directory->path(), QFile::Permissions(0x7777)));
            QCOMPARE(::seteuid(65534), 0); // every thread
        }
        const LogCatcher log;
        start();
        const QStringList refusals{call("GetMemoryLoginInfo").errorText, send()};
        const int accounts = call(wire::method::ListAccounts).output.list.size();
        QCOMPARE(::seteuid(::getuid()), 0);
        const QString broken = "云账号服务暂时不可用";
        QCOMPARE(refusals, (QStringList{broken, broken}));
        QCOMPARE(accounts, 1);
        QVERIFY(!log.texts().filter("cloud.key: ").isEmpty());
        QVERIFY(QFile::exists(file("cloud.key")));
    }

    void ticketsEnd()
    {
        using services::QrState;
        using services::QrTickets;
        QrTickets tickets([this] { return m_now; });
        const QString first = tickets.open(services::way::Weixin, "c");
        const QString second = tickets.open(services::way::Weixin, "c");
        tickets.decide(first, "x");
        QCOMPARE(tickets.view(first).state, QrState::Expired);
        tickets.decide(second, "x");
        tickets.decide(second, {});
        m_now += QrTickets::LifetimeMs - 1;
        QCOMPARE(tickets.view(second).state, QrState::Confirmed); // can still be fetched
        m_now += 1;
        QCOMPARE(tickets.take("c").state, QrState::Expired);
        tickets.decide(tickets.open(services::way::Qq, "refused"), {});
        m_now += QrTickets::LifetimeMs;
        QCOMPARE(tickets.take("refused").state, QrState::Refused); // a decision that stays
        QStringList names;
        for (int i = 0; i < 65; ++i, ++m_now)
            names << tickets.open(services::way::Qq, QString::number(i));
        QVERIFY(tickets.view(second).name.isEmpty() && tickets.view(names[0]).name.isEmpty()); // the oldest make room
        QCOMPARE(tickets.view(names[1]).state, QrState::Waiting);
    }

    void signsInByQr()
    {
        const auto decided = [this](const QString &type, const QByteArray &form) {
            call("Logout");
            const QUrl url = qrUrl(type);
            return !url.toString().contains(m_randomCode) && poll().retCode == code::QrWaiting &&
                   post(phoneOf(url), form).status == 303;
        };
        const QString weixin = "weixindenglu", qq = "qqdenglu";
        QCOMPARE(poll().retCode, code::QrExpired); // nothing was asked for yet
        const std::tuple<QString, QByteArray, int> ends[] = {
            {weixin, "decision=confirm&identity=+wx%2B1%26+", code::Ok},
            {qq, "identity=12345&decision=confirm", code::Ok},
            {weixin, "identity=12345&decision=confirm", code::WeixinUnbound},
            {qq, "identity=12345&decision=refuse", code::QrRefused},
        };
        for (const auto &[type, form, expected] : ends) {
            QVERIFY(decided(type, form));
            const CallResult result = poll();
            QCOMPARE(result.retCode, expected);
            QCOMPARE(state(), expected == code::Ok ? 2 : 0);
            QCOMPARE(result.output.values.value(key::Token).toString().size(), expected == code::Ok ? 64 : 0);
            QCOMPARE(poll().retCode, code::QrExpired); // an end is reported once
            QCOMPARE(call("QueryQRCodeResult", {{key::RandomCode, ""}}).retCode, code::QrExpired);
        }
        for (const QByteArray &form : {QByteArray("%%%&&==\xff"), QByteArray("decision=confirm&identity=a%00b"),
                                       "decision=confirm&identity=" + QByteArray(300, 'a')}) {
            QVERIFY(decided(qq, form));
            m_now += 3 * Minute - 1;
            QCOMPARE(poll().retCode, code::QrWaiting);
            m_now += 1;
            QCOMPARE(poll().retCode, code::QrExpired);
        }
    }

    void someCallersSignNobodyIn()
    {
        post(phoneOf(qrUrl()), QrConsent);
        QVERIFY(lock());
        QCOMPARE(poll().retCode, code::LockRefused);
        QVERIFY(lock(false));

        CallContext ended;
        ended.hasEnded = [] { return true; };
        const rpc::Bag input{{{key::User, Name}, {key::Password, Password}, {key::Remember, true}}, {}};
        QVERIFY(!m_service->invoke("LoginByAccount", input, ended).accepted);
        post(phoneOf(qrUrl()), QrConsent);
        QVERIFY(!m_service->invoke("QueryQRCodeResult", {{{key::RandomCode, m_randomCode}}, {}}, ended).accepted);
        QCOMPARE(state(), 0);
        QCOMPARE(memory().value(key::StoredAccount).toString(), QString());
    }

    void hashingIsBounded()
    {
        std::vector<std::future<QString>> answers(12);
        for (auto &answer : answers)
            answer = std::async(std::launch::async, [this] { return signIn(Name, Password).errorText; });
        int busy = 0;
        for (auto &answer : answers) {
            const QString text = answer.get();
            busy += text.isEmpty() ? 0 : 1;
            QVERIFY2(text.isEmpty() || text == "服务繁忙，请稍后再试", qPrintable(text));
        }
        QVERIFY2(busy > 0 && busy < int(answers.size()), qPrintable(QString::number(busy)));
        QVERIFY(signIn(Name, Password).accepted);
    }

    void showsTheQrPage()
    {
        const LogCatcher log;
        const QUrl url = qrUrl();
        const Reply page = get(url);
        QVERIFY(page.body.contains("<svg") && page.body.contains("微信扫码登录"));
        const auto nonce =
            QRegularExpression("script-src 'nonce-([0-9a-f]{32})'").match(QString::fromLatin1(page.head)).captured(1);
        QVERIFY(page.body.contains("<script nonce=\"" + nonce + "\">") && !get(url).head.contains(nonce.toLatin1()));
        for (const char *header : {"default-src 'none'", "frame-ancestors 'none'", "no-store", "nosniff"})
            QVERIFY2(page.head.contains(header), page.head.constData());
        QVERIFY(get(phoneOf(url)).body.contains("<form"));
        QCOMPARE(post(phoneOf(url), "decision=confirm&identity=%3Cscript%3E").status, 303);
        QVERIFY(isWaiting(url)); // until the dialog has asked
        QCOMPARE(poll().retCode, code::WeixinUnbound);
        QVERIFY(get(url).body.contains("尚未绑定"));
        QVERIFY(!isWaiting(url));
        QVERIFY(!get(phoneOf(url)).body.contains("<form"));
        for (const QString &line : log.texts())
            QVERIFY2(!line.contains(m_randomCode) && !line.contains(url.fileName()), qPrintable(line));
    }

    void otherUsersAreRefused()
    {
        if (::geteuid() != 0)
            QSKIP("only root can open a connection as another user");
        const QUrl url = qrUrl();
        const int self = ::setfsuid(65534); // this thread alone: sockets that it makes are another user's
        const LogCatcher log;
        const Reply reply = get(url);
        get(url);
        ::setfsuid(static_cast<uid_t>(self));
        QCOMPARE(reply.status, 0);
        QCOMPARE(get(url).status, 200);
        QCOMPARE(log.texts().filter("were refused").size(), 1);
    }

    void pagesRefuse()
    {
        const QUrl url = qrUrl();
        const QByteArray ticket = url.fileName().toLatin1(), host = url.authority().toLatin1();
        const QByteArray tail = "\r\nConnection: close\r\n";
        const QByteArray own = " HTTP/1.1\r\nHost: " + host + tail;
        const QByteArray post = "POST /phone/" + ticket + own;
        const QByteArray refusal = "Content-Length: 15\r\n\r\ndecision=refuse";
        const QByteArray page = "GET /qr/" + ticket;
        const QPair<QByteArray, int> requests[] = {
            {page + " HTTP/1.1\r\nHost: evil.example" + tail + "\r\n", 421},
            {post + "Origin: http://evil.example\r\n" + refusal, 403},
            {post + refusal, 403},
            {post + "Origin: http://" + host + "\r\nContent-Length: 99999999\r\n\r\n", 413},
            {post + "Origin: http://" + host + "\r\nTransfer-Encoding: chunked\r\n\r\n2000\r\n" +
                 QByteArray(0x2000, 'a') + "\r\n0\r\n\r\n",
             0}, // the connection ends
            {"DELETE /phone/" + ticket + own + "\r\n", 405},
            {"GET /phone/" + ticket + "?decision=refuse" + own + "\r\n", 200},
            {"POST /qr/" + ticket + own + "Origin: http://" + host + "\r\n" + refusal, 404},
            {"GET /qr/00000000000000000000000000000000" + own + "\r\n", 404},
            {page + "%0a" + own + "\r\n", 404},
            {page + own + "X: " + QByteArray(100000, 'a') + "\r\n\r\n", 431},
        };
        for (const auto &[request, status] : requests) {
            QVERIFY2(exchange(url.port(), request).status == status, request.left(100).constData());
            QVERIFY2(isWaiting(url), request.left(100).constData()); // nothing was decided
        }
    }

    void links()
    {
        const auto link = [&](const QString &linkKey) { return call("GetLinkAddress", {{key::LinkKey, linkKey}}); };
        for (const QString &linkKey : {key::LinkRegister, key::LinkForgetPassword, key::LinkBindAccount}) {
            const Reply page = get(QUrl(link(linkKey).output.values.value(key::LinkUrl).toString()));
            QCOMPARE(page.status, 200);
            QVERIFY(page.body.contains("tarnctl cloud account add"));
        }
        QCOMPARE(link("FC_OTHER").retCode, code::Refused);
        packages::writeFile(file("cfg.ini"), "[cloud]\nFC_ACCOUNT_004=https://example.org/?a=1,2\n"
                                             "FC_ACCOUNT_005=file:///etc/passwd\nFC_CUSTOM_001=https:///x\n");
        const LogCatcher log;
        start(services::configuredLinks(m_directory->path()));
        QCOMPARE(link(key::LinkRegister).output.values.value(key::LinkUrl), QVariant("https://example.org/?a=1,2"));
        QVERIFY(
            link(key::LinkForgetPassword).output.values.value(key::LinkUrl).toString().startsWith("http://127.0.0.1"));
        for (const QString &name : QStringList{"cloud/FC_ACCOUNT_005", "cloud/FC_CUSTOM_001"})
            QCOMPARE(log.texts().filter(name).size(), 1);
    }

    // Each key in turn is missing, of a wrong type, huge.
    void refusesWhatIsWrong()
    {
        const QHash<QString, QVariantMap> methods{{"LoginByAccount", {{key::User, "x"}, {key::Password, "x"}}},
                                                  {"LoginByPhone", {{key::Phone, Phone}, {key::Code, "x"}}},
                                                  {"SendVerificationCode", {{key::Phone, Phone}}},
                                                  {"GetQRCodeUrl", {{key::QrType, "qqdenglu"}, {key::RandomCode, "x"}}},
                                                  {"QueryQRCodeResult", {{key::RandomCode, "x"}}},
                                                  {"GetLinkAddress", {{key::LinkKey, "x"}}},
                                                  {wire::method::AddAccount, {{key::User, "x"}, {key::Password, "x"}}},
                                                  {wire::method::LockAccount, {{key::User, "x"}}}};
        for (auto it = methods.cbegin(); it != methods.cend(); ++it) {
            for (const QString &each : it->keys()) {
                for (const QVariant &bad : {QVariant(), QVariant(17), QVariant(QString(1'000'000, u'词'))}) {
                    QVariantMap values = *it;
                    values.insert(each, bad);
                    const CallResult result = call(it.key(), values);
                    QVERIFY2(result.retCode == code::InvalidArgs && !result.errorText.isEmpty() &&
                                 result.errorText.size() < 200,
                             qPrintable(it.key() + ' ' + each));
                }
            }
        }
        QCOMPARE(signIn("x", "x", {{key::YunLockErrorTip, "true"}}).retCode, code::InvalidArgs);
        for (const QString &bad : QStringList{"1380000000", "138000000012", "１３８００００００１１", " 3800000001"})
            QCOMPARE(call("SendVerificationCode", {{key::Phone, bad}}).retCode, code::InvalidArgs);
        QCOMPARE(call("NoSuchMethod").error.code, int(rpc::RpcError::NotFound));
    }

private:
    void start(const QHash<QString, QString> &links = {})
    {
        m_service.reset();
        m_service = services::makeCloudService(m_directory->path(), links, [this] { return m_now; });
    }

    CallResult call(const QString &method, const QVariantMap &values = {})
    {
        return m_service->invoke(method, {values, {}}, CallContext());
    }

    CallResult signIn(const QString &user, const QString &password, QVariantMap flags = {})
    {
        flags.insert(key::User, user);
        flags.insert(key::Password, password);
        return call("LoginByAccount", flags);
    }

    bool lock(bool on = true)
    {
        return call(wire::method::LockAccount, {{key::User, Name}, {wire::Locked, on}}).accepted;
    }

    QString send(const QString &phone = Phone) { return call("SendVerificationCode", {{key::Phone, phone}}).errorText; }
    QString check(const QString &code, const QString &phone = Phone)
    {
        return call("LoginByPhone", {{key::Phone, phone}, {key::Code, code}}).errorText;
    }

    QVariantList outbox() { return call(wire::method::ListOutbox).output.list; }
    QString lastCode() { return outbox().value(0).toMap().value(key::Code).toString(); }
    QString file(const QString &name) const { return m_directory->filePath(name); }
    CallResult poll() { return call("QueryQRCodeResult", {{key::RandomCode, m_randomCode}}); }
    int state() { return call("GetLoginState").output.values.value(key::LoginState, -1).toInt(); }
    QVariantMap memory() { return call("GetMemoryLoginInfo").output.values; }
    QUrl qrUrl(const QString &type = "weixindenglu")
    {
        const auto result = call("GetQRCodeUrl", {{key::QrType, type}, {key::RandomCode, m_randomCode}});
        return QUrl(result.output.values.value(key::QrUrl).toString());
    }

    static QUrl phoneOf(const QUrl &qr) { return QUrl(qr.toString().replace("/qr/", "/phone/")); }
    static bool isWaiting(const QUrl &qr) { return get(qr).body.contains("data-waits>"); }
    static Reply get(const QUrl &url)
    {
        return exchange(url.port(), "GET " + url.path().toLatin1() + " HTTP/1.1\r\nHost: " +
                                        url.authority().toLatin1() + "\r\nConnection: close\r\n\r\n");
    }

    static Reply post(const QUrl &url, const QByteArray &form)
    {
        const QByteArray own = url.authority().toLatin1();
        return exchange(url.port(), "POST " + url.path().toLatin1() + " HTTP/1.1\r\nHost: " + own +
                                        "\r\nOrigin: http://" + own + "\r\nContent-Length: " +
                                        QByteArray::number(form.size()) + "\r\nConnection: close\r\n\r\n" + form);
    }

    const QString m_randomCode = "0badc0de";
    qint64 m_now = 0;
    std::unique_ptr<QTemporaryDir> m_directory;
    QSharedPointer<rpc::IInvocable> m_service;
};

QTEST_GUILESS_MAIN(TestCloudService)
#include "tst_CloudService.moc"
