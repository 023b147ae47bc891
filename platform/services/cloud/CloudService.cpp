#include "services/cloud/CloudService.h"
#include "services/Dispatch.h"
#include "services/cloud/CloudInput.h"
#include "services/cloud/CloudPages.h"
#include "services/cloud/CloudStore.h"
#include "services/cloud/OneTimeCodes.h"
#include "services/cloud/RememberedSignIn.h"
#include "tarn/keys/CloudKeys.h"
#include "tarn/link/CloudWire.h"
#include <QScopeGuard>
#include <atomic>
#include <memory>

namespace tarn::services {

using namespace cloud;
using rpc::Bag;
using rpc::CallResult;
namespace wire = link::wire;

namespace {

constexpr int TokenBytes = 32;
constexpr int AccountIdBytes = 16;
constexpr int MaxRandomCode = 64; // characters

const ServiceFamily &family()
{
    static const ServiceFamily family{QStringLiteral("cloud account"), code::Refused, code::InvalidArgs,
                                      QStringLiteral("云账号服务暂时不可用")};
    return family;
}

CallResult ok(const QVariantMap &values = {}, const QVariantList &list = {})
{
    return acceptedWith(code::Ok, {values, list});
}

// For the user.
Refusal refused(const QString &text)
{
    return Refusal(code::Refused, text);
}

void requireKnown(bool known, const QString &name)
{
    if (!known)
        throw refused(QStringLiteral("no account \"%1\"").arg(name));
}

// Runs work in one of the places for hashing.
template <class Work>
auto hashing(Work work)
{
    if (!hashPlaces().tryAcquire())
        throw refused(QStringLiteral("服务繁忙，请稍后再试"));
    const QSemaphoreReleaser place(hashPlaces());
    return work();
}

class CloudService final : public rpc::IInvocable
{
public:
    CloudService(const QString &directory, CloudSettings settings, CloudClock clock)
        : m_settings(std::move(settings))
        , m_clock(std::move(clock))
        , m_vault(directory)
        , m_store(directory)
        , m_codes(&m_store, &m_vault, m_clock)
        , m_tickets(m_clock, m_settings.qrLifetimeMs)
    {
        const QString error = errorOf([this] { signInAgain(); });
        if (!error.isEmpty())
            qCInfo(servicesLog).noquote() << QStringLiteral("the user is not signed in again: %1").arg(error);
    }

    CallResult invoke(const QString &method, const Bag &input, const rpc::ICallContext &context) override
    {
        static const HandlerTable<CloudService> handlers{
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
        };
        return dispatch(this, handlers, family(), method, {input, context});
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
        const RememberedSignIn memory = RememberedSignIn::load(&m_store, m_vault);
        return ok({{key::LoginModel, memory.model},
                   {key::AutoLoginStored, memory.autoLogin},
                   {key::RememberPassword, memory.keepsPassword},
                   {key::RememberPhone, memory.keepsPhone},
                   {key::StoredAccount, memory.account},
                   {key::StoredPassword, memory.password},
                   {key::StoredPhone, memory.phone}});
    }

    CallResult sendCode(const Request &request)
    {
        const QString phone = request.text(key::Phone);
        require(isPhone(phone), QStringLiteral("手机号填写不正确"));
        const QString refusal = m_codes.send(phone);
        if (!refusal.isEmpty())
            throw refused(refusal);
        return ok();
    }

    CallResult loginByPhone(const Request &request)
    {
        const QString phone = request.text(key::Phone);
        const Secret code(request.text(key::Code));
        const SignInFlags flags(request);

        ++m_signingIn;
        const auto leave = qScopeGuard([this] { --m_signingIn; });
        const QString refusal = m_codes.check(phone, code);
        if (!refusal.isEmpty())
            throw refused(refusal);
        const auto account = m_store.find(way::Phone, phone);
        if (!account) // the caller has proved that the phone is his
            throw refused(QStringLiteral("该手机号尚未注册"));
        enter(*account, way::Phone, flags, request);
        remember([&](RememberedSignIn &memory) {
            memory.model = RememberedSignIn::Phone;
            memory.keepsPhone = flags.remember;
            memory.phone = flags.remember ? phone : QString();
            memory.setAuto(flags.autoLogin, account->name, account->id, way::Phone);
            return true;
        });
        return ok();
    }

    CallResult loginByAccount(const Request &request)
    {
        const QString name = request.text(key::User);
        const Secret password(request.text(key::Password));
        const SignInFlags flags(request);

        ++m_signingIn;
        const auto leave = qScopeGuard([this] { --m_signingIn; });
        const auto account = m_store.find(way::Account, name);
        if (!hashing([&] { return isPassword(account ? account->passwordHash : QByteArray(), password); }))
            throw refused(QStringLiteral("账号或密码错误"));
        enter(*account, way::Account, flags, request);
        remember([&](RememberedSignIn &memory) {
            memory.model = RememberedSignIn::Account;
            memory.account = account->name; // the dialog shows it in any case
            memory.keepsPassword = flags.remember;
            wipe(&memory.password);
            memory.password = flags.remember ? password.toText() : QString();
            memory.setAuto(flags.autoLogin, account->name, account->id, way::Account);
            return true;
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
        switch (outcome.state) {
        case QrState::Waiting:
        case QrState::Scanned:
            return acceptedWith(code::QrWaiting);
        case QrState::Confirmed:
            break;
        case QrState::Refused:
            return refusedWith(code::QrRefused, QStringLiteral("您已在手机上取消登录"));
        case QrState::Expired:
            return refusedWith(code::QrExpired, QStringLiteral("二维码已过期，请重新获取"));
        }
        CallResult result = answerOf(family(), [&] { return finishQr(outcome, flags, request); });
        m_tickets.setResult(outcome.name,
                            result.accepted ? QStringLiteral("登录成功，可以关闭此页面") : result.errorText);
        return result;
    }

    CallResult finishQr(const QrTickets::Ticket &outcome, const SignInFlags &flags, const Request &request)
    {
        const bool weixin = outcome.way == way::Weixin;
        const auto account = m_store.find(outcome.way, outcome.identity);
        if (!account)
            throw Refusal(weixin ? code::WeixinUnbound : code::QqUnbound,
                          weixin ? QStringLiteral("该微信尚未绑定账号") : QStringLiteral("该QQ尚未绑定账号"));
        enter(*account, outcome.way, flags, request);
        remember([&](RememberedSignIn &memory) {
            memory.setAuto(flags.autoLogin, account->name, account->id, outcome.way);
            return true;
        });
        return ok({{key::Token, randomHex(TokenBytes)}});
    }

    CallResult linkAddress(const Request &request)
    {
        const QString linkKey = request.text(key::LinkKey);
        if (linkKey != key::LinkRegister && linkKey != key::LinkForgetPassword && linkKey != key::LinkBindAccount)
            throw refused(QStringLiteral("没有这个链接"));
        const QString configured = m_settings.links.value(linkKey);
        return ok({{key::LinkUrl, configured.isEmpty() ? pageAddress(linkPath(linkKey), QStringLiteral("页面无法打开"))
                                                       : configured}});
    }

    // Starts the server on first use.
    QString pageAddress(const QString &path, const QString &onFailure)
    {
        const QMutexLocker lock(&m_serverLock);
        try {
            if (!m_server)
                m_server = std::make_unique<LoopbackServer>(
                    [this](const PageRequest &request) { return cloudPage(m_tickets, request); });
        } catch (const Failure &failure) {
            qCWarning(servicesLog).noquote() << failure.text();
            throw refused(onFailure);
        }
        return m_server->address() + path;
    }

    // Changes the remembered data when change() says true; a failure costs a log line.
    void remember(const std::function<bool(RememberedSignIn &)> &change)
    {
        const QString error = errorOf([&] {
            m_store.inTransaction([&] {
                RememberedSignIn memory = RememberedSignIn::load(&m_store, m_vault);
                if (change(memory))
                    memory.save(&m_store, m_vault);
            });
        });
        if (!error.isEmpty())
            qCWarning(servicesLog).noquote() << QStringLiteral("the sign-in cannot be remembered: %1").arg(error);
    }

    // The user is asked again when the account was removed, replaced or locked.
    void signInAgain()
    {
        const RememberedSignIn memory = RememberedSignIn::load(&m_store, m_vault);
        if (memory.autoAccount.isEmpty())
            return;
        const auto account = m_store.find(way::Account, memory.autoAccount);
        bool isSame = account && account->id == memory.autoId && !account->locked;
        if (isSame && memory.autoWay == way::Account)
            isSame = isPassword(account->passwordHash, Secret(memory.password));
        else if (isSame && memory.autoWay == way::Phone)
            isSame = account->phone == memory.phone;
        if (!isSame)
            throw Failure(QStringLiteral("the account has changed"));
        m_session = {account->name, memory.autoWay, loginstate::Restored, m_clock()};
    }

    // Signs the user in. Throws Refusal when the account was removed or locked meanwhile or the caller no longer waits.
    void enter(const CloudAccount &account, const QString &way, const SignInFlags &flags, const Request &request)
    {
        const QMutexLocker lock(&m_sessionLock); // removals and locks hold it too
        const auto current = m_store.find(way::Account, account.name);
        if (!current || current->id != account.id)
            throw refused(QStringLiteral("该账号已被删除"));
        const QString locked = QStringLiteral("该账号已被云锁锁定，登录被拒绝");
        if (current->locked)
            throw Refusal(code::LockRefused,
                          flags.lockTip ? locked + QStringLiteral("，请联系管理员解除云锁后再试") : locked);
        if (request.context.isCancelled())
            throw refused(QStringLiteral("登录已取消"));
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
        remember([](RememberedSignIn &memory) {
            const bool wasSet = !memory.autoAccount.isEmpty();
            memory.autoAccount.clear();
            return wasSet;
        });
        return ok();
    }

    CallResult addAccount(const Request &request)
    {
        CloudAccount account = readAccount(request);
        const Secret password(request.text(key::Password));
        require(!password.isEmpty(), QStringLiteral("the password is empty"));
        account.passwordHash = hashing([&] {
            if (request.context.isCancelled())
                throw refused(QStringLiteral("the call was cancelled"));
            return hashPassword(password);
        });
        account.id = randomHex(AccountIdBytes);
        if (!m_store.add(account))
            throw refused(QStringLiteral("another account has this name, phone, weixin or qq"));
        return ok();
    }

    CallResult removeAccount(const Request &request)
    {
        const QString name = readUser(request);
        const bool known = m_store.remove(name);
        endSession(name);
        remember([&](RememberedSignIn &memory) { return memory.forget(name); });
        requireKnown(known, name);
        return ok();
    }

    CallResult lockAccount(const Request &request)
    {
        const QString name = readUser(request);
        const bool locked = request.flag(wire::Locked, true);
        const bool known = m_store.setLocked(name, locked);
        if (locked)
            endSession(name);
        requireKnown(known, name);
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

    CallResult listOutbox(const Request &)
    {
        QVariantList list;
        const QList<OneTimeCodes::Sent> sent = m_codes.outbox();
        for (const OneTimeCodes::Sent &entry : sent)
            list.append(QVariantMap{
                {key::Phone, entry.phone}, {key::Code, entry.code}, {wire::SentTime, timeText(entry.sentAt)}});
        return ok({}, list);
    }

    const CloudSettings m_settings;
    const CloudClock m_clock;
    const Vault m_vault;
    CloudStore m_store;
    OneTimeCodes m_codes;
    QrTickets m_tickets;
    std::atomic<int> m_signingIn{0};
    QMutex m_sessionLock;
    Session m_session;
    QMutex m_serverLock; ///< guards the server's start
    std::unique_ptr<LoopbackServer> m_server;
};

} // namespace

QSharedPointer<rpc::IInvocable> makeCloudService(const QString &directory, const CloudSettings &settings,
                                                 const CloudClock &clock)
{
    return QSharedPointer<CloudService>::create(directory, settings, clock);
}

} // namespace tarn::services
