#include "message/NoticeQueue.h"

#include "base/Log.h"
#include "tarn/keys/MessageKeys.h"

#include <QMutexLocker>

#include <algorithm>

namespace tarn::visualized {
namespace {

constexpr qint64 LeastBytes = 1024; // of an empty notice

qint64 bytesOf(const NoticeQueue::Values &values)
{
    qint64 bytes = LeastBytes;
    for (const QVariant &value : values)
        bytes += value.toString().size() * qint64(sizeof(QChar));
    return bytes;
}

} // namespace

NoticeQueue &NoticeQueue::instance()
{
    static NoticeQueue queue;
    return queue;
}

void NoticeQueue::posted(Values *values)
{
    insert({values, {}, bytesOf(*values)});
}

void NoticeQueue::add(const Values &values)
{
    insert({nullptr, values, bytesOf(values)});
}

NoticeQueue::Values NoticeQueue::claim(const Values *values)
{
    const QMutexLocker lock(&m_mutex);
    const Entry found =
        std::find_if(m_waiting.begin(), m_waiting.end(), [values](const Waiting &one) { return one.event == values; });
    return found == m_waiting.end() ? Values() : removed(found);
}

NoticeQueue::Values NoticeQueue::take()
{
    const QMutexLocker lock(&m_mutex);
    return m_waiting.empty() || m_waiting.front().event ? Values() : removed(m_waiting.begin());
}

void NoticeQueue::clear()
{
    while (!take().isEmpty()) {
    }
}

NoticeQueue::Values NoticeQueue::removed(Entry entry)
{
    Values values;
    values.swap(entry->event ? *entry->event : entry->values);
    m_bytes -= entry->bytes;
    m_waiting.erase(entry);
    return values;
}

void NoticeQueue::insert(const Waiting &waiting)
{
    QStringList dropped;
    {
        const QMutexLocker lock(&m_mutex);
        const Entry firstPosted =
            std::find_if(m_waiting.begin(), m_waiting.end(), [](const Waiting &one) { return one.event; });
        m_waiting.insert(waiting.event ? m_waiting.end() : firstPosted, waiting);
        m_bytes += waiting.bytes;
        while (m_waiting.size() > 1 && (m_waiting.size() > MaxCount || m_bytes > MaxBytes))
            dropped.append(removed(m_waiting.begin()).value(tarn::message::key::MsgId).toString());
    }
    // A host's log may wait for the GUI thread, which may wait for the lock.
    for (const QString &id : qAsConst(dropped))
        VT_LOG(warning) << QStringLiteral("通知栏消息过多，丢弃最早的消息。消息ID:%1").arg(id);
}

} // namespace tarn::visualized
