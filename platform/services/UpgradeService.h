#pragma once
#include "UpdateCheck.h"
#include "WorkThread.h"
#include "tarn/rpc/IInvocable.h"
#include <QHash>
#include <functional>
#include <memory>

namespace tarn::services {

class UpgradeStore;

/// Where the upgrade service finds what is installed and what is offered.
struct UpgradePaths
{
    QString catalogue; ///< JSON file
    QString apps;      ///< directory with the install descriptions

    /// From "cfg.ini" beside the program: "upgrade/catalogue" and "system/apps_path"; without them the layout that is
    /// installed, "System/share/tarn/catalogue/catalogue.json" and "apps", falling back to "/opt/apps".
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
    using Handler = rpc::CallResult (UpgradeService::*)(const rpc::Bag &);
    static const QHash<QString, Handler> &handlers();

    rpc::CallResult checkNewVersion(const rpc::Bag &input);
    rpc::CallResult ignoreUpgrade(const rpc::Bag &input);
    rpc::CallResult startDownload(const rpc::Bag &input);
    rpc::CallResult queryTaskInfos(const rpc::Bag &input);
    rpc::CallResult stopUpgrade(const rpc::Bag &input);
    rpc::CallResult installSoftware(const rpc::Bag &input);
    rpc::CallResult announce(const rpc::Bag &input);
    rpc::CallResult showNotes(const rpc::Bag &input);
    rpc::CallResult status(const rpc::Bag &input);
    rpc::CallResult forgetIgnores(const rpc::Bag &input);

    QString findUpdates(bool withIgnored, QVariantList *records);
    void present(const QString &operation, const QVariantList &records, QVariantMap *answer);
    /// Runs work on the store's thread. @return what went wrong, empty when all is well
    QString store(const std::function<QString(UpgradeStore &)> &work);

    const UpgradePaths m_paths;
    const Presenter m_presenter;
    WorkThread m_thread;
    std::unique_ptr<UpgradeStore> m_store; ///< belongs to m_thread
};

} // namespace tarn::services
