#pragma once

#include <QMap>
#include <QMutex>
#include <QVariant>
#include <deque>

namespace tarn::visualized {

/// The notices between their callers and the screen. Each stays up for a deliberate two seconds, so that callers can be
/// faster than the windows: at most 32 notices or 16 MiB wait, and the oldest is dropped with a warning. A notice first
/// waits in its posted event, whose map the queue knows by address, and from its delivery on in the queue itself.
/// Any thread.
class NoticeQueue final
{
public:
    using Values = QMap<QString, QVariant>;

    static constexpr int MaxCount = 32;
    static constexpr qint64 MaxBytes = 16 * 1024 * 1024;

    NoticeQueue() = default;
    Q_DISABLE_COPY(NoticeQueue)

    /// What a notice can show of these values: strings and a number, an over-long title or text cut, an over-long path or
    /// address left out; each with a log line. @return an empty map when the message id is over-long
    static Values bounded(const Values &values);

    /// Called when an event with this map is posted. The queue may clear the map until arrived() or forget().
    void posted(Values *values);
    /// Called when the event is delivered: moves its notice into the queue. @return false when it has been dropped
    bool arrived(Values *values);
    /// Called when the event is destroyed; an undelivered one waits no longer.
    void forget(Values *values);

    bool isEmpty() const; ///< whether no delivered notice waits
    /// The oldest delivered notice; an empty map when there is none.
    Values take();

private:
    struct Waiting
    {
        Values *event = nullptr; // null once delivered
        Values values;
        qint64 bytes = 0;
    };
    void dropOldest();
    std::deque<Waiting>::iterator find(const Values *event);

    mutable QMutex m_mutex;
    std::deque<Waiting> m_waiting; // oldest first
    qint64 m_bytes = 0;
};

} // namespace tarn::visualized
