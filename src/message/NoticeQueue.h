#pragma once

#include <QMap>
#include <QMutex>
#include <QVariant>
#include <deque>

namespace tarn::visualized {

/// The notices between their callers and the screen. Two seconds pass between a window's end and the next window, so that
/// callers can be faster: at most 32 notices or 16 MiB wait, and the oldest is dropped with a warning. A notice first waits
/// in its posted event, whose map the queue knows by its address, later in the queue itself. Any thread.
class NoticeQueue final
{
public:
    using Values = QMap<QString, QVariant>;

    static constexpr int MaxCount = 32;
    static constexpr qint64 MaxBytes = 16 * 1024 * 1024;

    NoticeQueue() = default;
    Q_DISABLE_COPY(NoticeQueue)
    static NoticeQueue &instance();

    /// For a new event's map. Until claim() or forget() the queue may clear the map.
    void posted(Values *values);
    void forget(const Values *values) { claim(values); } ///< the event is destroyed
    /// For a delivered event: takes its notice. @return an empty map when it was dropped
    Values claim(const Values *values);

    void add(const Values &values); ///< a claimed notice that has to wait
    Values take();                  ///< the oldest claimed notice; empty when there is none
    void clear();                   ///< drops the claimed notices

private:
    struct Waiting
    {
        Values *event; ///< null once claimed
        Values values;
        qint64 bytes;
    };
    using Entry = std::deque<Waiting>::iterator;

    Values removed(Entry entry);
    void insert(const Waiting &waiting);

    QMutex m_mutex;
    std::deque<Waiting> m_waiting; // claimed ones first, then posted ones, each oldest first
    qint64 m_bytes = 0;
};

} // namespace tarn::visualized
