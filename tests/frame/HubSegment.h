#pragma once

#include <QSharedMemory>
#include <QtGlobal>
#include <cstring>

// The segment as a running hub publishes it; it is removed with this object. Takes over one that a killed program has
// left behind, as the hub does: keys of segments are short, so that an old one can have the same.
class HubSegment final
{
public:
    explicit HubSegment(const QByteArray &port)
        : m_segment(QStringLiteral("VtServicePort"))
    {
        if (!m_segment.create(16) && !(m_segment.error() == QSharedMemory::AlreadyExists && m_segment.attach()))
            qFatal("%s", qPrintable(m_segment.errorString()));
        memset(m_segment.data(), 0, size_t(m_segment.size()));
        memcpy(m_segment.data(), port.constData(), size_t(qMin(port.size(), 16)));
    }

    QSharedMemory &segment() { return m_segment; }

private:
    QSharedMemory m_segment;
};
