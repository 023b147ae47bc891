#include "hub/PortSegment.h"
#include "tarn/keys/HubKeys.h"
#include <chrono>
#include <cstring>
#include <future>
#include <system_error>
#include <thread>

namespace {

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

/// Runs the work in a new thread. @return its answer, or that it has not ended yet
QString within(std::chrono::milliseconds limit, std::function<QString()> work)
{
    std::packaged_task<QString()> task(std::move(work));
    auto answer = task.get_future();
    try {
        std::thread(std::move(task)).detach();
    } catch (const std::system_error &e) {
        return QString::fromLocal8Bit(e.what());
    }
    return answer.wait_for(limit) == std::future_status::ready ? answer.get()
                                                               : QStringLiteral("another process holds its lock");
}

} // namespace

PortSegment::~PortSegment()
{
    if (m_segment)
        within(std::chrono::milliseconds(500), [segment = m_segment] {
            write(*segment, QByteArray()); // for programs that keep it attached
            segment->detach();
            return QString();
        });
}

void PortSegment::publish(quint16 port)
{
    const auto segment = std::make_shared<QSharedMemory>(tarn::hub::PortSegmentKey);
    const QString trouble = within(std::chrono::seconds(2), [segment, port] { return publishIn(*segment, port); });
    if (trouble.isEmpty())
        m_segment = segment;
    else
        qWarning("the port is not published in shared memory, programs find this hub by its socket alone: %s",
                 qUtf8Printable(trouble));
}
