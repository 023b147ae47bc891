#pragma once
#include <QString>

/// Keys and return codes of the cloud account service.
namespace tarn::cloud {

namespace key {
inline const QString YunLockErrorTip = QStringLiteral("YunLockErrorTip"); ///< bool
inline const QString ParentWindow = QStringLiteral("父级窗口句柄");       ///< qulonglong, X11 window id, 0 if none
inline const QString SoftwareId = QStringLiteral("软件标识");             ///< string
inline const QString ExeName = QStringLiteral("EXE名称");                 ///< string
inline const QString DialogExists = QStringLiteral("queryYunDiaResult");  ///< bool
inline const QString LoginState = QStringLiteral("login_state");          ///< int
inline const QString LoginModel = QStringLiteral("LOGINMODEL");           ///< int, 0 phone, otherwise account
inline const QString AutoLoginStored = QStringLiteral("AUTOLOGIN");       ///< bool
inline const QString RememberPassword = QStringLiteral("REMPASSWORD");    ///< bool
inline const QString RememberPhone = QStringLiteral("REMPHONE");          ///< bool
inline const QString StoredAccount = QStringLiteral("ACCOUNT");           ///< string
inline const QString StoredPassword = QStringLiteral("PASSWORD");         ///< string, secret
inline const QString StoredPhone = QStringLiteral("PHONE");               ///< string
inline const QString User = QStringLiteral("user");                       ///< string
inline const QString Password = QStringLiteral("pwd");                    ///< string, secret
inline const QString Phone = QStringLiteral("phone");                     ///< string
inline const QString Code = QStringLiteral("code");                       ///< string, one-time code, secret
inline const QString AutoLogin = QStringLiteral("自动登录");              ///< bool
inline const QString Remember = QStringLiteral("记忆数据");               ///< bool
inline const QString QrType = QStringLiteral("扫码登录类型");             ///< "weixindenglu" or "qqdenglu"
inline const QString QrUrl = QStringLiteral("QRCODE_url");                ///< string
inline const QString RandomCode = QStringLiteral("随机码");               ///< string, secret
inline const QString Token = QStringLiteral("token");                     ///< string, secret
inline const QString LinkKey = QStringLiteral("LinkKey");                 ///< string, one of the three below
inline const QString LinkUrl = QStringLiteral("LinkUrl");                 ///< string
inline const QString LinkRegister = QStringLiteral("FC_ACCOUNT_004");
inline const QString LinkForgetPassword = QStringLiteral("FC_ACCOUNT_005");
inline const QString LinkBindAccount = QStringLiteral("FC_CUSTOM_001");
} // namespace key

/// State of the sign-in ("login_state").
namespace loginstate {
constexpr int SignedOut = 0;
constexpr int SignedIn = 2;
constexpr int Checking = 3; ///< a sign-in is being checked
constexpr int Restored = 5; ///< signed in from remembered data when the services started
} // namespace loginstate

namespace code {
constexpr int Ok = 4000;
constexpr int CallFailed = 4001; ///< transport: the call failed or timed out
constexpr int Refused = 4002;    ///< the service cannot carry the request out; the error text says why
constexpr int InvalidArgs = 4003;
constexpr int QrExpired = 4007;
constexpr int NoConnection = 4012; ///< transport: there is no connection to the service
constexpr int LockRefused = 4018;
constexpr int QrWaiting = 4022; ///< the QR code is not decided yet
constexpr int QrRefused = 4023;
constexpr int WeixinUnbound = 4024;
constexpr int QqUnbound = 4025;
constexpr bool isTransport(int c)
{
    return c == CallFailed || c == NoConnection;
}
} // namespace code

} // namespace tarn::cloud
