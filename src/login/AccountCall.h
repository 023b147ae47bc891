#pragma once
#include "base/ServiceCall.h"
#include "tarn/cloud/ICloudServiceAssistant.h"
#include <QFutureWatcher>
#include <QObject>

class QEventLoop;

namespace tarn::visualized {

/// One account sign-in on a pool thread, and the wait for it. The task owns the argument objects and the lease that keeps
/// their library loaded, so this object can be destroyed at any time; it deletes itself when it is no longer needed. At
/// most one exists. GUI thread.
class AccountCall final : public QObject
{
    Q_OBJECT
public:
    /// Starts the call. The password is taken out of the input after the call and overwritten.
    AccountCall(ICloudServiceAssistant *assistant, ICloudServiceAssistant::Input input,
                ICloudServiceAssistant::Output output);
    ~AccountCall() override;

    /// The call that has not come back yet; null when there is none.
    static AccountCall *current() { return s_current; }

    /// Runs an event loop until the call has come back, leave() is called or the application quits. This object can be
    /// destroyed meanwhile.
    void wait();
    /// Ends the wait; the call goes on, and answered() reports its outcome.
    void leave();

signals:
    void answered(const tarn::visualized::ServiceOutcome &outcome); // only after leave()

private:
    void onFinished();

    QFutureWatcher<ServiceOutcome> m_watcher;
    QEventLoop *m_loop = nullptr; ///< of wait()
    bool m_left = false;
    bool m_heard = false; ///< the end of the call has been noticed

    static AccountCall *s_current;
};

} // namespace tarn::visualized

/// Signs in by account and password on a pool thread and returns when the service has answered; the result is in output.
/// An event loop runs meanwhile: windows paint, and the objects of the caller can be destroyed. Returns without a result
/// when the wait is left or the application quits; AccountCall::current() is then still there or was destroyed. The
/// password is taken out of input after the call and overwritten. GUI thread; one call at a time.
void ExecYunLogin(ICloudServiceAssistant *assistant, QSharedPointer<ICloudService_InputArgs> input,
                  QSharedPointer<ICloudService_OutputArgs> output);
