#pragma once
#include "frame/VtServiceClient.h"
#include <QMutex>
#include <QThread>
#include <atomic>
#include <functional>
#include <memory>

class ICloudServiceAssistant;

/// Asks the cloud service every three seconds what became of a QR code. Ends with exactly one signal, or with none after
/// stop(). It lives on the GUI thread and deletes itself when its thread has finished, so that nobody has to wait for a
/// call that hangs: who is no longer interested stops and forgets it.
class CQueryQRCodeResult final : public QThread
{
    Q_OBJECT
public:
    /// How often is asked: a poll comes after `slices` sleeps, so a stop takes effect within one sleep.
    struct Rhythm
    {
        int slices;
        unsigned long sliceMs;
        int polls; ///< as many without a decision are a time-out
    };
    static constexpr Rhythm EveryThreeSeconds{30, 100, 40};

    /// @param autoLogin,yunLockErrorTip sent with every poll
    /// @param randomCode identifies the QR code; a secret
    CQueryQRCodeResult(bool autoLogin, bool yunLockErrorTip, QString randomCode,
                       const Rhythm &rhythm = EveryThreeSeconds);
    ~CQueryQRCodeResult() override; ///< stops and waits

    void setRandomFlag(QString randomCode); ///< from the next poll on; any thread
    /// The page on which a WeChat or QQ account is bound; the service is asked for it when it is empty. Before start().
    void setBindingAddress(const QString &address) { m_bindingAddress = address; }
    void stop(); ///< any thread; when it returns no signal is emitted any more

    /// Whether loginSuccess() has been emitted; final after stop(). It may still be on its way to its receivers. Any thread.
    bool hasSucceeded() const { return m_succeeded; }

    /// Waits for those that were stopped and have not finished yet. GUI thread.
    /// @return false when some still hang after that many milliseconds
    static bool waitForStopped(int ms);
    /// As that, and deletes those that have finished: no event loop may come that would do so. GUI thread.
    static void deleteStopped(int ms);

signals:
    void loginSuccess(QString strToken);
    void loginFail(QString strError);
    void loginTimeout();
    void yunlockFail(QString strError);

protected:
    void run() override;

private:
    void poll();
    bool waitForTurn() const;
    bool query(ICloudServiceAssistant &assistant);
    QString bindingMessage(ICloudServiceAssistant &assistant) const;
    void report(const std::function<void()> &emitResult);

    const bool m_autoLogin;
    const bool m_yunLockErrorTip;
    const Rhythm m_rhythm;
    QString m_bindingAddress;
    QMutex m_codeLock;
    QString m_randomCode;         ///< guarded by m_codeLock
    QRecursiveMutex m_reportLock; ///< held while a signal is emitted; recursive for receivers that stop
    std::atomic<bool> m_stopped{false};
    std::atomic<bool> m_succeeded{false};
    std::unique_ptr<CVtServiceClient::Lease> m_lease; ///< until the last call is over
};
