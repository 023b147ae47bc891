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
    bool autoLogin = false;
    bool remember = false;
    bool lockTip = false;
};
SignInFlags readFlags(RequestReader *request);

} // namespace tarn::services
