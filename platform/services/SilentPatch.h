#pragma once
#include "services/Dispatch.h"
#include "services/UpgradeRecords.h"

namespace tarn::services {

class UpgradeEngine;

/// The services that a silent patch calls.
struct PatchTools
{
    UpgradeEngine &engine;
    const Presenter &present;
    const rpc::ICallContext &context; ///< of the caller, who may no longer wait for the result
};

/// Downloads a patch of one product, announces it to the visualized service and installs it. Blocks its thread.
/// @param task with the patch as its only item
/// @param killRunning ends the product's program; without it, a product that runs is not patched
/// @return with Shown, ShowError, the last answer to "静默补丁安装状态" and the patch's version, also when it is refused
rpc::CallResult patchSilently(const PatchTools &tools, const InstalledSoftware &software, const UpgradeTask &task,
                              bool killRunning);

} // namespace tarn::services
