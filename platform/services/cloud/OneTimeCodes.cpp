#include "services/cloud/OneTimeCodes.h"
#include "services/cloud/CloudStore.h"
#include "services/cloud/Vault.h"
#include <sodium.h>

namespace tarn::services {

namespace {

constexpr qint64 LifetimeMs = 300'000;
constexpr qint64 PauseMs = 60'000;
constexpr int Tries = 5;
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

QString OneTimeCodes::send(const QString &phone, QString *refusal)
{
    if (!m_vault->error().isEmpty())
        return m_vault->error();
    std::optional<StoredCode> last;
    QString error = m_store->code(phone, &last);
    if (!error.isEmpty())
        return error;
    const qint64 now = m_clock();
    if (last && isWithin(now - last->sentAt, PauseMs)) {
        *refusal =
            QStringLiteral("动态密码发送过于频繁，请%1秒后再试").arg((PauseMs - now + last->sentAt + 999) / 1000);
        return {};
    }
    const Secret code = newCode();
    return m_store->putCode({phone, m_vault->seal(code), now}, {m_vault->fingerprint(code, phone), now, Tries},
                            now - LifetimeMs);
}

QString OneTimeCodes::check(const QString &phone, const Secret &code, QString *refusal)
{
    if (!m_vault->error().isEmpty())
        return m_vault->error();
    std::optional<StoredCode> stored;
    QString error = m_store->code(phone, &stored);
    if (!error.isEmpty())
        return error;
    if (!stored || stored->triesLeft <= 0 || !isWithin(m_clock() - stored->sentAt, LifetimeMs)) {
        *refusal = QStringLiteral("动态密码已失效，请重新获取");
        return {};
    }
    bool granted = false; // counted before the answer is known, so that no try is free
    error = m_store->takeTry(phone, m_clock(), DailyLimit(), &granted);
    if (!error.isEmpty())
        return error;
    if (!granted) {
        *refusal = QStringLiteral("动态密码尝试次数过多，请24小时后再试");
        return {};
    }
    const QByteArray hash = m_vault->fingerprint(code, phone);
    if (hash.size() == stored->hash.size() &&
        sodium_memcmp(hash.constData(), stored->hash.constData(), static_cast<size_t>(hash.size())) == 0)
        return m_store->dropCode(phone);
    *refusal = QStringLiteral("动态密码错误");
    return stored->triesLeft > 1 ? QString() : m_store->dropCode(phone);
}

QString OneTimeCodes::outbox(QList<Sent> *entries)
{
    QList<OutboxEntry> sealed;
    const qint64 now = m_clock();
    QString error = m_store->outbox(now - LifetimeMs, now, &sealed);
    for (const OutboxEntry &entry : qAsConst(sealed)) {
        if (const auto code = m_vault->open(entry.sealedCode))
            entries->append({entry.phone, code->toText(), entry.sentAt});
    }
    return error;
}

} // namespace tarn::services
