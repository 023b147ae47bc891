#include "hub/PortSegment.h"
#include "tarn/keys/HubKeys.h"
#include <QSharedMemory>
#include <chrono>
#include <condition_variable>
#include <cstring>
#include <mutex>
#include <system_error>
#include <thread>

namespace {

constexpr std::chrono::seconds PublishTime(2);
constexpr std::chrono::milliseconds WithdrawTime(500);

bool write(QSharedMemory &segment, const QByteArray &text)
{
    if (!segment.lock())
        return false;
    auto *bytes = static_cast<char *>(segment.data());
    std::memset(bytes, 0, tarn::hub::PortSegmentSize);
    std::memcpy(bytes, text.constData(), static_cast<size_t>(text.size()));
    return segment.unlock();
}

QString publishIn(QSharedMemory &segment, quint16 port)
{
    const bool created = segment.create(tarn::hub::PortSegmentSize);
    const bool taken = !created && segment.error() == QSharedMemory::AlreadyExists && segment.attach();
    if ((created || taken) && segment.size() < tarn::hub::PortSegmentSize)
        return QStringLiteral("it is too small");
    return (created || taken) && write(segment, QByteArray::number(port)) ? QString() : segment.errorString();
}

} // namespace

struct PortSegment::Shared
{
    std::mutex mutex;
    std::condition_variable changed;
    bool published = false; ///< or refused
    bool stop = false;
    bool ended = false;
};

PortSegment::PortSegment()
    : m_shared(std::make_shared<Shared>())
{
}

PortSegment::~PortSegment()
{
    std::unique_lock<std::mutex> lock(m_shared->mutex);
    m_shared->stop = true;
    m_shared->changed.notify_all();
    m_shared->changed.wait_for(lock, WithdrawTime, [this] { return m_shared->ended || !m_shared->published; });
}

void PortSegment::publish(quint16 port)
{
    const auto work = [shared = m_shared, port] {
        QSharedMemory segment(tarn::hub::PortSegmentKey);
        const QString trouble = publishIn(segment, port);
        if (!trouble.isEmpty())
            qWarning("the port cannot be published in shared memory, programs find this hub by its socket alone: %s",
                     qUtf8Printable(trouble));
        std::unique_lock<std::mutex> lock(shared->mutex);
        shared->published = true;
        shared->changed.notify_all();
        shared->changed.wait(lock, [&] { return shared->stop; });
        lock.unlock();
        if (trouble.isEmpty()) {
            write(segment, QByteArray()); // for programs that keep it attached
            segment.detach();
        }
        lock.lock();
        shared->ended = true;
        shared->changed.notify_all();
    };
    try {
        std::thread(work).detach();
    } catch (const std::system_error &e) {
        qWarning("the port is not published in shared memory, no thread can be started: %s", e.what());
        return;
    }
    std::unique_lock<std::mutex> lock(m_shared->mutex);
    if (!m_shared->changed.wait_for(lock, PublishTime, [this] { return m_shared->published; }))
        qWarning("the port is not published in shared memory yet: another process holds the lock of the segment");
}
