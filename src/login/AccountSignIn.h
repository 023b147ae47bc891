#pragma once
#include "login/CloudCalls.h"
#include <QFutureWatcher>
#include <QObject>
#include <QPointer>
#include <optional>

class QEventLoop;

namespace tarn::visualized {

/// One sign-in by account and password on a pool thread, and the wait for it. The task owns the argument objects and the
/// lease that keeps their library loaded, so this object can be destroyed at any time; it deletes itself when the call
/// has come back. At most one exists. GUI thread.
class AccountSignIn final : public QObject
{
    Q_OBJECT
public:
    /// Starts the call. The password is taken out of the input after the call and overwritten.
    AccountSignIn(ICloudServiceAssistant *assistant, ICloudServiceAssistant::Input input,
                  ICloudServiceAssistant::Output output);
    ~AccountSignIn() override;

    /// The sign-in whose call has not come back yet; null when there is none.
    static AccountSignIn *current() { return s_current; }
    /// Signs in with ExecYunLogin(). The dialog that asks can be destroyed meanwhile.
    /// @return nothing when the wait was left or the application quits
    static std::optional<ServiceOutcome> run(const SignInRequest &request);
    /// Logs how the sign-in of an account ended.
    /// @return the tip for the user; empty after a success
    static QString conclude(const QString &account, const ServiceOutcome &outcome);

    /// Runs an event loop until the call has come back, leave() is called or the application quits. This object can be
    /// destroyed meanwhile.
    void wait();
    /// Ends the wait; the call goes on, and answered() reports its outcome.
    void leave();

signals:
    void answered(const tarn::visualized::ServiceOutcome &outcome); // only after leave()

private:
    void onFinished();
    void end();

    QFutureWatcher<ServiceOutcome> m_watcher;
    QEventLoop *m_loop = nullptr; ///< of wait()
    bool m_left = false;

    static QPointer<AccountSignIn> s_current;
    static std::optional<ServiceOutcome> s_outcome; ///< of the last wait that was not left, until run() takes it
};

} // namespace tarn::visualized

/// Signs in by account and password on a pool thread and returns when the service has answered; the result is in output.
/// An event loop runs meanwhile: windows paint, and the objects of the caller can be destroyed. Returns without a result
/// when the wait is left or the application quits. The password is taken out of input after the call and overwritten. GUI
/// thread; one call at a time.
void ExecYunLogin(ICloudServiceAssistant *assistant, QSharedPointer<ICloudService_InputArgs> input,
                  QSharedPointer<ICloudService_OutputArgs> output);
