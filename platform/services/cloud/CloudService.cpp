#include "services/cloud/CloudService.h"
#include "services/Files.h"
#include "services/cloud/CloudInput.h"
#include "services/cloud/CloudPages.h"
#include "services/cloud/PasswordHash.h"
#include "tarn/keys/CloudKeys.h"
#include "tarn/link/CloudWire.h"
#include <QScopeGuard>
#include <QSettings>
#include <QUrl>

namespace tarn::services {

using namespace cloud;
using rpc::Bag;
using rpc::CallResult;
namespace wire = link::wire;

namespace {

constexpr int TokenBytes = 32;
constexpr int MaxRandomCode = 64; // characters

const ServiceFamily &family()
{
    static const ServiceFamily family{QStringLiteral("cloud account"), code::Refused, code::InvalidArgs,
                                      QStringLiteral("云账号服务暂时不可用")};
    return family;
}

CallResult ok(const QVariantMap &values = {})
{
    return acceptedWith(code::Ok, {values, {}});
}

// For the user.
Refusal refused(const QString &text)
{
    return Refusal(code::Refused, text);
}

// The service's page for a link key; empty when there is no such key.
QString pageOf(const QString &linkKey)
{
    if (linkKey == key::LinkRegister)
        return QStringLiteral("/register");
    if (linkKey == key::LinkForgetPassword)
        return QStringLiteral("/password");
    return linkKey == key::LinkBindAccount ? QStringLiteral("/account") : QString();
}

bool isWebAddress(const QString &address)
{
    const QUrl url(address, QUrl::StrictMode);
    return url.isValid() && !url.host().isEmpty() &&
           (url.scheme() == QLatin1String("https") || url.scheme() == QLatin1String("http"));
}

void ignoreSetting(const QString &name, const QString &wanted)
{
    qCWarning(servicesLog).noquote()
        << QStringLiteral("cfg.ini, cloud/%1: expected %2; the value is ignored").arg(name, wanted);
}

} // namespace

CloudSettings CloudSettings::ofProgram(const QString &programDirectory)
{
    constexpr qint64 MaxLifetime = 3600;
    const QString lifetime = QStringLiteral("qr_lifetime");
    QSettings file(settingsFile(programDirectory), QSettings::IniFormat);
    file.setIniCodec("UTF-8");
    file.beginGroup(QStringLiteral("cloud"));
    CloudSettings settings;
    for (const QString &linkKey : {key::LinkRegister, key::LinkForgetPassword, key::LinkBindAccount}) {
        const QString address = file.value(linkKey).toStringList().join(QLatin1Char(',')); // split at its commas
        if (isWebAddress(address))
            settings.links.insert(linkKey, address);
        else if (file.contains(linkKey))
            ignoreSetting(linkKey, QStringLiteral("an http or https address"));
    }
    const qint64 seconds = file.value(lifetime).toLongLong();
    if (seconds > 0 && seconds <= MaxLifetime)
        settings.qrLifetimeMs = seconds * 1000;
    else if (file.contains(lifetime))
        ignoreSetting(lifetime, QStringLiteral("a number of seconds up to %1").arg(MaxLifetime));
    return settings;
}

CloudService::CloudService(const QString &directory, CloudSettings settings, Clock clock)
    : m_settings(std::move(settings))
    , m_clock(std::move(clock))
    , m_vault(directory)
    , m_tickets(m_clock, m_settings.qrLifetimeMs)
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
    return dispatch(this, handlers(), family(), method, {input, context});
}

std::optional<CloudAccount> CloudService::find(CloudStore::By way, const QString &value)
{
    return m_thread.run([&] { return m_store->find(way, value); });
}

CallResult CloudService::memory(const Request &)
{
    const SignInMemory memory = m_thread.run([this] { return m_remembered->load(); });
    return ok({{key::LoginModel, memory.model},
               {key::AutoLoginStored, memory.autoLogin},
               {key::RememberPassword, memory.keepsPassword},
               {key::RememberPhone, memory.keepsPhone},
               {key::StoredAccount, memory.account},
               {key::StoredPassword, memory.password},
               {key::StoredPhone, memory.phone}});
}

CallResult CloudService::sendCode(const Request &request)
{
    const QString phone = request.text(key::Phone);
    require(isPhone(phone), QStringLiteral("手机号填写不正确"));
    const QString refusal = m_thread.run([&] { return m_codes->send(phone); });
    if (!refusal.isEmpty())
        throw refused(refusal);
    return ok();
}

CallResult CloudService::loginByPhone(const Request &request)
{
    const QString phone = request.text(key::Phone);
    const Secret code(request.text(key::Code));
    const SignInFlags flags(request);

    ++m_signingIn;
    const auto leave = qScopeGuard([this] { --m_signingIn; });
    const QString refusal = m_thread.run([&] { return m_codes->check(phone, code); });
    if (!refusal.isEmpty())
        throw refused(refusal);
    const auto account = find(CloudStore::By::Phone, phone);
    if (!account) // the caller has proved that the phone is his
        throw refused(QStringLiteral("该手机号尚未注册"));
    enter(*account, way::Phone, flags, request);
    remember([&](SignInMemory &memory) {
        memory.model = SignInMemory::Phone;
        memory.keepsPhone = flags.remember;
        memory.phone = flags.remember ? phone : QString();
        memory.setAuto(flags.autoLogin, account->name, account->id, way::Phone);
        return true;
    });
    return ok();
}

CallResult CloudService::loginByAccount(const Request &request)
{
    const QString name = request.text(key::User);
    const Secret password(request.text(key::Password));
    const SignInFlags flags(request);

    ++m_signingIn;
    const auto leave = qScopeGuard([this] { --m_signingIn; });
    if (!hashPlaces().tryAcquire())
        throw refused(QStringLiteral("服务繁忙，请稍后再试"));
    const QSemaphoreReleaser place(hashPlaces());
    const auto account = find(CloudStore::By::Name, name);
    if (!isPassword(account ? account->passwordHash : QByteArray(), password))
        throw refused(QStringLiteral("账号或密码错误"));
    enter(*account, way::Account, flags, request);
    remember([&](SignInMemory &memory) {
        memory.model = SignInMemory::Account;
        memory.account = account->name; // the dialog shows it in any case
        memory.keepsPassword = flags.remember;
        wipe(&memory.password);
        memory.password = flags.remember ? password.toText() : QString();
        memory.setAuto(flags.autoLogin, account->name, account->id, way::Account);
        return true;
    });
    return ok();
}

CallResult CloudService::qrCodeUrl(const Request &request)
{
    const QString type = request.text(key::QrType);
    const QString randomCode = request.text(key::RandomCode, MaxRandomCode);
    const bool weixin = type == QLatin1String("weixindenglu");
    require(weixin || type == QLatin1String("qqdenglu"),
            QStringLiteral("%1: expected weixindenglu or qqdenglu").arg(key::QrType));
    require(!randomCode.isEmpty(), QStringLiteral("%1 is empty").arg(key::RandomCode));
    const QString address = pageAddress(QStringLiteral("/qr/"), QStringLiteral("扫码登录页面无法打开"));
    return ok({{key::QrUrl, address + m_tickets.open(weixin ? QrWay::Weixin : QrWay::Qq, randomCode)}});
}

CallResult CloudService::qrCodeResult(const Request &request)
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
    CallResult result;
    try {
        result = finishQr(outcome, flags, request);
    } catch (const Refusal &refusal) {
        result = refusedWith(refusal.code, refusal.text());
    } catch (const Failure &failure) {
        result = answerToFailure(family(), failure);
    }
    m_tickets.setResult(outcome.name, result.accepted ? QStringLiteral("登录成功，可以关闭此页面") : result.errorText);
    return result;
}

CallResult CloudService::finishQr(const QrTickets::Ticket &outcome, const SignInFlags &flags, const Request &request)
{
    const bool weixin = outcome.way == QrWay::Weixin;
    const QString used = weixin ? way::Weixin : way::Qq;
    const auto account = find(weixin ? CloudStore::By::Weixin : CloudStore::By::Qq, outcome.identity);
    if (!account)
        throw Refusal(weixin ? code::WeixinUnbound : code::QqUnbound,
                      weixin ? QStringLiteral("该微信尚未绑定账号") : QStringLiteral("该QQ尚未绑定账号"));
    enter(*account, used, flags, request);
    remember([&](SignInMemory &memory) {
        memory.setAuto(flags.autoLogin, account->name, account->id, used);
        return true;
    });
    return ok({{key::Token, randomHex(TokenBytes)}});
}

CallResult CloudService::linkAddress(const Request &request)
{
    const QString linkKey = request.text(key::LinkKey);
    const QString page = pageOf(linkKey);
    if (page.isEmpty())
        throw refused(QStringLiteral("没有这个链接"));
    const auto configured = m_settings.links.constFind(linkKey);
    return ok(
        {{key::LinkUrl,
          configured != m_settings.links.cend() ? *configured : pageAddress(page, QStringLiteral("页面无法打开"))}});
}

QString CloudService::pageAddress(const QString &path, const QString &onFailure)
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

} // namespace tarn::services
