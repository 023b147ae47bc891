#pragma once
#include "services/RequestReader.h"

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

} // namespace tarn::services
