#include "services/cloud/OneTimeCodes.h"
#include <sodium.h>

namespace tarn::services {

namespace {

constexpr qint64 LifetimeMs = 300'000;
constexpr qint64 PauseMs = 60'000;
constexpr qint64 DayMs = 24 * 3600 * 1000LL;
constexpr int Tries = 5;
constexpr int DayTries = 20;
constexpr quint32 Codes = 1'000'000;
constexpr int MaxStored = 1000;

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

QList<OneTimeCodes::Stored> OneTimeCodes::read(const QString &condition, const QVariantList &values) const
{
    return m_store->rows(
        QStringLiteral("SELECT * FROM sent_codes %1").arg(condition), values, [](const QSqlQuery &row) {
            return Stored{row.value(0).toString(), row.value(1).toByteArray(), row.value(2).toLongLong(),
                          row.value(3).toInt(),    row.value(4).toLongLong(),  row.value(5).toInt()};
        });
}

OneTimeCodes::Stored OneTimeCodes::last(const QString &phone) const
{
    m_vault->requireKey();
    Stored code = read(QStringLiteral("WHERE phone = ?"), {phone}).value(0);
    code.phone = phone;
    return code;
}

// Deletes old codes, those beyond the limit, and those of the future: they were sent before the clock was set back.
void OneTimeCodes::store(const Stored &code) const
{
    m_store->run(QStringLiteral("INSERT OR REPLACE INTO sent_codes VALUES(?, ?, ?, ?, ?, ?)"),
                 {code.phone, code.sealed, code.sentAt, code.triesLeft, code.daySince, code.dayTries});
    m_store->run(QStringLiteral("DELETE FROM sent_codes WHERE sent_at < ? OR sent_at > ? OR phone NOT IN "
                                "(SELECT phone FROM sent_codes ORDER BY sent_at DESC, rowid DESC LIMIT ?)"),
                 {m_clock() - DayMs, m_clock(), MaxStored});
}

QString OneTimeCodes::send(const QString &phone)
{
    QString refusal;
    m_store->inTransaction([&] { refusal = sendNow(phone); });
    return refusal;
}

QString OneTimeCodes::check(const QString &phone, const Secret &code)
{
    QString refusal;
    m_store->inTransaction([&] { refusal = checkNow(phone, code); }); // the try counts before the answer is known
    return refusal;
}

QString OneTimeCodes::sendNow(const QString &phone) const
{
    Stored code = last(phone);
    const qint64 now = m_clock();
    if (!code.sealed.isEmpty() && isWithin(now - code.sentAt, PauseMs))
        return QStringLiteral("动态密码发送过于频繁，请%1秒后再试").arg((PauseMs - now + code.sentAt + 999) / 1000);
    code.sealed = m_vault->seal(newCode());
    code.sentAt = now;
    code.triesLeft = Tries;
    store(code);
    return {};
}

QString OneTimeCodes::checkNow(const QString &phone, const Secret &code) const
{
    Stored stored = last(phone);
    const qint64 now = m_clock();
    if (stored.triesLeft <= 0 || !isWithin(now - stored.sentAt, LifetimeMs))
        return QStringLiteral("动态密码已失效，请重新获取");
    if (stored.dayTries == 0 || !isWithin(now - stored.daySince, DayMs)) {
        stored.daySince = now;
        stored.dayTries = 0;
    }
    if (stored.dayTries >= DayTries)
        return QStringLiteral("动态密码尝试次数过多，请24小时后再试");
    ++stored.dayTries;
    --stored.triesLeft;
    const auto expected = m_vault->open(stored.sealed);
    const bool fits = expected && expected->size() == code.size() &&
                      sodium_memcmp(expected->data(), code.data(), static_cast<size_t>(code.size())) == 0;
    if (fits)
        stored.triesLeft = 0;
    store(stored);
    return fits ? QString() : QStringLiteral("动态密码错误");
}

QList<OneTimeCodes::Sent> OneTimeCodes::outbox()
{
    QList<Sent> entries;
    const QList<Stored> all = read(QStringLiteral("ORDER BY sent_at DESC, rowid DESC"));
    for (const Stored &entry : all) {
        const bool isValid = entry.triesLeft > 0 && isWithin(m_clock() - entry.sentAt, LifetimeMs);
        if (const auto code = isValid ? m_vault->open(entry.sealed) : std::nullopt)
            entries.append({entry.phone, code->toText(), entry.sentAt});
    }
    return entries;
}

} // namespace tarn::services
