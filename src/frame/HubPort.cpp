#include "frame/HubPort.h"
#include "tarn/keys/HubKeys.h"
#include <QByteArray>
#include <QSharedMemory>
#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <system_error>
#include <thread>
#include <utility>

namespace {
constexpr int HighestPort = 65535;
constexpr auto SegmentLimit = std::chrono::seconds(1);

struct Answer
{
    int port = 0;
    QString error;
};

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

/// One reading on a thread that is left to itself when it does not come back.
struct Reading
{
    std::mutex mutex;
    std::condition_variable changed;
    bool done = false;
    Answer answer;
};

std::shared_ptr<Reading> startReading()
{
    auto reading = std::make_shared<Reading>();
    std::thread([reading] {
        const Answer answer = readSegment();
        const std::lock_guard<std::mutex> lock(reading->mutex);
        reading->answer = answer;
        reading->done = true;
        reading->changed.notify_all();
    }).detach();
    return reading;
}

Answer readSegmentWithLimit()
{
    static std::shared_ptr<Reading> stuck; // further threads would wait for the same lock
    const auto limit = stuck ? std::chrono::seconds(0) : SegmentLimit;
    const std::shared_ptr<Reading> reading = stuck ? std::exchange(stuck, nullptr) : startReading();
    std::unique_lock<std::mutex> lock(reading->mutex);
    if (reading->changed.wait_for(lock, limit, [&reading] { return reading->done; }))
        return reading->answer;
    stuck = reading;
    return {0, QStringLiteral("共享内存被其他程序占用")};
}
} // namespace

int hubport::read(QString &errorText)
{
    try {
        const Answer answer = readSegmentWithLimit();
        errorText = answer.error;
        return answer.port;
    } catch (const std::system_error &error) { // no thread
        errorText = QString::fromLocal8Bit(error.what());
        return 0;
    }
}
