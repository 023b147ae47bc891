#include "services/cloud/OneTimeCodes.h"
#include "tarn/keys/CloudKeys.h"
#include "tarn/link/CloudWire.h"
#include <sodium.h>

namespace tarn::services {

namespace key = cloud::key;

namespace {

constexpr qint64 LifetimeMs = 300'000;
constexpr qint64 PauseMs = 60'000;
constexpr qint64 DayMs = 24 * 3600 * 1000LL;
constexpr int Tries = 5;
constexpr int DayTries = 20;
constexpr quint32 Codes = 1'000'000;
constexpr int MaxStored = 1000;

// A clock that was set back makes the age of a code negative.
bool isWithin(qint64 age, qint64 limit)
{
    return age >= 0 && age < limit;
}

} // namespace

OneTimeCodes::OneTimeCodes(CloudStore *store, Clock clock)
    : m_store(store)
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
    m_store->vault.requireKey();
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

QString OneTimeCodes::send(const QString &phone) const
{
    QString refusal;
    m_store->inTransaction([&] {
        Stored code = last(phone);
        const qint64 now = m_clock();
        if (!code.sealed.isEmpty() && isWithin(now - code.sentAt, PauseMs)) {
            refusal =
                QStringLiteral("动态密码发送过于频繁，请%1秒后再试").arg((PauseMs - now + code.sentAt + 999) / 1000);
            return;
        }
        code.sealed =
            m_store->vault.seal(Secret(QByteArray::number(randombytes_uniform(Codes)).rightJustified(6, '0')));
        code.sentAt = now;
        code.triesLeft = Tries;
        store(code);
    });
    return refusal;
}

QString OneTimeCodes::check(const QString &phone, const Secret &code) const
{
    QString refusal;
    m_store->inTransaction([&] { refusal = checkNow(last(phone), code); });
    return refusal;
}

// The try is stored before its answer is known.
QString OneTimeCodes::checkNow(Stored stored, const Secret &code) const
{
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
    const auto expected = m_store->vault.open(stored.sealed);
    const bool fits = expected && expected->size() == code.size() &&
                      sodium_memcmp(expected->data(), code.data(), static_cast<size_t>(code.size())) == 0;
    if (fits)
        stored.triesLeft = 0;
    store(stored);
    return fits ? QString() : QStringLiteral("动态密码错误");
}

QVariantList OneTimeCodes::outbox() const
{
    QVariantList entries;
    const QList<Stored> all = read(QStringLiteral("ORDER BY sent_at DESC, rowid DESC"));
    for (const Stored &entry : all) {
        const bool isValid = entry.triesLeft > 0 && isWithin(m_clock() - entry.sentAt, LifetimeMs);
        if (const auto code = isValid ? m_store->vault.open(entry.sealed) : std::nullopt)
            entries << QVariantMap{
                {key::Phone, entry.phone}, {key::Code, code->toText()}, {link::wire::SentTime, timeText(entry.sentAt)}};
    }
    return entries;
}

} // namespace tarn::services
