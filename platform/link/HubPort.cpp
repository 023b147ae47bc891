#include "tarn/link/HubPort.h"
#include "tarn/keys/HubKeys.h"
#include <QSharedMemory>
#include <cstring>

namespace tarn::link {

quint16 readHubPort(QString *error)
{
    QSharedMemory segment(hub::PortSegmentKey);
    if (!segment.attach(QSharedMemory::ReadOnly)) {
        const bool missing = segment.error() == QSharedMemory::NotFound;
        if (error)
            *error = missing ? QStringLiteral("no hub runs")
                             : QStringLiteral("the hub's port cannot be read: %1").arg(segment.errorString());
        return 0;
    }
    const char *text = static_cast<const char *>(segment.constData());
    const auto size = static_cast<size_t>(qMin(segment.size(), hub::PortSegmentSize));
    const QByteArray port(text, static_cast<int>(strnlen(text, size)));
    bool valid = false;
    const quint16 number = port.toUShort(&valid);
    if ((!valid || number == 0) && error)
        *error = QStringLiteral("the hub has not published its port yet");
    return valid ? number : quint16(0);
}

} // namespace tarn::link
