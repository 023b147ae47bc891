#pragma once
#include <QString>

/// Operations of the reference message service beyond the operations of IMessageServiceAssistant. All names are those
/// on the wire.
namespace tarn::link::wire {

inline const QString MessageTag = QStringLiteral("IMessageService"); ///< interface name and tag
inline const QString UpgradeTag = QStringLiteral("IUpgradeService");
inline const QString CloudTag = QStringLiteral("ICloudService");

/// Paged lists (GetAllMessageRecords, ListMessages): a page that is not the last carries a cursor, to be sent with the
/// next call of the same method. String.
inline const QString Cursor = QStringLiteral("Cursor");

namespace method {
/// Input: the keys of a record, "MsgTitle" or "MsgContent" required; without "MsgId" one is made. "unReadNum" (int)
/// replaces the counted number in the pop-up. Output: "MsgId", Shown, ShowError, "unReadNum" (int).
inline const QString Push = QStringLiteral("PushMessage");
/// Input list: records (maps). All or none. First (int): how many came in earlier calls, for error texts. Output:
/// Imported (int).
inline const QString Import = QStringLiteral("ImportMessages");
/// Input: All (bool, also deleted ones), MsgId (string, only this message). Output list: records with the keys of
/// namespace detail. Paged.
inline const QString List = QStringLiteral("ListMessages");
/// No input. Output: "unReadNum" (int).
inline const QString UnreadCount = QStringLiteral("GetUnreadCount");
/// No input. Removes every message and receipt for good. Output: Removed (int).
inline const QString Clear = QStringLiteral("ClearMessages");
} // namespace method

inline const QString Shown = QStringLiteral("Shown");         ///< bool, the pop-up was asked for and accepted
inline const QString ShowError = QStringLiteral("ShowError"); ///< string, why no pop-up is shown
inline const QString Imported = QStringLiteral("Imported");   ///< int
inline const QString First = QStringLiteral("First");         ///< int
inline const QString Removed = QStringLiteral("Removed");     ///< int
inline const QString All = QStringLiteral("All");             ///< bool
inline const QString Updated = QStringLiteral("Updated");     ///< int, UpdateMessageStatus: ids that are known
inline const QString Unknown = QStringLiteral("Unknown");     ///< int, UpdateMessageStatus: ids that are not

/// Further keys of a record in ListMessages. Times: "yyyy-MM-dd hh:mm:ss" in local time, empty for never.
namespace detail {
inline const QString StoredTime = QStringLiteral("stored");
inline const QString ReadTime = QStringLiteral("read");
inline const QString DeletedTime = QStringLiteral("deleted");
inline const QString IgnoredTime = QStringLiteral("ignored");
inline const QString Receipts = QStringLiteral("receipts"); ///< list of maps: "MessageReceipt", "SoftName" and:
inline const QString FirstTime = QStringLiteral("first");
inline const QString LastTime = QStringLiteral("last");
inline const QString Count = QStringLiteral("count"); ///< int, how often the receipt came
} // namespace detail

} // namespace tarn::link::wire
