#pragma once
#include "base/ServiceCall.h"
#include "frame/VtServiceClient.h"
#include "tarn/cloud/ICloudServiceAssistant.h"
#include <cstring>
#include <memory>

class ICloudLoginNotify;
class QThreadPool;

namespace tarn::visualized {

/// Overwrites and empties a secret. A text whose buffer another QString shares is only emptied. Best effort: copies of the
/// toolkit and of the RPC layer are not reached. Any thread.
inline void wipeText(QString *text)
{
    if (text->isDetached()) // the buffer of a literal is read-only
        explicit_bzero(text->data(), size_t(text->size()) * sizeof(QChar));
    text->clear();
}

/// What a page of the sign-in dialog sends to the service. Its end overwrites a secret that nothing else shares.
struct SignInRequest
{
    ~SignInRequest() { wipeText(&secret); }

    QString user;           ///< account or phone number
    QString secret;         ///< password or one-time code
    bool automatic = false; ///< sign in without the dialog from now on
    bool remember = false;  ///< the password or the phone number
    bool lockTip = false;   ///< the service shows its tip about the cloud lock

    /// The input values of a call. The secret has an unshared buffer, to be overwritten after the call.
    QVariantMap values(const QString &userKey, const QString &secretKey) const;
};

/// What the end of a sign-in means to the dialog.
struct SignInEnd
{
    QString tip;         ///< for the user; empty for none
    bool closes = false; ///< the dialog closes, and its caller is notified
};

/// The caller of a sign-in dialog; null when there is none, or it has been notified. Shared by the dialog and its pending
/// sign-ins, which can outlive it: the first success notifies. GUI thread.
using LoginCaller = std::shared_ptr<QSharedPointer<ICloudLoginNotify>>;

} // namespace tarn::visualized

/// The calls of the sign-in to the cloud account service, with their lines in the log. They block until the service has
/// answered.
namespace tarn::visualized::cloudcalls {

/// Asks for one of the service's web addresses. Any thread.
/// @param key "FC_..." (CloudKeys.h)
/// @param[out] address as the service sent it, not checked; empty when the call failed
ServiceOutcome linkAddress(const QString &key, QString *address);
/// Asks for the page that shows a QR code. @param type "weixindenglu" or "qqdenglu"
/// @return the address, a secret; empty when the call failed
QString qrAddress(const QString &type, const QString &randomCode);
/// Requests a one-time code.
ServiceOutcome sendCode(const QString &phone);
/// Signs in by phone and one-time code.
SignInEnd signInByCode(const SignInRequest &request);

/// Notifies a caller that has not been notified, on a thread of pool(): its process may be frozen or dead. GUI thread.
/// @param line logged before, when there is such a caller
/// @param afterwards logged when the notification has returned, without such a caller at once; empty for no line
void notify(const LoginCaller &caller, const QString &line, const QString &afterwards = {});

/// The 16 threads of the account sign-ins and of the notifications, apart from the global pool, whose tasks could delay a
/// sign-in. So many calls that hang delay the next sign-in. GUI thread.
QThreadPool &pool();

} // namespace tarn::visualized::cloudcalls
