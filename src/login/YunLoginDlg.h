#pragma once
#include "login/CloudCalls.h"
#include "widgets/TipStatus.h"
#include "widgets/WindowDrag.h"
#include <QDialog>
#include <QPointer>
#include <QSharedPointer>
#include <memory>

class CCustomBtn;
class CCustomLineEdit;
class CIconEditWidget;
class CQueryQRCodeResult;
class CustomTitleBar;
enum class eBoxOrigin;
class ICloudLoginNotify;
class QCheckBox;
class QTabWidget;
class QTimer;

/// The window in which the user signs in to the cloud account: by password, by phone and one-time code, or by a QR code
/// in the browser. It checks nothing itself; each sign-in is one call to the cloud service, and at most one is under way
/// in the process. GUI thread; LoginDialogCreator makes it with WA_DeleteOnClose.
class CYunLoginDialog : public QDialog
{
    Q_OBJECT
public:
    explicit CYunLoginDialog(QWidget *parent = nullptr);
    ~CYunLoginDialog() override;

    void InitDialog(); ///< part of the construction; a second call does nothing
    /// Sent with every sign-in from now on: whether the service is to show its tip about the cloud lock.
    void SetYunLockError(bool showTip) { m_yunLockErrorTip = showTip; }
    /// Who is told of a successful sign-in; null for nobody.
    void SetLoginNotify(QSharedPointer<ICloudLoginNotify> notify) { m_notify = std::move(notify); }
    /// A message box over this dialog, which can be gone when it returns. None over a dialog that has been closed.
    void showLoginTip(const QString &text, eTipStatus status);

    /// The service stops: lets go of what a sign-in under way holds of the client library. Its outcome is lost.
    static void abandonAttempt();

    void reject() override; ///< Escape closes like the close button

signals:
    void LoginDialogClosed(); // the window has been closed and will delete itself

public slots:
    void on_close_btn_clicked();
    void onRegisterAccount();
    void OnAccountAutoLoginChkChanged(int state);
    void onForgetPassword();
    void onAccountLoginBtn();
    void onGetVerificationCodeBtn();
    void onVerificationCodeLoginBtn();
    void OnVerifCodeAutoLogin(int state);
    void PasswordStateChanged();
    void onWeixinLogin();
    void onQQLogin();
    void OnTimeOut();
    void QuickLoginSuccess(QString strToken);
    void QuickLoginTimerOut();
    void QuickLoginFail(QString strError);
    void YunLockLoginFail(QString strError);

protected:
    /// The poller of one QR sign-in, not started.
    virtual CQueryQRCodeResult *makePoller(bool autoLogin, const QString &randomCode) const;

    bool eventFilter(QObject *watched, QEvent *event) override;
    void mousePressEvent(QMouseEvent *event) override;
    void mouseMoveEvent(QMouseEvent *event) override;
    void mouseReleaseEvent(QMouseEvent *event) override;
    void closeEvent(QCloseEvent *event) override;

private slots:
    void onAccountEntered(); // Return in a field
    void onPhoneEntered();

private:
    class Waiting;
    struct Attempt;

    CustomTitleBar *InitTitleBar();
    void InitLoginTypeTab();
    void InitAccountLogin();
    void InitVerificationTab();
    QWidget *InitQuickLogin();
    bool FillMemoryLoginInfo(); // false when the service cannot be reached
    void InitCloudAddr();

    void fillFrom(QVariantMap memory);
    void followLink(const QString &where, const QString &address);
    void showTip(const QString &text, eTipStatus status, eBoxOrigin origin);
    void refuse(const QString &tip, const QString &line);
    bool mayStart();
    void startOnReturn(CCustomLineEdit *edit, void (CYunLoginDialog::*start)());
    void beginWaiting();
    void endWaiting();
    void wipeSecrets();
    void leave();

    bool ExecuteLoginByAccount();
    cloudcalls::Outcome waitForAccountLogin(ICloudServiceAssistant &assistant);
    ICloudServiceAssistant::Input accountInput(ICloudServiceAssistant &assistant) const;
    void showPassword(bool show);

    cloudcalls::Outcome sendCode(ICloudServiceAssistant &assistant, const QString &phone);
    void startCountdown();
    void stopCountdown();
    void loginByCode(const QString &phone);
    QVariantMap codeLoginInput() const;
    void finishCodeLogin();
    void refuseByLock(const QString &tip);
    void reportCodeFailure(const QString &phone, const cloudcalls::Outcome &outcome);

    void quickLogin(const QString &type, const QString &clickLine);
    bool openQRCode(ICloudServiceAssistant &assistant, const QString &type, const QString &randomCode);
    void startPoller(const QString &randomCode);
    template <class... Args>
    void onResult(void (CQueryQRCodeResult::*signal)(Args...), void (CYunLoginDialog::*slot)(Args...));
    void stopPoller();
    void tellOfQuickLogin(const QSharedPointer<ICloudLoginNotify> &notify);
    void showAgain(const QString &tip);

    QTabWidget *m_tabs = nullptr;
    CCustomLineEdit *m_account = nullptr;
    CCustomLineEdit *m_password = nullptr;
    CIconEditWidget *m_passwordField = nullptr;
    QCheckBox *m_rememberPassword = nullptr;
    QCheckBox *m_accountAuto = nullptr;
    CCustomLineEdit *m_phone = nullptr;
    CCustomLineEdit *m_code = nullptr;
    CCustomBtn *m_codeButton = nullptr;
    QCheckBox *m_rememberPhone = nullptr;
    QCheckBox *m_phoneAuto = nullptr;
    CCustomBtn *m_phoneLogin = nullptr;

    QString m_registerAddress; ///< empty while the service has none, as the two others
    QString m_forgetAddress;
    QString m_bindingAddress;
    qint64 m_sinceCode = 0;        ///< seconds since the code was requested
    QTimer *m_countdown = nullptr; ///< of the last code
    bool m_yunLockErrorTip = false;
    bool m_closed = false;           ///< and waits to be deleted
    bool m_waiting = false;          ///< disabled, under the wait cursor
    QPointer<QWidget> m_focusBefore; ///< the wait
    QPointer<CQueryQRCodeResult> m_poller;
    int m_quickAttempt = 0; ///< counts up with each poller that is let go: what that one still sends is dropped
    QSharedPointer<ICloudLoginNotify> m_notify;
    WindowDrag m_drag{this};

    static std::shared_ptr<Attempt> s_attempt; ///< that of a dialog that has gone too; null when none is under way
};
