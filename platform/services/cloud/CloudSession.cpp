// The cloud account service's session, and the commands that manage accounts.
#include "services/cloud/CloudInput.h"
#include "services/cloud/CloudService.h"
#include "services/cloud/PasswordHash.h"
#include "tarn/keys/CloudKeys.h"
#include "tarn/link/CloudWire.h"
#include <QDateTime>

namespace tarn::services {

using namespace cloud;
using rpc::CallResult;
namespace wire = link::wire;

namespace {

constexpr int AccountIdBytes = 16;

CallResult ok(const QVariantMap &values = {}, const QVariantList &list = {})
{
    return acceptedWith(code::Ok, {values, list});
}

Refusal refused(const QString &text)
{
    return Refusal(code::Refused, text);
}

QString timeText(qint64 time)
{
    return QDateTime::fromMSecsSinceEpoch(time).toString(QStringLiteral("yyyy-MM-dd hh:mm:ss"));
}

// A text without blanks around it and without invisible characters.
QString plain(const QString &key, const QString &text)
{
    require(text == text.trimmed() && text.size() <= RequestReader::MaxName && isPlainText(text),
            QStringLiteral("%1: expected up to %2 characters, no blanks around them and no control characters")
                .arg(key, QString::number(RequestReader::MaxName)));
    return text;
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

CallResult answerForName(bool known, const QString &name)
{
    if (!known)
        throw refused(QStringLiteral("no account \"%1\"").arg(name));
    return ok();
}

} // namespace

void CloudService::remember(const std::function<bool(SignInMemory &)> &change)
{
    const QString error = errorOf([&] {
        m_thread.run([&] {
            SignInMemory memory = m_remembered->load();
            if (change(memory))
                m_remembered->save(memory);
        });
    });
    if (!error.isEmpty())
        qCWarning(servicesLog).noquote() << QStringLiteral("the sign-in cannot be remembered: %1").arg(error);
}

// The user is asked again when the account was removed, replaced or locked.
void CloudService::signInAgain()
{
    SignInMemory memory;
    QString error = errorOf([&] { memory = m_thread.run([this] { return m_remembered->load(); }); });
    if (!error.isEmpty())
        qCWarning(servicesLog).noquote() << QStringLiteral("nothing is remembered: %1").arg(error);
    if (memory.autoAccount.isEmpty())
        return;
    error = errorOf([&] {
        const auto account = find(CloudStore::By::Name, memory.autoAccount);
        bool isSame = account && account->id == memory.autoId && !account->locked;
        if (isSame && memory.autoWay == way::Account)
            isSame = isPassword(account->passwordHash, Secret(memory.password));
        else if (isSame && memory.autoWay == way::Phone)
            isSame = account->phone == memory.phone;
        if (!isSame)
            throw Failure(QStringLiteral("the account has changed"));
        startSession(account->name, memory.autoWay, wire::loginState::SignedInAgain);
    });
    if (!error.isEmpty())
        qCInfo(servicesLog).noquote() << QStringLiteral("the user is not signed in again: %1").arg(error);
}

void CloudService::enter(const CloudAccount &account, const QString &way, const SignInFlags &flags,
                         const Request &request)
{
    m_thread.run([&] { // where removals and locks run too
        const auto current = m_store->find(CloudStore::By::Name, account.name);
        if (!current || current->id != account.id)
            throw refused(QStringLiteral("该账号已被删除"));
        const QString locked = QStringLiteral("该账号已被云锁锁定，登录被拒绝");
        if (current->locked)
            throw Refusal(code::LockRefused,
                          flags.lockTip ? locked + QStringLiteral("，请联系管理员解除云锁后再试") : locked);
        if (request.context.isCancelled())
            throw refused(QStringLiteral("登录已取消"));
        startSession(account.name, way, wire::loginState::SignedIn);
    });
}

void CloudService::startSession(const QString &account, const QString &way, int state)
{
    const QMutexLocker lock(&m_sessionLock);
    m_session = {account, way, state, m_clock()};
}

void CloudService::endSession(const QString &account)
{
    const QMutexLocker lock(&m_sessionLock);
    if (m_session.account == account)
        m_session = {};
}

CallResult CloudService::loginState(const Request &)
{
    const QMutexLocker lock(&m_sessionLock);
    const bool signingIn = m_session.account.isEmpty() && m_signingIn > 0;
    return ok({{key::LoginState, signingIn ? wire::loginState::SigningIn : m_session.state}});
}

CallResult CloudService::status(const Request &request)
{
    CallResult result = loginState(request);
    const QMutexLocker lock(&m_sessionLock);
    QVariantMap &values = result.output.values;
    values.insert(key::User, m_session.account);
    values.insert(wire::Way, m_session.way);
    values.insert(wire::Since, m_session.account.isEmpty() ? QString() : timeText(m_session.since));
    return result;
}

CallResult CloudService::logout(const Request &)
{
    {
        const QMutexLocker lock(&m_sessionLock);
        m_session = {};
    }
    remember([](SignInMemory &memory) {
        const bool wasSet = !memory.autoAccount.isEmpty();
        memory.autoAccount.clear();
        return wasSet;
    });
    return ok();
}

CallResult CloudService::addAccount(const Request &request)
{
    CloudAccount account = readAccount(request);
    const Secret password(request.text(key::Password));
    require(!password.isEmpty(), QStringLiteral("the password is empty"));
    {
        if (!hashPlaces().tryAcquire())
            throw refused(QStringLiteral("服务繁忙，请稍后再试"));
        const QSemaphoreReleaser place(hashPlaces());
        if (request.context.isCancelled())
            throw refused(QStringLiteral("the call was cancelled"));
        account.passwordHash = hashPassword(password);
    }
    account.id = randomHex(AccountIdBytes);
    if (!m_thread.run([&] { return m_store->add(account); }))
        throw refused(QStringLiteral("another account has this name, phone, weixin or qq"));
    return ok();
}

CallResult CloudService::removeAccount(const Request &request)
{
    const QString name = readUser(request);
    const bool known = m_thread.run([&] {
        const bool removed = m_store->remove(name);
        endSession(name);
        return removed;
    });
    remember([&](SignInMemory &memory) { return memory.forget(name); });
    return answerForName(known, name);
}

CallResult CloudService::lockAccount(const Request &request)
{
    const QString name = readUser(request);
    const bool locked = request.flag(wire::Locked, true);
    const bool known = m_thread.run([&] {
        const bool changed = m_store->setLocked(name, locked);
        if (locked)
            endSession(name);
        return changed;
    });
    return answerForName(known, name);
}

CallResult CloudService::listAccounts(const Request &)
{
    QVariantList list;
    const QList<CloudAccount> accounts = m_thread.run([this] { return m_store->accounts(); });
    for (const CloudAccount &account : accounts)
        list.append(QVariantMap{{key::User, account.name},
                                {key::Phone, account.phone},
                                {wire::Weixin, account.weixin},
                                {wire::Qq, account.qq},
                                {wire::Locked, account.locked}});
    return ok({}, list);
}

CallResult CloudService::listOutbox(const Request &)
{
    QVariantList list;
    const QList<OneTimeCodes::Sent> sent = m_thread.run([this] { return m_codes->outbox(); });
    for (const OneTimeCodes::Sent &entry : sent)
        list.append(
            QVariantMap{{key::Phone, entry.phone}, {key::Code, entry.code}, {wire::SentTime, timeText(entry.sentAt)}});
    return ok({}, list);
}

} // namespace tarn::services
