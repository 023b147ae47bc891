#pragma once
#include "services/Dispatch.h"
#include "services/WorkThread.h"
#include "services/cloud/OneTimeCodes.h"
#include "services/cloud/QrTickets.h"
#include "services/cloud/RememberedSignIn.h"
#include "tarn/rpc/IInvocable.h"
#include <QHash>
#include <QMutex>
#include <atomic>
#include <memory>
#include <optional>

namespace tarn::services {

class CloudPages;
class CloudStore;
class LoopbackServer;
struct CloudAccount;
struct SignInFlags;

struct CloudSettings
{
    QHash<QString, QString> links; ///< addresses by link key; the service's own pages serve for the others
    qint64 qrLifetimeMs = QrTickets::DefaultLifetime;

    /// From the group "cloud" of "cfg.ini" beside the program: the link keys and "qr_lifetime" (seconds).
    static CloudSettings ofProgram(const QString &programDirectory);
};

/// The cloud account service as remote callers see it. Methods: those of ICloudServiceAssistant and of
/// tarn/link/CloudWire.h. RPC worker threads. Error texts of the sign-in are for the user, in the user's language.
class CloudService final : public rpc::IInvocable
{
public:
    using Clock = std::function<qint64()>; ///< milliseconds since 1970; any thread

    /// Signs the user in again if the user asked for that.
    /// @param directory where accounts, key and remembered data are kept
    CloudService(const QString &directory, CloudSettings settings, Clock clock = systemTime);
    ~CloudService() override;
    Q_DISABLE_COPY(CloudService)

    rpc::CallResult invoke(const QString &method, const rpc::Bag &input, const rpc::ICallContext &context) override;

private:
    static const HandlerTable<CloudService> &handlers();
    /// Methods that may take long and look whether their caller still waits.
    using LongHandler = rpc::CallResult (CloudService::*)(const rpc::Bag &, const rpc::ICallContext &);
    static const QHash<QString, LongHandler> &longHandlers();

    rpc::CallResult loginState(const rpc::Bag &input);
    rpc::CallResult memory(const rpc::Bag &input);
    rpc::CallResult sendCode(const rpc::Bag &input);
    rpc::CallResult loginByPhone(const rpc::Bag &input, const rpc::ICallContext &context);
    rpc::CallResult loginByAccount(const rpc::Bag &input, const rpc::ICallContext &context);
    rpc::CallResult qrCodeUrl(const rpc::Bag &input);
    rpc::CallResult qrCodeResult(const rpc::Bag &input, const rpc::ICallContext &context);
    rpc::CallResult linkAddress(const rpc::Bag &input);
    rpc::CallResult logout(const rpc::Bag &input);
    rpc::CallResult addAccount(const rpc::Bag &input, const rpc::ICallContext &context);
    rpc::CallResult removeAccount(const rpc::Bag &input);
    rpc::CallResult listAccounts(const rpc::Bag &input);
    rpc::CallResult lockAccount(const rpc::Bag &input);
    rpc::CallResult listOutbox(const rpc::Bag &input);
    rpc::CallResult status(const rpc::Bag &input);

    rpc::CallResult finishQr(const QrTickets::Outcome &outcome, const SignInFlags &flags,
                             const rpc::ICallContext &context);
    /// Signs the user in, unless the account was removed or locked meanwhile or the caller no longer waits.
    /// @return why not
    std::optional<rpc::CallResult> enter(const CloudAccount &account, const QString &way, bool lockTip,
                                         const rpc::ICallContext &context);
    void signInAgain();
    void startSession(const QString &account, const QString &way, int state);
    void endSession(const QString &account); ///< if it is this account's
    bool startPages();                       ///< on first use
    /// Changes the remembered data when change() says true; a failure costs a log line.
    void remember(const std::function<bool(SignInMemory &)> &change);
    void rememberPhone(const QString &phone, const CloudAccount &account, const SignInFlags &flags);
    void rememberAccount(const CloudAccount &account, const Secret &password, const SignInFlags &flags);
    /// Runs work on the store's thread. @return the error, empty on success
    QString store(const std::function<QString(CloudStore &)> &work);

    struct Session
    {
        QString account; ///< empty: signed out
        QString way;
        int state = 0;
        qint64 since = 0;
    };

    const CloudSettings m_settings;
    const Clock m_clock;
    const Vault m_vault;
    QrTickets m_tickets;
    std::atomic<int> m_signingIn{0};
    QMutex m_sessionLock;
    Session m_session;
    QMutex m_pagesLock; ///< guards the server's start
    std::unique_ptr<CloudPages> m_pages;
    std::unique_ptr<LoopbackServer> m_server;
    WorkThread m_thread;
    std::unique_ptr<CloudStore> m_store; ///< belongs to m_thread, as do the codes and the remembered data
    std::unique_ptr<OneTimeCodes> m_codes;
    std::unique_ptr<RememberedSignIn> m_remembered;
};

} // namespace tarn::services
