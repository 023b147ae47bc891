#pragma once
#include <QString>

/// Operations of the reference cloud account service beyond the operations of ICloudServiceAssistant. All names are those
/// on the wire; the service's tag is in MessageWire.h, the other keys in tarn/cloud/CloudKeys.h.
namespace tarn::link::wire {

namespace method {
/// Input: "user", "pwd" (strings), "phone", Weixin, Qq (strings, may be missing).
inline const QString AddAccount = QStringLiteral("AddCloudAccount");
/// Input: "user". A signed-in account is signed out.
inline const QString RemoveAccount = QStringLiteral("RemoveCloudAccount");
/// No input. Output list: maps with "user", "phone", Weixin, Qq, Locked.
inline const QString ListAccounts = QStringLiteral("ListCloudAccounts");
/// Input: "user", Locked. A locked account's sign-in is refused with 4018; a signed-in one is signed out.
inline const QString LockAccount = QStringLiteral("LockCloudAccount");
/// No input. Output list: maps with "phone", "code", SentTime, newest first.
inline const QString ListOutbox = QStringLiteral("ListCloudOutbox");
/// No input. Output: "login_state", "user", Way, Since.
inline const QString CloudStatus = QStringLiteral("GetCloudStatus");
} // namespace method

inline const QString Weixin = QStringLiteral("Weixin");     ///< string, identity on the messenger of that name
inline const QString Qq = QStringLiteral("QQ");             ///< string, likewise
inline const QString Locked = QStringLiteral("Locked");     ///< bool
inline const QString SentTime = QStringLiteral("SentTime"); ///< string, "yyyy-MM-dd hh:mm:ss"
inline const QString Way = QStringLiteral("Way");           ///< string: "account", "phone", "weixin", "qq"
inline const QString Since = QStringLiteral("Since");       ///< string, "yyyy-MM-dd hh:mm:ss"

} // namespace tarn::link::wire
