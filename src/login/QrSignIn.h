#pragma once
#include "login/QueryQRCodeResult.h"
#include <QObject>
#include <QPointer>
#include <memory>

namespace tarn::visualized {

class LoginCaller;

/// The sign-in by a QR code that the browser shows: the page's address, and the wait until the code has been scanned.
/// A success is never lost: the service has signed the user in, also when the wait has been stopped or this object has
/// been destroyed, and then the caller is notified all the same. GUI thread.
class QrSignIn final : public QObject
{
    Q_OBJECT
public:
    struct Request
    {
        QString type;           ///< "weixindenglu" or "qqdenglu"
        bool automatic = false; ///< sign in without the dialog from now on
        bool lockTip = false;   ///< the service shows its tip about the cloud lock
    };

    QrSignIn(std::shared_ptr<LoginCaller> caller, const CQueryQRCodeResult::Rhythm &rhythm, QObject *parent);
    ~QrSignIn() override; ///< stops the wait

    /// Stops the wait of the attempt before and begins one with a new random code: asks the service for the page that
    /// shows the QR code. Blocks until the service has answered.
    /// @return the address of the page, a secret; empty after a failure, which is logged
    QString begin(const Request &request);
    /// Waits for the scan of the page that begin() returned; one of the signals reports the end.
    /// @param bindingAddress see CQueryQRCodeResult
    /// @return false when the waiting thread could not be started
    bool startWaiting(const QString &bindingAddress);
    /// Ends the wait without waiting for its thread, which can hang in a call. No signal but succeeded() comes any more.
    void stop();

    /// Notifies the caller that the user is signed in, and logs it.
    static void notify(LoginCaller &caller);

signals:
    void succeeded(const QString &token);
    void failed(const QString &error);
    void timedOut();
    void lockRefused(const QString &error);

private:
    const std::shared_ptr<LoginCaller> m_caller;
    const CQueryQRCodeResult::Rhythm m_rhythm;
    Request m_request;
    QString m_randomCode;
    QPointer<CQueryQRCodeResult> m_poller;
    std::unique_ptr<QObject> m_receiver; ///< of the poller's signals; results under way are dropped with it
};

} // namespace tarn::visualized
