#pragma once
#include <QHash>
#include <QMutex>
#include <QString>
#include <functional>

namespace tarn::services {

/// Slows down guessing: after five failures in a row an account has to wait, twice as long with each further one, up to
/// five minutes. Names that do not exist are counted alike. Other accounts are not held up. Any thread.
class SignInBackoff
{
public:
    using Clock = std::function<qint64()>; ///< milliseconds

    explicit SignInBackoff(Clock clock);

    /// To be asked before an attempt, which counts as failed from here on: attempts side by side do not slip through.
    /// @return 0 when it may be made, else the seconds to wait
    int admit(const QString &name);
    void succeeded(const QString &name);
    void withdrawn(const QString &name); ///< the attempt was not judged and does not count

private:
    struct Record
    {
        int failures = 0;
        qint64 last = 0;
        qint64 previous = 0; ///< the last one's time before it
    };
    void makeRoom(qint64 now);

    const Clock m_clock;
    QMutex m_lock;
    QHash<QString, Record> m_records;
};

} // namespace tarn::services
