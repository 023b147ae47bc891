#pragma once
#include "login/CloudCalls.h"
#include <QTimer>

namespace tarn::visualized {

/// The sign-in by phone and one-time code: requesting a code, the time until the next one may be requested, and the
/// sign-in. The calls block until the service has answered. GUI thread.
class CodeSignIn final : public QObject
{
    Q_OBJECT
public:
    explicit CodeSignIn(QObject *parent);

    /// Requests a code and logs the end. A success starts the countdown.
    ServiceOutcome sendCode(const QString &phone);
    /// Signs in and logs a success. The code is overwritten after the call.
    ServiceOutcome signIn(SignInRequest request);
    /// Logs a refusal. @return the tip for the user
    static QString concludeFailure(const QString &phone, const ServiceOutcome &outcome);

    /// To be called for each secondPassed().
    /// @return the seconds until a code may be requested again; 0: now, and the countdown has stopped
    int countDown();
    void stopCountdown() { m_countdown.stop(); }

signals:
    void secondPassed();

private:
    qint64 m_sinceCode = 0; ///< seconds since the code was requested
    QTimer m_countdown{this};
};

} // namespace tarn::visualized
