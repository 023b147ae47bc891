#pragma once
#include "login/CloudCalls.h"
#include "login/QueryQRCodeResult.h"
#include "widgets/CustomMessageBox.h"
#include "widgets/ToolDialog.h"
#include <QMap>
#include <QPointer>
#include <QTimer>
#include <memory>

class CCustomBtn;
class QTabWidget;

namespace tarn::visualized {
class LoginPage;
class WaitNotice;
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
    void SetLoginNotify(QSharedPointer<ICloudLoginNotify> notify) { *m_caller = std::move(notify); }
    /// Shows a message box over this dialog, which can be destroyed when the function returns. A dialog that has been
    /// closed shows none.
    void showLoginTip(const QString &text, eTipStatus status);
    /// Focuses the first empty field of the current page, for a user who has just asked for the sign-in.
    void focusEmptyField();

signals:
    void LoginDialogClosed(); // the window has been closed and will delete itself

public slots:
    void on_close_btn_clicked() { close(); }
    void onRegisterAccount();
    void OnAccountAutoLoginChkChanged(int state);
    void onForgetPassword();
    void onAccountLoginBtn();
    void onGetVerificationCodeBtn();
    void onVerificationCodeLoginBtn();
    void OnVerifCodeAutoLogin(int state);
    void PasswordStateChanged();
    void onWeixinLogin() { quickLogin(QStringLiteral("weixindenglu"), QStringLiteral("点击微信扫码登录。")); }
    void onQQLogin() { quickLogin(QStringLiteral("qqdenglu"), QStringLiteral("点击QQ扫码登录。")); }
    void OnTimeOut();
    void QuickLoginSuccess(QString strToken);
    void QuickLoginTimerOut();
    void QuickLoginFail(QString strError);
    void YunLockLoginFail(QString strError);

protected:
    void closeEvent(QCloseEvent *event) override;
    void showEvent(QShowEvent *event) override;

private:
    void InitTitleBar(QVBoxLayout *column);
    void InitLoginTypeTab();
    void InitAccountLogin();
    void InitVerificationTab();
    QLayout *InitQuickLogin(); ///< the sign-ins by QR code
    tarn::visualized::LoginPage *currentPage() const;
    void showPassword(bool show);
    void showTip(const QString &text, eTipStatus status, eBoxOrigin origin);
    /// Shows the dialog if it is hidden, and a tip for a user who is in the browser or in another program.
    void showAgain(const QString &tip);
    void beginWaiting(); ///< disabled, under the wait cursor; offers to cancel after two seconds
    void endWaiting();
    /// Offers to cancel a wait: over the dialog, or while that is hidden.
    void showNotice(const QString &text, bool overDialog);
    void hideNotice();

    void FillMemoryLoginInfo();
    void InitCloudAddr();
    void fillFrom(QVariantMap memory);

    void refuse(const QString &where, const QString &tip, QWidget *field = nullptr);
    void followLink(const QString &where, const QString &linkKey);
    bool openPage(const QString &where, const QString &address);
    /// False for a request that arrives after the dialog has been closed, or while it waits.
    bool canStart() const { return !m_closed && !m_waiting; }
    void leave();
    void cancelWait(); ///< by the user, in the notice

    bool ExecuteLoginByAccount();
    void leaveAccountSignIn();
    static void signedIn(const tarn::visualized::LoginCaller &caller,
                         void (*notify)(const tarn::visualized::LoginCaller &));
    void quickLogin(const QString &type, const QString &clickLine);
    void waitForScan(const QString &randomCode);
    void stopPoller();
    bool isLate() const;
    void endScan(const QString &line, const QString &tip);

    const tarn::visualized::LoginCaller m_caller;
    const Rhythm m_rhythm;
    QPointer<CQueryQRCodeResult> m_poller; ///< while a QR sign-in is waited for
    qint64 m_sinceCode = 0;                ///< seconds since the one-time code was requested
    QTimer m_countdown{this};
    QMap<QString, QString> m_links; ///< addresses by key; empty ones are not known yet
    bool m_yunLockErrorTip = false;
    bool m_closed = false; ///< and about to be deleted

    QTabWidget *m_tabs = nullptr;
    tarn::visualized::LoginPage *m_accountPage = nullptr;
    tarn::visualized::LoginPage *m_phonePage = nullptr;
    CCustomBtn *m_codeButton = nullptr;

    bool m_waiting = false;
    QPointer<QWidget> m_focusBefore;                        ///< the focus when the wait began
    QTimer m_slow{this};                                    ///< runs until a wait is long enough for a notice
    std::unique_ptr<tarn::visualized::WaitNotice> m_notice; ///< of the last wait; hidden when that has ended
};
