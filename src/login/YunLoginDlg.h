#pragma once
#include "login/CloudCalls.h"
#include "login/LoginWindow.h"
#include "login/QueryQRCodeResult.h"
#include <QMap>

/// The window in which the user signs in to the cloud account: by password, by phone and one-time code, or by a QR code
/// in the browser. It joins the pages to the sign-ins, closes after a success and notifies the caller; it checks nothing
/// itself. GUI thread; LoginDialogCreator creates it with WA_DeleteOnClose.
class CYunLoginDialog final : public tarn::visualized::LoginWindow
{
    Q_OBJECT
public:
    using Rhythm = CQueryQRCodeResult::Rhythm;

    explicit CYunLoginDialog(QWidget *parent = nullptr, const Rhythm &rhythm = CQueryQRCodeResult::EveryThreeSeconds);
    ~CYunLoginDialog() override { leave(); }

    void InitDialog(); ///< part of the construction; a second call does nothing
    /// Sent with every sign-in from now on: whether the service shows its tip about the cloud lock.
    void SetYunLockError(bool showTip) { m_yunLockErrorTip = showTip; }
    /// Sets the object that is notified of a successful sign-in; may be null.
    void SetLoginNotify(QSharedPointer<ICloudLoginNotify> notify) { *m_caller = std::move(notify); }

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
    void cancelWait() override;

private:
    void FillMemoryLoginInfo();
    void InitCloudAddr();
    void fillFrom(QVariantMap memory);

    void refuse(const QString &where, const QString &tip);
    void followLink(const QString &where, const QString &linkKey);
    bool openPage(const QString &where, const QString &address);
    /// False for a request that arrives after the dialog has been closed, or while it waits.
    bool canStart() const { return !m_closed && !isWaiting(); }
    void leave();

    bool ExecuteLoginByAccount();
    void leaveAccountSignIn();
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
};
