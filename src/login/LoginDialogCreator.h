#pragma once
#include <QMutex>
#include <QObject>
#include <QSharedPointer>
#include <atomic>
#include <memory>

class CProcessChecker;
class CYunLoginDialog;
class ICloudLoginNotify;

/// Creates, shows and closes the one sign-in dialog on behalf of the manager, and stores which software asked for it.
/// Lives on the application's thread, also when an RPC thread creates it.
class LoginDialogCreator final : public QObject
{
    Q_OBJECT
public:
    static LoginDialogCreator *getInst(); ///< any thread
    /// Destroys the open dialog and ends its sign-ins. GUI thread, when no other thread uses the instance any more.
    static void FreeInst();
    /// Waits for the threads of the sign-in, with a limit; called after FreeInst(), when the connections to the services
    /// are cut, so that no thread is left when the application ends. GUI thread.
    static void joinThreads();
    ~LoginDialogCreator() override; ///< called by FreeInst() only

    /// Any thread; also true while a QR sign-in has hidden the dialog.
    bool DiaIsExist() const { return m_dialog != nullptr; }

    /// Shows a new dialog, or the open one again for the new caller. The keyboard focus is in the first empty field when
    /// the caller's window was the active one, and neutral otherwise.
    /// @param notify notified of a successful sign-in; may be null
    /// @param parentHandle X11 window id of the caller's window to centre over (not a pointer), null for none
    void show(QSharedPointer<ICloudLoginNotify> notify, void *parentHandle);
    void closeDlg();
    /// Stops watching the caller's process. The thread has ended when it returns, within 20 ms, whatever the argument.
    void stopCheck(bool);

    /// Whether the service shows its tip about the cloud lock; for the next show().
    void SetYunLockError(bool showTip) { m_yunLockErrorTip = showTip; }

    /// The software that asks; empty when none has.
    void setSoftware(const QString &exeName, const QString &softId);
    QString softId() const { return m_softId; }

private slots:
    void onDialogClosed(); ///< or destroyed

private:
    LoginDialogCreator();

    CYunLoginDialog *createDialog();
    void startCheck();

    std::atomic<CYunLoginDialog *> m_dialog{nullptr}; ///< null as soon as it is closed
    std::unique_ptr<CProcessChecker> m_checker;       ///< while there is a dialog
    bool m_yunLockErrorTip = false;
    QString m_exeName;
    QString m_softId;

    static LoginDialogCreator *s_instance;
    static QMutex s_lock; ///< guards the creation of the instance
};
