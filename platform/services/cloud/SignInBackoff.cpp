#include "services/cloud/SignInBackoff.h"
#include <QMutexLocker>
#include <algorithm>
#include <utility>

namespace tarn::services {

namespace {

constexpr int FreeFailures = 5;
constexpr int MaxNames = 10000;
constexpr qint64 FirstWaitMs = 2000;
constexpr qint64 LongestWaitMs = 300'000;
constexpr qint64 ForgetMs = 2 * LongestWaitMs; // without a further failure

qint64 waitAfter(int failures)
{
    if (failures < FreeFailures)
        return 0;
    return std::min(LongestWaitMs, FirstWaitMs << std::min(failures - FreeFailures, 20));
}

} // namespace

SignInBackoff::SignInBackoff(Clock clock)
    : m_clock(std::move(clock))
{
}

int SignInBackoff::admit(const QString &name)
{
    const qint64 now = m_clock();
    const QMutexLocker lock(&m_lock);
    makeRoom(now);
    Record &record = m_records[name];
    if (now - record.last > ForgetMs)
        record.failures = 0;
    record.last = std::min(record.last, now); // the clock may have been set back
    const qint64 left = record.last + waitAfter(record.failures) - now;
    if (left > 0)
        return static_cast<int>((left + 999) / 1000);
    ++record.failures;
    record.previous = std::exchange(record.last, now);
    return 0;
}

void SignInBackoff::succeeded(const QString &name)
{
    const QMutexLocker lock(&m_lock);
    m_records.remove(name);
}

void SignInBackoff::withdrawn(const QString &name)
{
    const QMutexLocker lock(&m_lock);
    const auto it = m_records.find(name);
    if (it == m_records.end() || it->failures == 0)
        return;
    --it->failures;
    it->last = it->previous;
}

void SignInBackoff::makeRoom(qint64 now)
{
    if (m_records.size() < MaxNames)
        return;
    for (auto it = m_records.begin(); it != m_records.end();)
        it = now - it->last > ForgetMs ? m_records.erase(it) : std::next(it);
    if (m_records.size() < MaxNames)
        return;
    m_records.erase(std::min_element(m_records.begin(), m_records.end(),
                                     [](const Record &a, const Record &b) { return a.last < b.last; }));
}

} // namespace tarn::services
