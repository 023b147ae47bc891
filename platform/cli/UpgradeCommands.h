#pragma once
#include "tarn/rpc/RpcProxy.h"
#include <QStringList>
#include <QVariantMap>

/// The parts of "tarnctl upgrade" that have a file of their own.
namespace tarn::cli {

/// Prints why a call did not go well, nothing when it did. @return the exit code
int judgeUpgrade(const rpc::CallResult &result);
/// Whether the visualized service shows what the call was about, out of its answer.
void printShown(const QVariantMap &answer);
void printTasks(const QVariantList &tasks);

int runUpgradeStart(const QStringList &arguments);
int runUpgradeStop(const QStringList &arguments);
int runUpgradeInstall(const QStringList &arguments);
int runUpgradeSilent(const QStringList &arguments);
int runUpgradeTasks(const QStringList &arguments);

} // namespace tarn::cli
