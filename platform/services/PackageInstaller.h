#pragma once
#include "services/UpgradeRecords.h"
#include <atomic>

namespace tarn::services {

/// Unpacks the downloaded packages of one task (tar, plain or compressed) into one empty directory. The directory must
/// be removed when this throws. A package is hashed and unpacked through one descriptor. Refused are paths and links
/// that leave the directory, anything but files, directories and links, the name of the work area and an install
/// description below the top; a description at the top is skipped. Files get the usual permissions, without set-id
/// bits. Any thread. Throws Failure or std::filesystem::filesystem_error, as the next.
/// @param stopping set by another thread to end the work soon
void unpackPackages(const QList<UpgradeItem> &packages, const QString &directory, const std::atomic<bool> &stopping);

/// Installs the downloaded packages of a task into its product's directory: unpacks them beside the product's files,
/// updates the install description and exchanges all files together. When this throws, the product is as it was, or the
/// next FileSwap::rollBack() must restore it.
void installPackages(const UpgradeTask &task, const QString &directory, const std::atomic<bool> &stopping);

} // namespace tarn::services
