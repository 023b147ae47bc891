#pragma once
#include "services/Dispatch.h"
#include "services/WorkThread.h"
#include "services/cloud/CloudStore.h"
#include "services/cloud/LoopbackServer.h"
#include "services/cloud/OneTimeCodes.h"
#include "services/cloud/QrTickets.h"
#include "services/cloud/RememberedSignIn.h"
#include <QMutex>
#include <atomic>
#include <memory>

namespace tarn::services {

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

    /// Signs the user in again if the user asked for that. Throws std::runtime_error without a source of randomness.
    /// @param directory where accounts, key and remembered data are kept
    CloudService(const QString &directory, CloudSettings settings, Clock clock = now);
    ~CloudService() override;
    Q_DISABLE_COPY(CloudService)

    rpc::CallResult invoke(const QString &method, const rpc::Bag &input, const rpc::ICallContext &context) override;

private:
    static const HandlerTable<CloudService> &handlers();

    rpc::CallResult loginState(const Request &request);
    rpc::CallResult memory(const Request &request);
    rpc::CallResult sendCode(const Request &request);
    rpc::CallResult loginByPhone(const Request &request);
    rpc::CallResult loginByAccount(const Request &request);
    rpc::CallResult qrCodeUrl(const Request &request);
    rpc::CallResult qrCodeResult(const Request &request);
    rpc::CallResult linkAddress(const Request &request);
    rpc::CallResult logout(const Request &request);
    rpc::CallResult addAccount(const Request &request);
    rpc::CallResult removeAccount(const Request &request);
    rpc::CallResult listAccounts(const Request &request);
    rpc::CallResult lockAccount(const Request &request);
    rpc::CallResult listOutbox(const Request &request);
    rpc::CallResult status(const Request &request);

    rpc::CallResult finishQr(const QrTickets::Ticket &outcome, const SignInFlags &flags, const Request &request);
    std::optional<CloudAccount> find(CloudStore::By way, const QString &value);
    /// Signs the user in. Throws Refusal when the account was removed or locked meanwhile or the caller no longer waits.
    void enter(const CloudAccount &account, const QString &way, const SignInFlags &flags, const Request &request);
    void signInAgain();
    QString signInFrom(const SignInMemory &memory); ///< why not; empty when the user is signed in
    void startSession(const QString &account, const QString &way, int state);
    void endSession(const QString &account);                            ///< if it is this account's
    QString pageAddress(const QString &path, const QString &onFailure); ///< starts the server on first use
    /// Changes the remembered data when change() says true; a failure costs a log line.
    void remember(const std::function<bool(SignInMemory &)> &change);

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
    QMutex m_serverLock; ///< guards the server's start
    std::unique_ptr<LoopbackServer> m_server;
    WorkThread m_thread;
    std::unique_ptr<CloudStore> m_store; ///< belongs to m_thread, as do the codes and the remembered data
    std::unique_ptr<OneTimeCodes> m_codes;
    std::unique_ptr<RememberedSignIn> m_remembered;
};

} // namespace tarn::services
