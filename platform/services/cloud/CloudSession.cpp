// The cloud account service's session, and the commands that manage accounts.
#include "services/cloud/CloudAnswers.h"
#include "services/cloud/CloudInput.h"
#include "services/cloud/CloudPages.h"
#include "services/cloud/CloudService.h"
#include "services/cloud/CloudStore.h"
#include "services/cloud/LoopbackServer.h"
#include "services/cloud/PasswordHash.h"
#include "tarn/link/CloudWire.h"
#include <QDateTime>

namespace tarn::services {

using namespace cloud;
using rpc::Bag;
using rpc::CallResult;
namespace wire = link::wire;

namespace {

constexpr int AccountIdBytes = 16;

QString timeText(qint64 time)
{
    return QDateTime::fromMSecsSinceEpoch(time).toString(QStringLiteral("yyyy-MM-dd hh:mm:ss"));
}

// A text without blanks around it and without invisible characters.
QString plain(RequestReader *request, const QString &key, const QString &text)
{
    if (text != text.trimmed() || text.size() > RequestReader::MaxName || !isPlainText(text))
        request->fail(
            QStringLiteral("%1: expected up to %2 characters, no blanks around them and no control characters")
                .arg(key, QString::number(RequestReader::MaxName)));
    return text;
}

QString readUser(RequestReader *request)
{
    return plain(request, key::User, request->name(key::User));
}

CloudAccount readAccount(RequestReader *request)
{
    CloudAccount account;
    account.name = readUser(request);
    account.phone = request->optionalText(key::Phone);
    if (!account.phone.isEmpty() && !isPhone(account.phone))
        request->fail(QStringLiteral("%1: expected 11 digits").arg(key::Phone));
    account.weixin = plain(request, wire::Weixin, request->optionalText(wire::Weixin));
    account.qq = plain(request, wire::Qq, request->optionalText(wire::Qq));
    return account;
}

CallResult answerForName(const QString &error, bool known, const QString &name)
{
    if (!error.isEmpty())
        return unavailable(error);
    return known ? ok() : refused(QStringLiteral("no account \"%1\"").arg(name));
}

} // namespace

QString CloudService::store(const std::function<QString(CloudStore &)> &work)
{
    QString error;
    m_thread.run([&] { error = work(*m_store); });
    return error;
}

void CloudService::remember(const std::function<bool(SignInMemory &)> &change)
{
    QString error;
    m_thread.run([&] {
        SignInMemory memory = m_remembered->load(&error);
        if (error.isEmpty() && change(memory))
            error = m_remembered->save(memory);
    });
    if (!error.isEmpty())
        qCWarning(servicesLog).noquote() << QStringLiteral("the sign-in cannot be remembered: %1").arg(error);
}

void CloudService::rememberPhone(const QString &phone, const CloudAccount &account, const SignInFlags &flags)
{
    remember([&](SignInMemory &memory) {
        memory.model = SignInMemory::Phone;
        memory.keepsPhone = flags.remember;
        memory.phone = flags.remember ? phone : QString();
        memory.setAuto(flags.autoLogin, account.name, account.id, way::Phone);
        return true;
    });
}

void CloudService::rememberAccount(const CloudAccount &account, const Secret &password, const SignInFlags &flags)
{
    remember([&](SignInMemory &memory) {
        memory.model = SignInMemory::Account;
        memory.account = account.name; // the dialog shows it in any case
        memory.keepsPassword = flags.remember;
        wipe(&memory.password);
        memory.password = flags.remember ? password.toText() : QString();
        memory.setAuto(flags.autoLogin, account.name, account.id, way::Account);
        return true;
    });
}

// The user is asked again when the account was removed, replaced or locked.
void CloudService::signInAgain()
{
    SignInMemory memory;
    QString error;
    m_thread.run([&] { memory = m_remembered->load(&error); });
    if (!error.isEmpty())
        qCWarning(servicesLog).noquote() << QStringLiteral("nothing is remembered: %1").arg(error);
    if (memory.autoAccount.isEmpty())
        return;
    const Secret password(memory.password);
    wipe(&memory.password);
    std::optional<CloudAccount> account;
    error = store([&](CloudStore &s) { return s.find(CloudStore::By::Name, memory.autoAccount, &account); });
    bool stands = account && account->id == memory.autoId && !account->locked;
    if (stands && memory.autoWay == way::Account)
        stands = checkPassword(account->passwordHash, password) == PasswordCheck::Matches;
    else if (stands && memory.autoWay == way::Phone)
        stands = account->phone == memory.phone;
    if (stands)
        startSession(account->name, memory.autoWay, wire::loginState::SignedInAgain);
    else
        qCInfo(servicesLog).noquote() << QStringLiteral("the user is not signed in again: %1")
                                             .arg(error.isEmpty() ? QStringLiteral("the account has changed") : error);
}

std::optional<CallResult> CloudService::enter(const CloudAccount &account, const QString &way, bool lockTip,
                                              const rpc::ICallContext &context)
{
    std::optional<CloudAccount> now;
    std::optional<CallResult> refusal;
    const QString error = store([&](CloudStore &s) { // on its thread, as are removals and locks
        QString failure = s.find(CloudStore::By::Name, account.name, &now);
        if (!failure.isEmpty())
            return failure;
        if (!now || now->id != account.id)
            refusal = refused(QStringLiteral("该账号已被删除"));
        else if (now->locked)
            refusal = lockRefused(lockTip);
        else if (context.isCancelled())
            refusal = refused(QStringLiteral("登录已取消"));
        else
            startSession(account.name, way, wire::loginState::SignedIn);
        return failure;
    });
    return error.isEmpty() ? refusal : unavailable(error);
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

CallResult CloudService::loginState(const Bag &input)
{
    Q_UNUSED(input)
    const QMutexLocker lock(&m_sessionLock);
    const bool signingIn = m_session.account.isEmpty() && m_signingIn > 0;
    return ok({{key::LoginState, signingIn ? wire::loginState::SigningIn : m_session.state}});
}

CallResult CloudService::status(const Bag &input)
{
    CallResult result = loginState(input);
    const QMutexLocker lock(&m_sessionLock);
    QVariantMap &values = result.output.values;
    values.insert(key::User, m_session.account);
    values.insert(wire::Way, m_session.way);
    values.insert(wire::Since, m_session.account.isEmpty() ? QString() : timeText(m_session.since));
    return result;
}

CallResult CloudService::logout(const Bag &input)
{
    Q_UNUSED(input)
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

CallResult CloudService::addAccount(const Bag &input, const rpc::ICallContext &context)
{
    RequestReader request(input.values);
    CloudAccount account = readAccount(&request);
    const Secret password(request.text(key::Password));
    if (password.isEmpty())
        request.fail(QStringLiteral("the password is empty"));
    if (!request.error().isEmpty())
        return invalid(request.error());
    {
        if (!hashPlaces().tryAcquire())
            return busy();
        const QSemaphoreReleaser place(hashPlaces());
        if (context.isCancelled())
            return refused(QStringLiteral("the call was cancelled"));
        account.passwordHash = hashPassword(password);
    }
    account.id = randomHex(AccountIdBytes);
    if (account.passwordHash.isEmpty())
        return unavailable(QStringLiteral("not enough memory for the password's hash"));
    bool taken = false;
    const QString error = store([&](CloudStore &s) { return s.add(account, &taken); });
    if (!error.isEmpty())
        return unavailable(error);
    return taken ? refused(QStringLiteral("another account has this name, phone, weixin or qq")) : ok();
}

CallResult CloudService::removeAccount(const Bag &input)
{
    RequestReader request(input.values);
    const QString name = readUser(&request);
    if (!request.error().isEmpty())
        return invalid(request.error());
    bool known = false;
    const QString error = store([&](CloudStore &s) {
        QString failure = s.remove(name, &known);
        if (failure.isEmpty())
            endSession(name);
        return failure;
    });
    if (error.isEmpty())
        remember([&](SignInMemory &memory) { return memory.forget(name); });
    return answerForName(error, known, name);
}

CallResult CloudService::lockAccount(const Bag &input)
{
    RequestReader request(input.values);
    const QString name = readUser(&request);
    const bool locked = request.flag(wire::Locked, true);
    if (!request.error().isEmpty())
        return invalid(request.error());
    bool known = false;
    const QString error = store([&](CloudStore &s) {
        QString failure = s.setLocked(name, locked, &known);
        if (failure.isEmpty() && locked)
            endSession(name);
        return failure;
    });
    return answerForName(error, known, name);
}

CallResult CloudService::listAccounts(const Bag &input)
{
    Q_UNUSED(input)
    QList<CloudAccount> accounts;
    const QString error = store([&](CloudStore &s) { return s.accounts(&accounts); });
    if (!error.isEmpty())
        return unavailable(error);
    QVariantList list;
    for (const CloudAccount &account : qAsConst(accounts))
        list.append(QVariantMap{{key::User, account.name},
                                {key::Phone, account.phone},
                                {wire::Weixin, account.weixin},
                                {wire::Qq, account.qq},
                                {wire::Locked, account.locked}});
    return ok({}, list);
}

CallResult CloudService::listOutbox(const Bag &input)
{
    Q_UNUSED(input)
    QList<OneTimeCodes::Sent> sent;
    const QString error = store([&](CloudStore &) { return m_codes->outbox(&sent); });
    if (!error.isEmpty())
        return unavailable(error);
    QVariantList list;
    for (const OneTimeCodes::Sent &entry : qAsConst(sent))
        list.append(
            QVariantMap{{key::Phone, entry.phone}, {key::Code, entry.code}, {wire::SentTime, timeText(entry.sentAt)}});
    return ok({}, list);
}

} // namespace tarn::services
