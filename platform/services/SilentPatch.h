#pragma once
#include "services/InstalledSoftware.h"
#include "services/UpgradeTask.h"
#include "services/WorkThread.h"
#include "tarn/rpc/IInvocable.h"
#include <functional>

namespace tarn::services {

class UpgradeEngine;

/// One silent patch of one product: downloaded, announced to the visualized service, installed. Blocks its thread.
class SilentPatch
{
public:
    /// What it works with.
    struct Tools
    {
        WorkThread &thread; ///< the engine's
        UpgradeEngine &engine;
        std::function<rpc::CallResult(const QString &operation, const rpc::Bag &)> present;
        std::function<void()> waitForChange; ///< of a task's state, for a short time at most
        const rpc::ICallContext &context;    ///< of the caller, who may no longer wait for the result
    };

    /// @param task with the patch as its only item
    SilentPatch(Tools tools, InstalledSoftware software, UpgradeTask task);

    /// @param killRunning ends the product's program; without it, a product that runs is not patched
    /// @return the error, empty when it is installed
    QString run(bool killRunning);
    QVariantMap report() const; ///< Shown, ShowError and the last answer to "静默补丁安装状态"

private:
    void download();
    void makeWay(bool killRunning) const;
    void show();
    void install();
    void abandon();
    void awaitJudgement(const QString &package);
    UpgradeTask awaitEndOf(int state);
    void requireCaller() const;
    UpgradeTask currentTask() const;
    bool hasBegun() const;
    rpc::CallResult query() const;
    void askState();
    void keepState(const rpc::CallResult &result);

    const Tools m_tools;
    const InstalledSoftware m_software;
    const UpgradeTask m_task;
    qint64 m_id = 0;         ///< of the task that is followed
    bool m_ownsTask = false; ///< begun here, not joined
    bool m_shown = false;
    QString m_showError;
    int m_state = 0; ///< 0: never asked
};

} // namespace tarn::services
