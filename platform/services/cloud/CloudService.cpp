#include "CloudService.h"
#include "CloudAnswers.h"
#include "CloudInput.h"
#include "CloudPages.h"
#include "CloudStore.h"
#include "LoopbackServer.h"
#include "PasswordHash.h"
#include "tarn/link/CloudWire.h"
#include <QDir>
#include <QScopeGuard>
#include <QSettings>

namespace tarn::services {

using namespace cloud;
using rpc::Bag;
using rpc::CallResult;
namespace wire = link::wire;

namespace {

constexpr int TokenBytes = 32;
constexpr int MaxRandomCode = 64;    // characters
constexpr int BackoffNameSize = 256; // no account has a longer name

// The service's own page for a link key; empty when there is no such key.
QString pageOf(const QString &linkKey)
{
    if (linkKey == key::LinkRegister)
        return QStringLiteral("/register");
    if (linkKey == key::LinkForgetPassword)
        return QStringLiteral("/password");
    return linkKey == key::LinkBindAccount ? QStringLiteral("/account") : QString();
}

CallResult lockRefused(bool lockTip)
{
    const QString text = QStringLiteral("该账号已被云锁锁定，登录被拒绝");
    return refusedWith(code::LockRefused, lockTip ? text + QStringLiteral("，请联系管理员解除云锁后再试") : text);
}

} // namespace

CloudSettings CloudSettings::ofProgram(const QString &programDirectory)
{
    QSettings file(QDir(programDirectory).filePath(QStringLiteral("cfg.ini")), QSettings::IniFormat);
    file.setIniCodec("UTF-8");
    file.beginGroup(QStringLiteral("cloud"));
    CloudSettings settings;
    for (const QString &linkKey : {key::LinkRegister, key::LinkForgetPassword, key::LinkBindAccount}) {
        if (file.contains(linkKey))
            settings.links.insert(linkKey, file.value(linkKey).toString());
    }
    const qint64 seconds = file.value(QStringLiteral("qr_lifetime")).toLongLong();
    if (seconds > 0 && seconds <= 3600)
        settings.qrLifetimeMs = seconds * 1000;
    return settings;
}

CloudService::CloudService(const QString &directory, CloudSettings settings, Clock clock)
    : m_settings(std::move(settings))
    , m_clock(std::move(clock))
    , m_vault(directory)
    , m_remembered(directory, &m_vault)
    , m_backoff(m_clock)
    , m_tickets(m_clock, m_settings.qrLifetimeMs)
    , m_pages(std::make_unique<CloudPages>(&m_tickets))
{
    m_thread.run([&] {
        m_store = std::make_unique<CloudStore>(directory);
        m_codes = std::make_unique<OneTimeCodes>(m_store.get(), &m_vault, m_clock);
    });
    signInAgain();
}

CloudService::~CloudService()
{
    m_thread.run([&] {
        m_codes.reset();
        m_store.reset();
    });
}

const HandlerTable<CloudService> &CloudService::handlers()
{
    static const HandlerTable<CloudService> table{
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
    return table;
}

CallResult CloudService::invoke(const QString &method, const Bag &input, const rpc::ICallContext &context)
{
    Q_UNUSED(context)
    return dispatch(this, handlers(), QStringLiteral("cloud account"), method, input);
}

CallResult CloudService::memory(const Bag &input)
{
    Q_UNUSED(input)
    SignInMemory memory;
    m_thread.run([&] { memory = m_remembered.load(); });
    return ok({{key::LoginModel, memory.model},
               {key::AutoLoginStored, memory.autoLogin},
               {key::RememberPassword, memory.keepsPassword},
               {key::RememberPhone, memory.keepsPhone},
               {key::StoredAccount, memory.account},
               {key::StoredPassword, memory.password},
               {key::StoredPhone, memory.phone}});
}

CallResult CloudService::sendCode(const Bag &input)
{
    QString phone;
    const QString wrong = readText(input.values, key::Phone, &phone);
    if (!wrong.isEmpty())
        return invalid(wrong);
    if (!isPhone(phone))
        return invalid(QStringLiteral("手机号填写不正确"));
    QString refusal;
    const QString error = store([&](CloudStore &) { return m_codes->send(phone, &refusal); });
    if (!error.isEmpty())
        return unavailable(error);
    return refusal.isEmpty() ? ok() : refused(refusal);
}

CallResult CloudService::loginByPhone(const Bag &input)
{
    QString phone;
    Secret code;
    SignInFlags flags;
    QString wrong = readText(input.values, key::Phone, &phone);
    if (wrong.isEmpty())
        wrong = readSecret(input.values, key::Code, &code);
    if (wrong.isEmpty())
        wrong = readFlags(input.values, &flags);
    if (!wrong.isEmpty())
        return invalid(wrong);

    ++m_signingIn;
    const auto leave = qScopeGuard([this] { --m_signingIn; });
    QString refusal;
    std::optional<CloudAccount> account;
    const QString error = store([&](CloudStore &s) {
        const QString failure = m_codes->check(phone, code, &refusal);
        return failure.isEmpty() && refusal.isEmpty() ? s.find(CloudStore::By::Phone, phone, &account) : failure;
    });
    if (!error.isEmpty())
        return unavailable(error);
    if (!refusal.isEmpty())
        return refused(refusal);
    if (!account) // told only to who holds the phone
        return refused(QStringLiteral("该手机号尚未注册"));
    if (account->locked)
        return lockRefused(flags.lockTip);
    startSession(account->name, way::Phone, wire::loginState::SignedIn);
    rememberPhone(phone, account->name, flags);
    return ok();
}

CallResult CloudService::loginByAccount(const Bag &input)
{
    QString name;
    Secret password;
    SignInFlags flags;
    QString wrong = readText(input.values, key::User, &name);
    if (wrong.isEmpty())
        wrong = readSecret(input.values, key::Password, &password);
    if (wrong.isEmpty())
        wrong = readFlags(input.values, &flags);
    if (!wrong.isEmpty())
        return invalid(wrong);

    ++m_signingIn;
    const auto leave = qScopeGuard([this] { --m_signingIn; });
    const QString guarded = name.left(BackoffNameSize);
    if (const int seconds = m_backoff.admit(guarded))
        return refused(QStringLiteral("登录失败次数过多，请%1秒后再试").arg(seconds));
    std::optional<CloudAccount> account;
    const QString error = store([&](CloudStore &s) { return s.find(CloudStore::By::Name, name, &account); });
    if (!error.isEmpty())
        return unavailable(error);
    if (!passwordMatches(account ? account->passwordHash : QByteArray(), password))
        return refused(QStringLiteral("账号或密码错误"));
    m_backoff.succeeded(guarded);
    if (account->locked)
        return lockRefused(flags.lockTip);
    startSession(account->name, way::Account, wire::loginState::SignedIn);
    rememberAccount(name, password, flags);
    return ok();
}

CallResult CloudService::qrCodeUrl(const Bag &input)
{
    QString type;
    QString randomCode;
    QString wrong = readText(input.values, key::QrType, &type);
    if (wrong.isEmpty())
        wrong = readText(input.values, key::RandomCode, &randomCode);
    const bool weixin = type == QLatin1String("weixindenglu");
    if (wrong.isEmpty() && !weixin && type != QLatin1String("qqdenglu"))
        wrong = QStringLiteral("%1: weixindenglu or qqdenglu is wanted").arg(key::QrType);
    if (wrong.isEmpty() && (randomCode.isEmpty() || randomCode.size() > MaxRandomCode))
        wrong = QStringLiteral("%1: 1 to %2 characters are wanted").arg(key::RandomCode).arg(MaxRandomCode);
    if (!wrong.isEmpty())
        return invalid(wrong);
    if (!startPages())
        return refused(QStringLiteral("扫码登录页面无法打开"));
    const QString ticket = m_tickets.open(weixin ? QrWay::Weixin : QrWay::Qq, randomCode);
    return ok({{key::QrUrl, m_server->address() + QStringLiteral("/qr/") + ticket}});
}

CallResult CloudService::qrCodeResult(const Bag &input)
{
    QString randomCode;
    SignInFlags flags;
    QString wrong = readText(input.values, key::RandomCode, &randomCode);
    if (wrong.isEmpty())
        wrong = readFlags(input.values, &flags);
    if (!wrong.isEmpty())
        return invalid(wrong);
    const QrTickets::Outcome outcome = m_tickets.take(randomCode);
    switch (outcome.state) {
    case QrState::Waiting:
    case QrState::Scanned:
        return acceptedWith(code::QrWaiting);
    case QrState::Confirmed:
        return finishQr(outcome, flags.autoLogin, flags.lockTip);
    case QrState::Refused:
        return refusedWith(code::QrRefused, QStringLiteral("您已在手机上取消登录"));
    case QrState::Expired:
        break;
    }
    return refusedWith(code::QrExpired, QStringLiteral("二维码已过期，请重新获取"));
}

CallResult CloudService::finishQr(const QrTickets::Outcome &outcome, bool autoLogin, bool lockTip)
{
    const bool weixin = outcome.way == QrWay::Weixin;
    const auto by = weixin ? CloudStore::By::Weixin : CloudStore::By::Qq;
    std::optional<CloudAccount> account;
    const QString error = store([&](CloudStore &s) { return s.find(by, outcome.identity, &account); });
    if (!error.isEmpty())
        return unavailable(error);
    if (!account) {
        const QString text = weixin ? QStringLiteral("该微信尚未绑定账号") : QStringLiteral("该QQ尚未绑定账号");
        m_tickets.setResult(outcome.ticket, text);
        return refusedWith(weixin ? code::WeixinUnbound : code::QqUnbound, text);
    }
    if (account->locked) {
        CallResult result = lockRefused(lockTip);
        m_tickets.setResult(outcome.ticket, result.errorText);
        return result;
    }
    const QString used = weixin ? way::Weixin : way::Qq;
    startSession(account->name, used, wire::loginState::SignedIn);
    remember([&](SignInMemory &memory) {
        memory.autoLogin = autoLogin;
        memory.autoAccount = autoLogin ? account->name : QString();
        memory.autoWay = used;
        return true;
    });
    m_tickets.setResult(outcome.ticket, QStringLiteral("登录成功，可以关闭此页面"));
    return ok({{key::Token, randomHex(TokenBytes)}});
}

CallResult CloudService::linkAddress(const Bag &input)
{
    QString linkKey;
    const QString wrong = readText(input.values, key::LinkKey, &linkKey);
    if (!wrong.isEmpty())
        return invalid(wrong);
    const QString page = pageOf(linkKey);
    if (page.isEmpty())
        return refused(QStringLiteral("没有这个链接"));
    const auto configured = m_settings.links.constFind(linkKey);
    if (configured != m_settings.links.cend())
        return ok({{key::LinkUrl, *configured}});
    if (!startPages())
        return refused(QStringLiteral("页面无法打开"));
    return ok({{key::LinkUrl, m_server->address() + page}});
}

bool CloudService::startPages()
{
    const QMutexLocker lock(&m_pagesLock);
    if (m_server)
        return true;
    auto server =
        std::make_unique<LoopbackServer>([this](const PageRequest &request) { return m_pages->answer(request); });
    if (!server->isRunning())
        return false;
    m_server = std::move(server); // stays until the end
    return true;
}

} // namespace tarn::services
