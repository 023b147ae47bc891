#pragma once
#include <QMutex>
#include <QObject>
#include <QPointer>
#include <QSharedPointer>
#include <atomic>
#include <memory>

class CProcessChecker;
class CYunLoginDialog;
class ICloudLoginNotify;

/// Makes, shows again and closes the one sign-in dialog on behalf of the manager, and remembers which software asked for
/// it. Lives on the application's thread, also when an RPC thread makes it.
class LoginDialogCreator final : public QObject
{
    Q_OBJECT
public:
    static LoginDialogCreator *getInst(); ///< any thread
    /// Ends the dialog with all that it has under way. GUI thread, when no other thread uses the instance any more.
    static void FreeInst();
    /// The last of the end, once the connections to the services are cut: waits for the threads of the sign-in, so that
    /// none is left when the application goes. Bounded. GUI thread.
    static void joinThreads();
    ~LoginDialogCreator() override; ///< by FreeInst() only

    bool DiaIsExist() const; ///< any thread; also true while a QR sign-in has hidden it

    /// Shows the dialog, or the one that is open again for the new caller.
    /// @param notify told of a successful sign-in; may be null
    /// @param parentHandle X11 window id of the caller's window to centre over (not a pointer), null for none
    void show(QSharedPointer<ICloudLoginNotify> notify, void *parentHandle);
    void closeDlg();
    /// Stops watching the caller's process.
    /// @param wait until the watching thread has ended, 20 ms at most; otherwise the next watch or the end waits for it
    void stopCheck(bool wait);

    /// Whether the service shows its tip about the cloud lock; for the next show().
    void SetYunLockError(bool showTip) { m_yunLockErrorTip = showTip; }

    // The software that asked: program name and id; empty when nobody has.
    void setExeName(const QString &name) { m_exeName = name; }
    QString exeName() const { return m_exeName; }
    void setSoftId(const QString &id) { m_softId = id; }
    QString softId() const { return m_softId; }

private slots:
    void onDialogGone(); ///< closed or destroyed

private:
    LoginDialogCreator();

    CYunLoginDialog *makeDialog();
    void startCheck();

    std::atomic<CYunLoginDialog *> m_dialog{nullptr};
    QList<QPointer<CYunLoginDialog>> m_dialogs; ///< all that may still live, also those that are closing
    QSharedPointer<ICloudLoginNotify> m_notify; ///< of the open dialog
    std::unique_ptr<CProcessChecker> m_checker;
    bool m_checking = false; ///< m_checker has not been stopped
    bool m_yunLockErrorTip = false;
    QString m_exeName;
    QString m_softId;

    static std::atomic<LoginDialogCreator *> s_instance;
    static QMutex s_lock; ///< guards the making of the instance
};
