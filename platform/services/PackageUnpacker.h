#pragma once
#include <QList>
#include <QString>
#include <atomic>

namespace tarn::services {

/// A downloaded package, and the checksum and size that it must have.
struct Package
{
    QString file;
    qint64 size = 0; ///< bytes
    QString sha256;
};

/// Unpacks the packages of one task (tar, plain or compressed) into one empty directory; throws Failure or
/// std::filesystem::filesystem_error, and the directory must be removed then. The unpacked bytes are those that are
/// hashed. Refused are paths and links that leave the directory, anything but files, directories and links, the name of the
/// work area and an install description below the top; a description at the top is skipped. Files get the usual
/// permissions, without set-id bits.
/// @param stopping set by another thread to end the work soon
void unpackPackages(const QList<Package> &packages, const QString &directory, const std::atomic<bool> &stopping);

} // namespace tarn::services
