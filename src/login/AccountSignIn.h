#pragma once
#include "login/CloudCalls.h"
#include <QObject>
#include <optional>

namespace tarn::visualized {

class AccountCall;

/// The sign-in by account and password: the call, the wait for it, and its end in the log. GUI thread.
class AccountSignIn final : public QObject
{
    Q_OBJECT
public:
    explicit AccountSignIn(QObject *parent);
    ~AccountSignIn() override; ///< leaves the wait

    /// Calls the service and waits in an event loop, during which this object can be destroyed.
    /// @return nothing when the wait was left or the application quits
    std::optional<ServiceOutcome> run(SignInRequest request);
    /// Ends the wait; run() returns nothing.
    /// @return the call, which goes on and reports its outcome; null when none is waited for
    AccountCall *leave();

    /// Logs how the sign-in of an account ended.
    /// @return the tip for the user; empty after a success
    static QString conclude(const QString &account, const ServiceOutcome &outcome);

private:
    ICloudServiceAssistant::Output m_output; ///< while run() waits; not on its stack, so that destroy() can release it
};

} // namespace tarn::visualized
