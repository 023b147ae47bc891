#pragma once
#include "services/InstalledSoftware.h"
#include "services/UpgradeTask.h"
#include "tarn/rpc/IInvocable.h"
#include <functional>

namespace tarn::services {

class UpgradeEngine;

/// The services that a silent patch calls.
struct PatchTools
{
    UpgradeEngine &engine;
    std::function<rpc::CallResult(const QString &operation, const rpc::Bag &)> present;
    const rpc::ICallContext &context; ///< of the caller, who may no longer wait for the result
};

/// Downloads a patch of one product, announces it to the visualized service and installs it. Blocks its thread.
/// @param task with the patch as its only item
/// @param killRunning ends the product's program; without it, a product that runs is not patched
/// @param report receives Shown, ShowError and the last answer to "静默补丁安装状态"
/// @return the error, empty when it is installed
QString patchSilently(const PatchTools &tools, const InstalledSoftware &software, const UpgradeTask &task,
                      bool killRunning, QVariantMap *report);

} // namespace tarn::services
