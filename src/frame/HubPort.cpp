#include "frame/HubPort.h"
#include "tarn/keys/HubKeys.h"
#include <QByteArray>
#include <QSharedMemory>

namespace {
constexpr int HighestPort = 65535;

int portIn(const QSharedMemory &segment)
{
    const int size = qMin(segment.size(), tarn::hub::PortSegmentSize);
    const auto *text = static_cast<const char *>(segment.constData());
    const int length = int(qstrnlen(text, uint(size)));
    bool ok = false;
    const int port = QByteArray(text, length).trimmed().toInt(&ok);
    return ok && port > 0 && port <= HighestPort ? port : 0;
}
} // namespace

int hubport::read(QString &errorText)
{
    QSharedMemory segment(tarn::hub::PortSegmentKey);
    if (!segment.attach(QSharedMemory::ReadOnly)) {
        errorText = segment.errorString();
        return 0;
    }
    const int port = portIn(segment);
    // The last user to detach removes the segment: where the hub has died, that was this process.
    segment.detach();
    if (!segment.attach(QSharedMemory::ReadOnly)) {
        errorText = segment.errorString();
        return 0;
    }
    segment.detach();
    if (port == 0)
        errorText = QStringLiteral("共享内存中的端口无效");
    return port;
}
