#include "services/Files.h"
#include "services/Services.h"
#include "services/cloud/CloudPages.h"
#include "services/cloud/OneTimeCodes.h"
#include "tarn/keys/CloudKeys.h"
#include "tarn/link/CloudWire.h"
#include <QScopeGuard>
#include <QSemaphore>
#include <QSettings>
#include <QUrl>
#include <algorithm>
#include <atomic>
#include <memory>

namespace tarn::services {

using namespace cloud;
using rpc::CallResult;
namespace wire = link::wire;

namespace {

constexpr int TokenBytes = 32;
constexpr int AccountIdBytes = 16;
constexpr int MaxRandomCode = 64; // characters
const QString Broken = QStringLiteral("云账号服务暂时不可用");
const QStringList LinkKeys{key::LinkRegister, key::LinkForgetPassword, key::LinkBindAccount};

// Refuses the request with a text for the user unless the condition holds.
void demand(bool holds, const QString &text, int refusal = code::Refused)
{
    if (!holds)
        throw Refusal(refusal, text);
}

// The flags of every sign-in. An automatic sign-in includes that its data are remembered.
struct SignInFlags
{
    explicit SignInFlags(const Request &request)
        : autoLogin(request.flag(key::AutoLogin))
        , remember(request.flag(key::Remember) || autoLogin)
        , lockTip(request.flag(key::YunLockErrorTip))
    {
    }
    bool autoLogin;
    bool remember;
    bool lockTip; ///< the user reads how to unlock a locked account
};

// A text without blanks around it and without invisible characters.
QString plain(const QString &key, const QString &text)
{
    require(text == text.trimmed() && text.size() <= ValueReader::MaxName && isPlainText(text),
            QStringLiteral("%1: expected up to %2 characters, no blanks around them and no control characters")
                .arg(key, QString::number(ValueReader::MaxName)));
    return text;
}

bool isPhone(const QString &text)
{
    constexpr int Digits = 11;
    return text.size() == Digits &&
           std::all_of(text.cbegin(), text.cend(), [](QChar c) { return c >= u'0' && c <= u'9'; });
}

QString readUser(const Request &request)
{
    return plain(key::User, request.name(key::User));
}

CloudAccount readAccount(const Request &request)
{
    CloudAccount account;
    account.name = readUser(request);
    account.phone = request.optionalText(key::Phone);
    require(account.phone.isEmpty() || isPhone(account.phone),
            QStringLiteral("%1: expected 11 digits").arg(key::Phone));
    account.weixin = plain(wire::Weixin, request.optionalText(wire::Weixin));
    account.qq = plain(wire::Qq, request.optionalText(wire::Qq));
    return account;
}

class CloudService final : public Dispatcher<CloudService>
{
public:
    CloudService(const QString &directory, const QHash<QString, QString> &links, Clock clock)
        : Dispatcher({QStringLiteral("cloud account"), code::Ok, code::Refused, code::InvalidArgs, Broken},
                     {
                         {QStringLiteral("GetLoginState"), &CloudService::loginState},
                         {QStringLiteral("GetMemoryLoginInfo"), &CloudService::memory},
                         {QStringLiteral("SendVerificationCode"), &CloudService::sendCode},
                         {QStringLiteral("LoginByPhone"), &CloudService::loginByPhone},
                         {QStringLiteral("LoginByAccount"), &CloudService::loginByAccount},
                         {QStringLiteral("GetQRCodeUrl"), &CloudService::qrCodeUrl},
                         {QStringLiteral("QueryQRCodeResult"), &CloudService::qrCodeResult},
                         {QStringLiteral("GetLinkAddress"), &CloudService::linkAddress},
                         {QStringLiteral("Logout"), &CloudService::logout},
                         {wire::method::AddAccount, &CloudService::addAccount},
                         {wire::method::RemoveAccount, &CloudService::removeAccount},
                         {wire::method::ListAccounts, &CloudService::listAccounts},
                         {wire::method::LockAccount, &CloudService::lockAccount},
                         {wire::method::ListOutbox, &CloudService::listOutbox},
                         {wire::method::CloudStatus, &CloudService::status},
                     })
        , m_links(links)
        , m_clock(std::move(clock))
        , m_store(directory)
        , m_codes(&m_store, m_clock)
        , m_tickets(m_clock)
    {
        const QString error = errorOf([this] { signInAgain(); });
        if (!error.isEmpty())
            qCInfo(servicesLog).noquote() << QStringLiteral("the user is not signed in again: %1").arg(error);
    }

private:
    struct Session
    {
        QString account; ///< empty: signed out
        QString way;
        int state = 0;
        qint64 since = 0;
    };

    CallResult memory(const Request &)
    {
        const RememberedSignIn memory = m_store.remembered();
        return ok({{key::LoginModel, memory.model},
                   {key::AutoLoginStored, memory.autoLogin},
                   {key::RememberPassword, memory.keepsPassword},
                   {key::RememberPhone, memory.keepsPhone},
                   {key::StoredAccount, memory.account},
                   {key::StoredPassword, memory.password},
                   {key::StoredPhone, memory.phone}});
    }

    // Lasts as long as a sign-in is being checked.
    auto checking()
    {
        ++m_signingIn;
        return qScopeGuard([this] { --m_signingIn; });
    }

    // Runs work in one of the places for hashing, which takes much memory and time: many sign-ins at once must not
    // occupy every RPC worker.
    template <class Work>
    auto hashing(Work work)
    {
        demand(m_hashPlaces.tryAcquire(), QStringLiteral("服务繁忙，请稍后再试"));
        const QSemaphoreReleaser place(m_hashPlaces);
        return work();
    }

    CallResult sendCode(const Request &request)
    {
        const QString phone = request.text(key::Phone);
        require(isPhone(phone), QStringLiteral("手机号填写不正确"));
        const QString refusal = m_codes.send(phone);
        demand(refusal.isEmpty(), refusal);
        return ok();
    }

    CallResult loginByPhone(const Request &request)
    {
        const QString phone = request.text(key::Phone);
        const Secret code(request.text(key::Code));
        const SignInFlags flags(request);

        const auto leave = checking();
        const QString refusal = m_codes.check(phone, code);
        demand(refusal.isEmpty(), refusal);
        const auto account = m_store.find(way::Phone, phone);
        demand(account.has_value(), QStringLiteral("该手机号尚未注册")); // the caller has proved that the phone is his
        enter(*account, way::Phone, flags, request);
        remember([&](RememberedSignIn &memory) {
            memory.model = RememberedSignIn::Phone;
            memory.keepsPhone = flags.remember;
            memory.phone = flags.remember ? phone : QString();
            memory.setAuto(flags.autoLogin, *account, way::Phone);
        });
        return ok();
    }

    CallResult loginByAccount(const Request &request)
    {
        const QString name = request.text(key::User);
        const Secret password(request.text(key::Password));
        const SignInFlags flags(request);

        const auto leave = checking();
        const auto account = m_store.find(way::Account, name);
        demand(hashing([&] { return isPassword(account ? account->passwordHash : QByteArray(), password); }),
               QStringLiteral("账号或密码错误"));
        enter(*account, way::Account, flags, request);
        remember([&](RememberedSignIn &memory) {
            memory.model = RememberedSignIn::Account;
            memory.account = account->name; // the dialog shows it in any case
            memory.keepsPassword = flags.remember;
            wipe(&memory.password);
            memory.password = flags.remember ? password.toText() : QString();
            memory.setAuto(flags.autoLogin, *account, way::Account);
        });
        return ok();
    }

    CallResult qrCodeUrl(const Request &request)
    {
        const QString type = request.text(key::QrType);
        const QString randomCode = request.text(key::RandomCode, MaxRandomCode);
        const bool weixin = type == QLatin1String("weixindenglu");
        require(weixin || type == QLatin1String("qqdenglu"),
                QStringLiteral("%1: expected weixindenglu or qqdenglu").arg(key::QrType));
        require(!randomCode.isEmpty(), QStringLiteral("%1 is empty").arg(key::RandomCode));
        const QString address = pageAddress(QStringLiteral("/qr/"), QStringLiteral("扫码登录页面无法打开"));
        return ok({{key::QrUrl, address + m_tickets.open(weixin ? way::Weixin : way::Qq, randomCode)}});
    }

    CallResult qrCodeResult(const Request &request)
    {
        const QString randomCode = request.text(key::RandomCode);
        const SignInFlags flags(request);
        const QrTickets::Ticket outcome = m_tickets.take(randomCode);
        if (outcome.state == QrState::Waiting) {
            CallResult waiting = ok();
            waiting.retCode = code::QrWaiting;
            return waiting;
        }
        demand(outcome.state != QrState::Refused, QStringLiteral("您已在手机上取消登录"), code::QrRefused);
        demand(outcome.state != QrState::Expired, QStringLiteral("二维码已过期，请重新获取"), code::QrExpired);
        try {
            enterByQr(outcome, flags, request);
        } catch (const Failure &failure) {
            m_tickets.setResult(outcome.name, dynamic_cast<const Refusal *>(&failure) ? failure.text() : Broken);
            throw;
        }
        m_tickets.setResult(outcome.name, QStringLiteral("登录成功，可以关闭此页面"));
        return ok({{key::Token, randomHex(TokenBytes)}});
    }

    void enterByQr(const QrTickets::Ticket &outcome, const SignInFlags &flags, const Request &request)
    {
        const bool weixin = outcome.way == way::Weixin;
        const auto account = m_store.find(outcome.way, outcome.identity);
        demand(account.has_value(), weixin ? QStringLiteral("该微信尚未绑定账号") : QStringLiteral("该QQ尚未绑定账号"),
               weixin ? code::WeixinUnbound : code::QqUnbound);
        enter(*account, outcome.way, flags, request);
        remember([&](RememberedSignIn &memory) { memory.setAuto(flags.autoLogin, *account, outcome.way); });
    }

    CallResult linkAddress(const Request &request)
    {
        const QString linkKey = request.text(key::LinkKey);
        demand(LinkKeys.contains(linkKey), QStringLiteral("没有这个链接"));
        const QString configured = m_links.value(linkKey);
        return ok({{key::LinkUrl,
                    configured.isEmpty() ? pageAddress(AccountPath, QStringLiteral("页面无法打开")) : configured}});
    }

    QString pageAddress(const QString &path, const QString &onFailure)
    {
        const QMutexLocker lock(&m_serverLock);
        try {
            if (!m_server)
                m_server = std::make_unique<LoopbackServer>(
                    [this](const PageRequest &request) { return cloudPage(m_tickets, request); });
        } catch (const Failure &failure) {
            qCWarning(servicesLog).noquote() << failure.text();
            throw Refusal(code::Refused, onFailure);
        }
        return m_server->address() + path;
    }

    // Changes the remembered data; a failure costs a log line.
    void remember(const std::function<void(RememberedSignIn &)> &change)
    {
        const QString error = errorOf([&] {
            m_store.inTransaction([&] {
                RememberedSignIn memory = m_store.remembered();
                change(memory);
                m_store.remember(memory);
            });
        });
        if (!error.isEmpty())
            qCWarning(servicesLog).noquote() << QStringLiteral("the sign-in cannot be remembered: %1").arg(error);
    }

    // The user is asked again when the account was removed, replaced or locked.
    void signInAgain()
    {
        const RememberedSignIn memory = m_store.remembered();
        if (memory.autoAccount.isEmpty())
            return;
        const auto account = m_store.find(way::Account, memory.autoAccount);
        bool isSame = account && account->id == memory.autoId && !account->locked;
        if (isSame && memory.autoWay == way::Account)
            isSame = isPassword(account->passwordHash, Secret(memory.password));
        else if (isSame && memory.autoWay == way::Phone)
            isSame = account->phone == memory.phone;
        failIf(!isSame, QStringLiteral("the account has changed"));
        m_session = {account->name, memory.autoWay, loginstate::Restored, m_clock()};
    }

    // Signs the user in. Throws Refusal when the account was removed or locked meanwhile or the caller no longer waits.
    void enter(const CloudAccount &account, const QString &way, const SignInFlags &flags, const Request &request)
    {
        const QMutexLocker lock(&m_sessionLock); // removals and locks hold it too
        const auto current = m_store.find(way::Account, account.name);
        demand(current && current->id == account.id, QStringLiteral("该账号已被删除"));
        const QString locked = QStringLiteral("该账号已被云锁锁定，登录被拒绝");
        demand(!current->locked, flags.lockTip ? locked + QStringLiteral("，请联系管理员解除云锁后再试") : locked,
               code::LockRefused);
        demand(!request.context.isCancelled(), QStringLiteral("登录已取消"));
        m_session = {account.name, way, loginstate::SignedIn, m_clock()};
    }

    // Ends the session, or only one of this account.
    void endSession(const QString &account = {})
    {
        const QMutexLocker lock(&m_sessionLock);
        if (account.isEmpty() || m_session.account == account)
            m_session = {};
    }

    Session session()
    {
        QMutexLocker lock(&m_sessionLock);
        Session session = m_session;
        lock.unlock();
        if (session.account.isEmpty() && m_signingIn > 0)
            session.state = loginstate::Checking;
        return session;
    }

    CallResult loginState(const Request &) { return ok({{key::LoginState, session().state}}); }

    CallResult status(const Request &)
    {
        const Session now = session();
        return ok({{key::LoginState, now.state},
                   {key::User, now.account},
                   {wire::Way, now.way},
                   {wire::Since, now.account.isEmpty() ? QString() : timeText(now.since)}});
    }

    CallResult logout(const Request &)
    {
        endSession();
        remember([](RememberedSignIn &memory) { memory.autoAccount.clear(); });
        return ok();
    }

    CallResult addAccount(const Request &request)
    {
        CloudAccount account = readAccount(request);
        const Secret password(request.text(key::Password));
        require(!password.isEmpty(), QStringLiteral("the password is empty"));
        account.passwordHash = hashing([&] { return hashPassword(password); });
        account.id = randomHex(AccountIdBytes);
        demand(m_store.add(account), QStringLiteral("another account has this name, phone, weixin or qq"));
        return ok();
    }

    CallResult removeAccount(const Request &request)
    {
        const QString name = readUser(request);
        const bool known = m_store.remove(name);
        endSession(name);
        remember([&](RememberedSignIn &memory) { memory.forget(name); });
        demand(known, QStringLiteral("no account \"%1\"").arg(name));
        return ok();
    }

    CallResult lockAccount(const Request &request)
    {
        const QString name = readUser(request);
        const bool locked = request.flag(wire::Locked, true);
        const bool known = m_store.setLocked(name, locked);
        if (locked)
            endSession(name);
        demand(known, QStringLiteral("no account \"%1\"").arg(name));
        return ok();
    }

    CallResult listAccounts(const Request &)
    {
        QVariantList list;
        const QList<CloudAccount> accounts = m_store.accounts();
        for (const CloudAccount &account : accounts)
            list.append(QVariantMap{{key::User, account.name},
                                    {key::Phone, account.phone},
                                    {wire::Weixin, account.weixin},
                                    {wire::Qq, account.qq},
                                    {wire::Locked, account.locked}});
        return ok({}, list);
    }

    CallResult listOutbox(const Request &) { return ok({}, m_codes.outbox()); }

    const QHash<QString, QString> m_links; ///< by link key
    const Clock m_clock;
    CloudStore m_store;
    OneTimeCodes m_codes;
    QrTickets m_tickets;
    QSemaphore m_hashPlaces{2}; ///< 64 MiB each
    std::atomic<int> m_signingIn{0};
    QMutex m_sessionLock;
    Session m_session;
    QMutex m_serverLock; ///< guards the server's start
    std::unique_ptr<LoopbackServer> m_server;
};

} // namespace

QHash<QString, QString> configuredLinks(const QString &programDirectory)
{
    QSettings file(settingsFile(programDirectory), QSettings::IniFormat);
    file.setIniCodec("UTF-8");
    QHash<QString, QString> links;
    for (const QString &linkKey : LinkKeys) {
        const QString name = QStringLiteral("cloud/") + linkKey;
        const QString address = iniText(file, name);
        const QUrl url(address, QUrl::StrictMode);
        if (!url.host().isEmpty() && (url.scheme() == QLatin1String("https") || url.scheme() == QLatin1String("http")))
            links.insert(linkKey, address);
        else if (file.contains(name))
            qCWarning(servicesLog).noquote()
                << QStringLiteral("cfg.ini, %1: expected an http or https address; the value is ignored").arg(name);
    }
    return links;
}

QSharedPointer<rpc::IInvocable> makeCloudService(const QString &directory, const QHash<QString, QString> &links,
                                                 const Clock &clock)
{
    return QSharedPointer<CloudService>::create(directory, links, clock);
}

} // namespace tarn::services
