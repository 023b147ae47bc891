#pragma once
#include "services/RequestReader.h"
#include "services/cloud/CloudStore.h"
#include "services/cloud/QrTickets.h"
#include <QHash>

namespace tarn::services {

/// No control or format characters, no line or paragraph separators: nothing hides or turns parts of the text.
bool isPlainText(const QString &text);

/// Eleven ASCII digits.
bool isPhone(const QString &text);

/// The flags of every sign-in. An automatic sign-in includes that its data are remembered.
struct SignInFlags
{
    explicit SignInFlags(const RequestReader &request);
    bool autoLogin;
    bool remember;
    bool lockTip; ///< the user reads how to unlock a locked account
};

struct CloudSettings
{
    QHash<QString, QString> links; ///< addresses by link key; the service's own pages serve for the others
    qint64 qrLifetimeMs = QrTickets::DefaultLifetime;

    /// From the group "cloud" of "cfg.ini" beside the program: the link keys and "qr_lifetime" (seconds).
    static CloudSettings ofProgram(const QString &programDirectory);
};

/// The account that a request names, and all that a new account has but its password. Throw BadRequest.
QString readUser(const RequestReader &request);
CloudAccount readAccount(const RequestReader &request);

} // namespace tarn::services
