#include "message/NoticeQueue.h"

#include "base/Log.h"
#include "tarn/keys/MessageKeys.h"
#include "widgets/SafeHtml.h"

#include <QMutexLocker>

#include <algorithm>

namespace tarn::visualized {
namespace {
namespace key = tarn::message::key;

constexpr int MaxId = 256;          // characters
constexpr int MaxName = 4096;       // characters of a title, a link or a path
constexpr int MaxContent = 1 << 20; // characters
constexpr qint64 MinBytes = 1024;   // an empty notice costs memory, too

qint64 bytesOf(const NoticeQueue::Values &values)
{
    qint64 bytes = MinBytes;
    for (const QVariant &value : values)
        bytes += value.toString().size() * qint64(sizeof(QChar));
    return bytes;
}
} // namespace

NoticeQueue::Values NoticeQueue::bounded(const Values &values)
{
    const QString id = values.value(key::MsgId).toString();
    if (id.size() > MaxId) {
        VT_LOG(warning) << QStringLiteral("通知栏消息：消息ID过长，不展现。长度:%1").arg(id.size());
        return {};
    }
    Values result{{key::MsgId, id}, {key::unReadNum, values.value(key::unReadNum).toInt()}};
    const auto add = [&](const QString &name, int limit, bool canBeCut) {
        QString text = values.value(name).toString();
        if (text.size() > limit) {
            VT_LOG(warning) << QStringLiteral("通知栏消息：%1过长，已截断或忽略。消息ID:%2，长度:%3")
                                   .arg(name, id, QString::number(text.size()));
            text = canBeCut ? safehtml::head(text, limit) : QString();
        }
        result.insert(name, text);
    };
    add(key::MsgTitle, MaxName, true);
    add(key::MsgContent, MaxContent, true);
    add(key::LinkText, MaxName, true);
    add(key::LinkAdress, MaxName, false); // cut, these would name something else
    add(key::PicFilePath, MaxName, false);
    return result;
}

void NoticeQueue::posted(Values *values)
{
    const QMutexLocker lock(&m_mutex);
    m_waiting.push_back({values, {}, bytesOf(*values)});
    m_bytes += m_waiting.back().bytes;
    while (m_waiting.size() > 1 && (m_waiting.size() > MaxCount || m_bytes > MaxBytes))
        dropOldest();
}

bool NoticeQueue::arrived(Values *values)
{
    const QMutexLocker lock(&m_mutex);
    const auto found = find(values);
    if (found == m_waiting.end())
        return false;
    found->event = nullptr;
    found->values.swap(*values);
    return true;
}

void NoticeQueue::forget(Values *values)
{
    const QMutexLocker lock(&m_mutex);
    const auto found = find(values);
    if (found == m_waiting.end())
        return;
    m_bytes -= found->bytes;
    m_waiting.erase(found);
}

bool NoticeQueue::isEmpty() const
{
    const QMutexLocker lock(&m_mutex);
    // Events are delivered in the order in which they were posted.
    return m_waiting.empty() || m_waiting.front().event;
}

NoticeQueue::Values NoticeQueue::take()
{
    const QMutexLocker lock(&m_mutex);
    if (m_waiting.empty() || m_waiting.front().event)
        return {};
    const Waiting oldest = std::move(m_waiting.front());
    m_waiting.pop_front();
    m_bytes -= oldest.bytes;
    return oldest.values;
}

void NoticeQueue::dropOldest()
{
    Waiting &oldest = m_waiting.front();
    Values &values = oldest.event ? *oldest.event : oldest.values;
    VT_LOG(warning)
        << QStringLiteral("通知栏消息过多，丢弃最早的消息。消息ID:%1").arg(values.value(key::MsgId).toString());
    values.clear();
    m_bytes -= oldest.bytes;
    m_waiting.pop_front();
}

std::deque<NoticeQueue::Waiting>::iterator NoticeQueue::find(const Values *event)
{
    return std::find_if(m_waiting.begin(), m_waiting.end(), [event](const Waiting &one) { return one.event == event; });
}

} // namespace tarn::visualized
