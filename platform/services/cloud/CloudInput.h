#pragma once
#include "services/cloud/Secret.h"
#include <QVariantMap>

/// Checked reading of a request's keys. Every function returns what is wrong, naming the key; empty when all is well.
namespace tarn::services {

constexpr int MaxInputText = 65536; ///< characters

QString readText(const QVariantMap &values, const QString &key, QString *text);         ///< missing counts as wrong
QString readOptionalText(const QVariantMap &values, const QString &key, QString *text); ///< missing leaves it empty
QString readSecret(const QVariantMap &values, const QString &key, Secret *secret);
QString readFlag(const QVariantMap &values, const QString &key, bool *flag); ///< missing leaves it as it is

/// No control or format characters, no line or paragraph separators: it reads as what it is.
bool isPlainText(const QString &text);

/// Eleven ASCII digits.
bool isPhone(const QString &text);

/// What every sign-in brings along. Who wants to be signed in automatically wants the data for it to be remembered.
struct SignInFlags
{
    bool autoLogin = false;
    bool remember = false;
    bool lockTip = false;
};
QString readFlags(const QVariantMap &values, SignInFlags *flags);

/// @param nameKey, secretKey the keys of who signs in and of what proves it
QString readSignIn(const QVariantMap &values, const QString &nameKey, QString *name, const QString &secretKey,
                   Secret *secret, SignInFlags *flags);

} // namespace tarn::services
