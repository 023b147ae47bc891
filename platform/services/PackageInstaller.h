#pragma once
#include "services/PackageUnpacker.h"
#include "services/UpgradeTask.h"

namespace tarn::services {

/// Installs the downloaded packages of a task into its product's directory: unpacks them beside the product's files,
/// updates the install description and exchanges all files together. Any thread. Throws Failure or another exception when
/// the product is as it was, or when the next FileSwap::rollBack() must restore it.
/// @param stopping set by another thread to end the work soon
void installPackages(const UpgradeTask &task, const QList<Package> &packages, const QString &directory,
                     const std::atomic<bool> &stopping);

} // namespace tarn::services
