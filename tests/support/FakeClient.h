#pragma once

#include <QLibrary>
#include <QMutex>
#include <QThread>
#include <QVariant>
#include <QWaitCondition>
#include <atomic>

// A client library without services: a real libTARN.ServiceClient.Base.so with the real entry point and assistants, in
// FakeClient::directory(). A test sets TARN_MODULE_PATH to that directory before the shipped code loads it, and drives
// it through the second entry point that fake() calls.

struct FakeAnswer
{
    int code = 0;
    QString error = {};
    QVariantMap values = {};
    QVariantList list = {};
    int delayMs = 0;
    bool hang = false; // answers only after releaseHangs() or the assistant's UnInitialize()
};

struct FakeCall
{
    QString operation; // as in the interface, e.g. "AddMessageReceipt"; also "Initialize message" and the like
    QVariantMap values;
    QVariantList list;
};

// The control of the fake. The test and the library compile it alike, and share the library's one object. Any thread.
class FakeControl final
{
public:
    // Answers to one operation, first in first out; without any it answers with its family's success code.
    void queue(const QString &operation, const FakeAnswer &answer)
    {
        const QMutexLocker locker(&m_mutex);
        m_answers[operation].append(answer);
    }
    QList<FakeCall> calls() const
    {
        const QMutexLocker locker(&m_mutex);
        return m_calls;
    }
    QStringList operations() const // of calls()
    {
        QStringList result;
        for (const FakeCall &call : calls())
            result.append(call.operation);
        return result;
    }
    int hanging() const { return m_hanging; } // calls that hang right now
    void releaseHangs()
    {
        const QMutexLocker locker(&m_mutex);
        ++m_releases;
        m_released.wakeAll();
    }
    bool isAvailable() const { return m_available; }
    void setAvailable(bool available) { m_available = available; } // false: the manager hands out null assistants
    void reset()
    {
        const QMutexLocker locker(&m_mutex);
        m_answers.clear();
        m_calls.clear();
        m_available = true;
    }

    // The library's: records the call and waits as its answer says.
    FakeAnswer take(const FakeCall &call, int successCode)
    {
        QMutexLocker locker(&m_mutex);
        m_calls.append(call);
        FakeAnswer answer;
        answer.code = successCode;
        auto &queued = m_answers[call.operation];
        if (!queued.isEmpty())
            answer = queued.takeFirst();
        if (answer.hang) {
            ++m_hanging;
            for (const int seen = m_releases; m_releases == seen;)
                m_released.wait(&m_mutex);
            --m_hanging;
        }
        locker.unlock();
        QThread::msleep(ulong(answer.delayMs));
        return answer;
    }

private:
    mutable QMutex m_mutex;
    QWaitCondition m_released;
    QHash<QString, QList<FakeAnswer>> m_answers;
    QList<FakeCall> m_calls;
    std::atomic<int> m_hanging{0};
    int m_releases = 0;
    std::atomic<bool> m_available{true};
};

namespace FakeClient {

inline QString directory()
{
    return QString::fromLocal8Bit(TARN_FAKE_CLIENT_DIR);
}

// Sets the module path; in initTestCase(), before the shipped code needs the library.
inline void install()
{
    qputenv("TARN_MODULE_PATH", directory().toLocal8Bit());
}

// The control of the library. Keeps it loaded from then on.
inline FakeControl &fake()
{
    static QLibrary library(directory() + QStringLiteral("/libTARN.ServiceClient.Base.so"));
    using Entry = FakeControl *(*)();
    static const auto entry = reinterpret_cast<Entry>(library.resolve("fakeClient"));
    if (!entry)
        qFatal("no fake client library in %s", qPrintable(directory()));
    return *entry();
}

// The values of one operation's calls, in order.
inline QList<QVariantMap> callsOf(const QString &operation)
{
    QList<QVariantMap> found;
    for (const FakeCall &call : fake().calls()) {
        if (call.operation == operation)
            found << call.values;
    }
    return found;
}

} // namespace FakeClient
