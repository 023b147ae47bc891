#include "services/cloud/OneTimeCodes.h"
#include "services/cloud/Vault.h"
#include <sodium.h>

namespace tarn::services {

namespace {

constexpr qint64 LifetimeMs = 300'000;
constexpr qint64 PauseMs = 60'000;
constexpr qint64 DayMs = 24 * 3600 * 1000LL;
constexpr int Tries = 5;
constexpr int DayTries = 20;
constexpr quint32 Codes = 1'000'000;

Secret newCode()
{
    return Secret(QByteArray::number(randombytes_uniform(Codes)).rightJustified(6, '0'));
}

// A clock that was set back makes the age of a code negative.
bool isWithin(qint64 age, qint64 limit)
{
    return age >= 0 && age < limit;
}

} // namespace

OneTimeCodes::OneTimeCodes(CloudStore *store, const Vault *vault, Clock clock)
    : m_store(store)
    , m_vault(vault)
    , m_clock(std::move(clock))
{
}

QString OneTimeCodes::last(const QString &phone, StoredCode *code) const
{
    QList<StoredCode> list;
    QString error = m_vault->error();
    if (error.isEmpty() && !phone.isEmpty())
        error = m_store->codes(&list, phone);
    *code = list.value(0);
    code->phone = phone;
    return error;
}

QString OneTimeCodes::store(const StoredCode &code) const
{
    return m_store->putCode(code, m_clock() - DayMs, m_clock());
}

QString OneTimeCodes::send(const QString &phone, QString *refusal)
{
    StoredCode code;
    QString error = last(phone, &code);
    if (!error.isEmpty())
        return error;
    const qint64 now = m_clock();
    if (!code.sealed.isEmpty() && isWithin(now - code.sentAt, PauseMs)) {
        *refusal = QStringLiteral("动态密码发送过于频繁，请%1秒后再试").arg((PauseMs - now + code.sentAt + 999) / 1000);
        return {};
    }
    code.sealed = m_vault->seal(newCode());
    code.sentAt = now;
    code.triesLeft = Tries;
    return store(code);
}

QString OneTimeCodes::check(const QString &phone, const Secret &code, QString *refusal)
{
    StoredCode stored;
    QString error = last(phone, &stored);
    if (!error.isEmpty())
        return error;
    const qint64 now = m_clock();
    if (stored.triesLeft <= 0 || !isWithin(now - stored.sentAt, LifetimeMs)) {
        *refusal = QStringLiteral("动态密码已失效，请重新获取");
        return {};
    }
    if (stored.dayTries == 0 || !isWithin(now - stored.daySince, DayMs)) {
        stored.daySince = now;
        stored.dayTries = 0;
    }
    if (stored.dayTries >= DayTries) {
        *refusal = QStringLiteral("动态密码尝试次数过多，请24小时后再试");
        return {};
    }
    ++stored.dayTries;
    --stored.triesLeft;
    error = store(stored); // before the answer is known, so that no try is free
    if (!error.isEmpty())
        return error;
    const auto expected = m_vault->open(stored.sealed);
    if (!expected || expected->size() != code.size() ||
        sodium_memcmp(expected->data(), code.data(), static_cast<size_t>(code.size())) != 0) {
        *refusal = QStringLiteral("动态密码错误");
        return {};
    }
    stored.triesLeft = 0;
    return store(stored);
}

QString OneTimeCodes::outbox(QList<Sent> *entries)
{
    QList<StoredCode> all;
    QString error = m_store->codes(&all);
    for (const StoredCode &entry : qAsConst(all)) {
        const bool isValid = entry.triesLeft > 0 && isWithin(m_clock() - entry.sentAt, LifetimeMs);
        if (const auto code = isValid ? m_vault->open(entry.sealed) : std::nullopt)
            entries->append({entry.phone, code->toText(), entry.sentAt});
    }
    return error;
}

} // namespace tarn::services
