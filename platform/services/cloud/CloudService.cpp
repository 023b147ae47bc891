#include "services/cloud/CloudService.h"
#include "services/cloud/CloudAnswers.h"
#include "services/cloud/CloudInput.h"
#include "services/cloud/CloudPages.h"
#include "services/cloud/CloudStore.h"
#include "services/cloud/LoopbackServer.h"
#include "services/cloud/PasswordHash.h"
#include "tarn/link/CloudWire.h"
#include <QScopeGuard>

namespace tarn::services {

using namespace cloud;
using rpc::Bag;
using rpc::CallResult;
namespace wire = link::wire;

namespace {

constexpr int TokenBytes = 32;
constexpr int MaxRandomCode = 64; // characters

// The service's own page for a link key; empty when there is no such key.
QString pageOf(const QString &linkKey)
{
    if (linkKey == key::LinkRegister)
        return QStringLiteral("/register");
    if (linkKey == key::LinkForgetPassword)
        return QStringLiteral("/password");
    return linkKey == key::LinkBindAccount ? QStringLiteral("/account") : QString();
}

} // namespace

CloudService::CloudService(const QString &directory, CloudSettings settings, Clock clock)
    : m_settings(std::move(settings))
    , m_clock(std::move(clock))
    , m_vault(directory)
    , m_tickets(m_clock, m_settings.qrLifetimeMs)
    , m_pages(std::make_unique<CloudPages>(&m_tickets))
{
    m_thread.run([&] {
        m_store = std::make_unique<CloudStore>(directory);
        m_codes = std::make_unique<OneTimeCodes>(m_store.get(), &m_vault, m_clock);
        m_remembered = std::make_unique<RememberedSignIn>(m_store.get(), &m_vault);
        m_remembered->takeOver(directory + QStringLiteral("/cloud.remembered"));
    });
    signInAgain();
}

CloudService::~CloudService()
{
    m_thread.run([&] {
        m_remembered.reset();
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
        {QStringLiteral("GetQRCodeUrl"), &CloudService::qrCodeUrl},
        {QStringLiteral("GetLinkAddress"), &CloudService::linkAddress},
        {QStringLiteral("Logout"), &CloudService::logout},
        {wire::method::RemoveAccount, &CloudService::removeAccount},
        {wire::method::ListAccounts, &CloudService::listAccounts},
        {wire::method::LockAccount, &CloudService::lockAccount},
        {wire::method::ListOutbox, &CloudService::listOutbox},
        {wire::method::CloudStatus, &CloudService::status},
    };
    return table;
}

const QHash<QString, CloudService::LongHandler> &CloudService::longHandlers()
{
    static const QHash<QString, LongHandler> table{
        {QStringLiteral("LoginByPhone"), &CloudService::loginByPhone},
        {QStringLiteral("LoginByAccount"), &CloudService::loginByAccount},
        {QStringLiteral("QueryQRCodeResult"), &CloudService::qrCodeResult},
        {wire::method::AddAccount, &CloudService::addAccount},
    };
    return table;
}

CallResult CloudService::invoke(const QString &method, const Bag &input, const rpc::ICallContext &context)
{
    if (const LongHandler handler = longHandlers().value(method, nullptr))
        return logged(method, (this->*handler)(input, context));
    return dispatch(this, handlers(), QStringLiteral("cloud account"), method, input);
}

CallResult CloudService::memory(const Bag &input)
{
    Q_UNUSED(input)
    SignInMemory memory;
    QString error;
    m_thread.run([&] { memory = m_remembered->load(&error); });
    if (!error.isEmpty())
        return unavailable(error);
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
    RequestReader request(input.values);
    const QString phone = request.text(key::Phone);
    if (!isPhone(phone))
        request.fail(QStringLiteral("手机号填写不正确"));
    if (!request.error().isEmpty())
        return invalid(request.error());
    QString refusal;
    const QString error = store([&](CloudStore &) { return m_codes->send(phone, &refusal); });
    if (!error.isEmpty())
        return unavailable(error);
    return refusal.isEmpty() ? ok() : refused(refusal);
}

CallResult CloudService::loginByPhone(const Bag &input, const rpc::ICallContext &context)
{
    RequestReader request(input.values);
    const QString phone = request.text(key::Phone);
    const Secret code(request.text(key::Code));
    const SignInFlags flags = readFlags(&request);
    if (!request.error().isEmpty())
        return invalid(request.error());

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
    if (!account) // the caller has proved that the phone is his
        return refused(QStringLiteral("该手机号尚未注册"));
    if (auto kept = enter(*account, way::Phone, flags.lockTip, context))
        return *kept;
    rememberPhone(phone, *account, flags);
    return ok();
}

CallResult CloudService::loginByAccount(const Bag &input, const rpc::ICallContext &context)
{
    RequestReader request(input.values);
    const QString name = request.text(key::User);
    const Secret password(request.text(key::Password));
    const SignInFlags flags = readFlags(&request);
    if (!request.error().isEmpty())
        return invalid(request.error());

    ++m_signingIn;
    const auto leave = qScopeGuard([this] { --m_signingIn; });
    if (!hashPlaces().tryAcquire())
        return busy();
    const QSemaphoreReleaser place(hashPlaces());
    std::optional<CloudAccount> account;
    const QString error = store([&](CloudStore &s) { return s.find(CloudStore::By::Name, name, &account); });
    if (!error.isEmpty())
        return unavailable(error);
    const PasswordCheck check = checkPassword(account ? account->passwordHash : QByteArray(), password);
    if (check == PasswordCheck::Failed)
        return unavailable(QStringLiteral("a password cannot be checked, perhaps for want of memory"));
    if (check == PasswordCheck::Differs)
        return refused(QStringLiteral("账号或密码错误"));
    if (auto kept = enter(*account, way::Account, flags.lockTip, context))
        return *kept;
    rememberAccount(*account, password, flags);
    return ok();
}

CallResult CloudService::qrCodeUrl(const Bag &input)
{
    RequestReader request(input.values);
    const QString type = request.text(key::QrType);
    const QString randomCode = request.text(key::RandomCode, MaxRandomCode);
    const bool weixin = type == QLatin1String("weixindenglu");
    if (!weixin && type != QLatin1String("qqdenglu"))
        request.fail(QStringLiteral("%1: expected weixindenglu or qqdenglu").arg(key::QrType));
    if (randomCode.isEmpty())
        request.fail(QStringLiteral("%1 is empty").arg(key::RandomCode));
    if (!request.error().isEmpty())
        return invalid(request.error());
    if (!startPages())
        return refused(QStringLiteral("扫码登录页面无法打开"));
    const QString ticket = m_tickets.open(weixin ? QrWay::Weixin : QrWay::Qq, randomCode);
    return ok({{key::QrUrl, m_server->address() + QStringLiteral("/qr/") + ticket}});
}

CallResult CloudService::qrCodeResult(const Bag &input, const rpc::ICallContext &context)
{
    RequestReader request(input.values);
    const QString randomCode = request.text(key::RandomCode);
    const SignInFlags flags = readFlags(&request);
    if (!request.error().isEmpty())
        return invalid(request.error());
    const QrTickets::Outcome outcome = m_tickets.take(randomCode);
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
    CallResult result = finishQr(outcome, flags, context);
    m_tickets.setResult(outcome.ticket,
                        result.accepted ? QStringLiteral("登录成功，可以关闭此页面") : result.errorText);
    return result;
}

CallResult CloudService::finishQr(const QrTickets::Outcome &outcome, const SignInFlags &flags,
                                  const rpc::ICallContext &context)
{
    const bool weixin = outcome.way == QrWay::Weixin;
    const auto by = weixin ? CloudStore::By::Weixin : CloudStore::By::Qq;
    std::optional<CloudAccount> account;
    const QString error = store([&](CloudStore &s) { return s.find(by, outcome.identity, &account); });
    if (!error.isEmpty())
        return unavailable(error);
    if (!account)
        return refusedWith(weixin ? code::WeixinUnbound : code::QqUnbound,
                           weixin ? QStringLiteral("该微信尚未绑定账号") : QStringLiteral("该QQ尚未绑定账号"));
    const QString used = weixin ? way::Weixin : way::Qq;
    if (auto kept = enter(*account, used, flags.lockTip, context))
        return *kept;
    remember([&](SignInMemory &memory) {
        memory.setAuto(flags.autoLogin, account->name, account->id, used);
        return true;
    });
    return ok({{key::Token, randomHex(TokenBytes)}});
}

CallResult CloudService::linkAddress(const Bag &input)
{
    RequestReader request(input.values);
    const QString linkKey = request.text(key::LinkKey);
    if (!request.error().isEmpty())
        return invalid(request.error());
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
