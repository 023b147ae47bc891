#pragma once
#include "base/ServiceCall.h"
#include <QMutex>
#include <QThread>
#include <atomic>

/// Polls the cloud service every three seconds for the state of a QR code. Ends with exactly one signal, or with none
/// after stop(); a success is reported even then, since the service has signed the user in. The object lives on the GUI
/// thread and deletes itself when its thread has finished: its owner stops it and drops the pointer, and never waits for
/// a call that hangs.
class CQueryQRCodeResult final : public QThread
{
    Q_OBJECT
public:
    /// A poll follows after `slices` sleeps, so a stop takes effect within one sleep.
    struct Rhythm
    {
        int slices;
        unsigned long sliceMs;
        int polls; ///< this many polls without a decision are a time-out
    };
    static constexpr Rhythm EveryThreeSeconds{30, 100, 40};

    /// @param autoLogin,yunLockErrorTip sent with every poll
    /// @param randomCode identifies the QR code; a secret
    CQueryQRCodeResult(bool autoLogin, bool yunLockErrorTip, QString randomCode,
                       const Rhythm &rhythm = EveryThreeSeconds);
    ~CQueryQRCodeResult() override; ///< stops and waits

    void setRandomFlag(QString randomCode); ///< from the next poll on; any thread
    /// The page on which a WeChat or QQ account is bound. When it is empty, the poller asks the service. Before start().
    void setBindingAddress(const QString &address) { m_bindingAddress = address; }
    void stop() { m_stopped = true; } ///< any thread; a signal can be on its way

    /// Waits for the pollers that were stopped and have not finished yet. GUI thread.
    /// @return false when some still hang after that many milliseconds
    static bool waitForStopped(int ms);
    /// Waits like waitForStopped() and deletes the pollers that have finished, in case no event loop runs that would
    /// delete them. GUI thread.
    static void deleteStopped(int ms);

signals:
    void loginSuccess(QString strToken);
    void loginFail(QString strError);
    void loginTimeout();
    void yunlockFail(QString strError);

protected:
    void run() override;

private:
    using Cloud = tarn::visualized::ServiceHandle<ICloudServiceAssistant>;

    bool waitForTurn() const;
    bool query(const Cloud &cloud);
    QString bindingMessage() const;

    const bool m_autoLogin;
    const bool m_yunLockErrorTip;
    const Rhythm m_rhythm;
    QString m_bindingAddress;
    QMutex m_lock;
    QString m_randomCode; ///< guarded by m_lock
    std::atomic<bool> m_stopped{false};
};
