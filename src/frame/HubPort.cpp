#include "frame/HubPort.h"
#include "tarn/keys/HubKeys.h"
#include "tarn/rpc/HubPort.h"
#include <QByteArray>
#include <QSharedMemory>
#include <chrono>
#include <future>
#include <system_error>
#include <thread>
#include <utility>

using namespace tarn::visualized;

namespace {
constexpr int HighestPort = 65535;
constexpr auto SegmentLimit = std::chrono::seconds(1);

using Answer = std::pair<int, QString>; // the port, 0 for none, and the reason

int portIn(const QSharedMemory &segment)
{
    const int size = qMin(segment.size(), tarn::hub::PortSegmentSize);
    const auto *text = static_cast<const char *>(segment.constData());
    const int length = int(qstrnlen(text, uint(size)));
    bool ok = false;
    const int port = QByteArray(text, length).trimmed().toInt(&ok);
    return ok && port > 0 && port <= HighestPort ? port : 0;
}

Answer readSegment()
{
    QSharedMemory segment(tarn::hub::PortSegmentKey);
    if (!segment.attach(QSharedMemory::ReadOnly))
        return {0, segment.errorString()};
    const int port = portIn(segment);
    // The last process to detach removes the segment: when the hub has died, that was this one.
    segment.detach();
    if (!segment.attach(QSharedMemory::ReadOnly))
        return {0, segment.errorString()};
    segment.detach();
    return {port, port == 0 ? QStringLiteral("共享内存中的端口无效") : QString()};
}

/// Another user can hold the segment's lock for ever, so that it is read on a thread that may be left to itself. One such
/// thread is enough: the next one would wait for the same lock. An answer that comes after the limit is dropped, since the
/// hub may have ended by the time of the next call.
Answer readSegmentWithLimit()
{
    static std::future<Answer> reading;
    const Answer occupied{0, QStringLiteral("共享内存被其他程序占用")};
    if (reading.valid() && reading.wait_for(std::chrono::seconds(0)) != std::future_status::ready)
        return occupied;
    std::packaged_task<Answer()> task(readSegment);
    reading = task.get_future();
    std::thread(std::move(task)).detach();
    return reading.wait_for(SegmentLimit) == std::future_status::ready ? reading.get() : occupied;
}
} // namespace

int hubport::read(QString &errorText)
{
    QString reason;
    if (const int port = tarn::rpc::hubPort(&reason))
        return port;
    try {
        const auto [port, error] = readSegmentWithLimit();
        errorText = QStringLiteral("%1；%2").arg(reason, error);
        return port;
    } catch (const std::system_error &error) { // no thread
        errorText = QString::fromLocal8Bit(error.what());
        return 0;
    }
}
