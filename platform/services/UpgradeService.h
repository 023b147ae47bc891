#pragma once
#include "services/Dispatch.h"
#include "services/UpdateCheck.h"
#include "services/WorkThread.h"
#include "tarn/rpc/IInvocable.h"
#include <QMutex>
#include <QWaitCondition>
#include <functional>
#include <memory>

namespace tarn::services {

class UpgradeEngine;
class UpgradeStore;
struct UpgradeTask;

/// The places of the installed and the offered software, and the limits of the downloads.
struct UpgradePaths
{
    QString catalogue;    ///< JSON file
    QString apps;         ///< directory with the install descriptions
    qint64 bandwidth = 0; ///< bytes per second; 0 for no limit
    QString publicKey{};  ///< of the catalogue's signature, base64; empty: unsigned catalogues are accepted

    /// From "cfg.ini" beside the program: "upgrade/catalogue", "system/apps_path", "upgrade/bandwidth" and
    /// "upgrade/public_key"; without them the installed layout, "System/share/tarn/catalogue/catalogue.json" and "apps",
    /// falling back to "/opt/apps", no limit and no signature.
    static UpgradePaths ofProgram(const QString &programDirectory);
};

/// The upgrade service as remote callers see it. Methods: those of IUpgradeServiceAssistant and of
/// tarn/link/UpgradeWire.h. The catalogue and the install descriptions are read afresh for every question. RPC worker
/// threads.
class UpgradeService final : public rpc::IInvocable
{
public:
    /// Calls an operation of the visualized service.
    using Presenter = std::function<rpc::CallResult(const QString &operation, const rpc::Bag &)>;

    /// @param directory where the database is kept
    UpgradeService(const QString &directory, UpgradePaths paths, Presenter presenter);
    ~UpgradeService() override;
    Q_DISABLE_COPY(UpgradeService)

    rpc::CallResult invoke(const QString &method, const rpc::Bag &input, const rpc::ICallContext &context) override;

private:
    static const HandlerTable<UpgradeService> &handlers();

    rpc::CallResult checkNewVersion(const Request &request);
    rpc::CallResult ignoreUpgrade(const Request &request);
    rpc::CallResult startDownload(const Request &request);
    rpc::CallResult queryTaskInfos(const Request &request);
    rpc::CallResult stopUpgrade(const Request &request);
    rpc::CallResult installSoftware(const Request &request);
    rpc::CallResult patchSilently(const Request &request);
    rpc::CallResult announce(const Request &request);
    rpc::CallResult showNotes(const Request &request);
    rpc::CallResult status(const Request &request);
    rpc::CallResult forgetIgnores(const Request &request);

    void awaitInstallation(const QString &product, const rpc::ICallContext &context);
    void waitForChange();
    UpgradeTask patchTask(const QString &product, const QList<InstalledSoftware> &installed) const;
    Catalogue catalogue() const;
    QVariantList findUpdates(bool withIgnored);
    QVariantMap present(const QString &operation, const QVariantList &records) const; ///< Shown and ShowError

    const UpgradePaths m_paths;
    const Presenter m_presenter;
    QMutex m_changedLock;
    QWaitCondition m_changed; ///< the state of a task
    WorkThread m_thread;
    std::unique_ptr<UpgradeStore> m_store; ///< belongs to m_thread, as does the engine
    std::unique_ptr<UpgradeEngine> m_engine;
};

} // namespace tarn::services
