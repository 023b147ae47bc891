#pragma once
#include "login/QueryQRCodeResult.h"
#include "widgets/TipStatus.h"
#include "widgets/ToolDialog.h"
#include <QPointer>
#include <QSharedPointer>
#include <memory>

enum class eBoxOrigin;
class ICloudLoginNotify;
class QTabWidget;
class QTimer;
class QVBoxLayout;

namespace tarn::visualized {
class AccountPage;
class AccountSignIn;
class CodeSignIn;
class LoginCaller;
class LoginPage;
class PhonePage;
class QrSignIn;
class WaitNotice;
struct SignInRequest;
} // namespace tarn::visualized

/// The window in which the user signs in to the cloud account: by password, by phone and one-time code, or by a QR code
/// in the browser. It joins the pages to the sign-ins, closes after a success and notifies the caller; it checks nothing
/// itself. GUI thread; LoginDialogCreator creates it with WA_DeleteOnClose.
class CYunLoginDialog final : public tarn::visualized::ToolDialog
{
    Q_OBJECT
public:
    using Rhythm = CQueryQRCodeResult::Rhythm;

    explicit CYunLoginDialog(QWidget *parent = nullptr, const Rhythm &rhythm = CQueryQRCodeResult::EveryThreeSeconds);
    ~CYunLoginDialog() override;

    void InitDialog(); ///< part of the construction; a second call does nothing
    /// Sent with every sign-in from now on: whether the service shows its tip about the cloud lock.
    void SetYunLockError(bool showTip) { m_yunLockErrorTip = showTip; }
    /// Sets the object that is notified of a successful sign-in; may be null.
    void SetLoginNotify(QSharedPointer<ICloudLoginNotify> notify);
    /// Shows a message box over this dialog, which can be destroyed when the function returns. A dialog that has been
    /// closed shows none.
    void showLoginTip(const QString &text, eTipStatus status);
    /// Focuses the first empty field of the current page, for a user who has just asked for the sign-in.
    void focusEmptyField();

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
    void showEvent(QShowEvent *event) override;
    void closeEvent(QCloseEvent *event) override;

private:
    void InitTitleBar(QVBoxLayout *column);
    void InitLoginTypeTab();
    void InitAccountLogin();
    void InitVerificationTab();
    QWidget *InitQuickLogin();
    void FillMemoryLoginInfo();
    void InitCloudAddr();
    void fillFrom(QVariantMap memory);

    tarn::visualized::LoginPage *currentPage() const;
    void showTip(const QString &text, eTipStatus status, eBoxOrigin origin);
    void refuse(const QString &tip, const QString &line);
    void followLink(const QString &where, const QString &linkKey, QString *address);
    bool openPage(const QString &where, const QString &address);
    bool canStart() const;
    void leave();

    bool ExecuteLoginByAccount();
    void leaveAccountSignIn();
    void cancelAccountSignIn();
    void beginWaiting();
    void endWaiting();

    void loginByCode(const tarn::visualized::SignInRequest &request);
    void finishCodeLogin();
    void refuseByLock(const QString &tip);

    void quickLogin(const QString &type, const QString &clickLine);
    void waitForScan();
    void cancelScan();
    void showAgain(const QString &tip);
    void showNotice(const QString &text, bool overDialog, void (CYunLoginDialog::*cancel)());
    void hideNotice();

    QTabWidget *m_tabs = nullptr;
    tarn::visualized::AccountPage *m_accountPage = nullptr;
    tarn::visualized::PhonePage *m_phonePage = nullptr;

    const std::shared_ptr<tarn::visualized::LoginCaller> m_caller;
    tarn::visualized::AccountSignIn *const m_accountSignIn;
    tarn::visualized::CodeSignIn *const m_codeSignIn;
    tarn::visualized::QrSignIn *const m_qrSignIn;

    QString m_registerAddress; ///< the three are empty while the service has none
    QString m_forgetAddress;
    QString m_bindingAddress;
    bool m_yunLockErrorTip = false;
    bool m_closed = false;                                  ///< and about to be deleted
    bool m_waiting = false;                                 ///< disabled, under the wait cursor
    QPointer<QWidget> m_focusBefore;                        ///< the focus when the wait began
    QTimer *m_slow = nullptr;                               ///< runs until a wait is long enough for a notice
    std::unique_ptr<tarn::visualized::WaitNotice> m_notice; ///< of the last wait; hidden when that has ended
};
