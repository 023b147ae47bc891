#pragma once

#include <QFile>
#include <QSharedMemory>
#include <QTemporaryFile>
#include <cstring>
#include <memory>
#include <vector>

// The segment as a running hub publishes it; it is removed with this object. The key of a segment is 16 bits of its file's
// inode, so that a program of another user, or one that was killed, can have the same: then the file gets another inode.
class HubSegment final
{
public:
    explicit HubSegment(const QByteArray &port)
        : m_segment(QStringLiteral("VtServicePort"))
    {
        std::vector<std::unique_ptr<QTemporaryFile>> taken; // keeps the inodes that were met
        while (!m_segment.create(16)) {
            if (m_segment.error() != QSharedMemory::AlreadyExists || taken.size() > 20)
                qFatal("%s", qPrintable(m_segment.errorString()));
            QFile::remove(m_segment.nativeKey());
            taken.push_back(std::make_unique<QTemporaryFile>());
            taken.back()->open();
        }
        memset(m_segment.data(), 0, size_t(m_segment.size()));
        memcpy(m_segment.data(), port.constData(), size_t(qMin(port.size(), 16)));
    }

    QSharedMemory &segment() { return m_segment; }

private:
    QSharedMemory m_segment;
};
