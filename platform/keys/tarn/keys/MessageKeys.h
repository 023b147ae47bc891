#pragma once
#include <QString>

/// Keys, values and return codes of the message service.
namespace tarn::message {

namespace key {
inline const QString MsgId = QStringLiteral("MsgId");             ///< string, identity of a message
inline const QString MsgTitle = QStringLiteral("MsgTitle");       ///< string
inline const QString MsgDateTime = QStringLiteral("MsgDateTime"); ///< string, shown as received
inline const QString MsgContent = QStringLiteral("MsgContent");   ///< string, may hold rich text
inline const QString PicFilePath = QStringLiteral("PicFilePath"); ///< string, local path, empty for none
inline const QString LinkText = QStringLiteral("LinkText");       ///< string
inline const QString LinkAdress = QStringLiteral("LinkAdress");   ///< string, the link's target (spelled so)
inline const QString BegTime = QStringLiteral("BegTime");         ///< string, start of the validity
inline const QString WndWidth = QStringLiteral("WndWidth");       ///< int, pixels, 0 if unset
inline const QString WndHeight = QStringLiteral("WndHeight");     ///< int, pixels, 0 if unset
inline const QString WndStay = QStringLiteral("WndStay");         ///< int, 0 if unset
inline const QString PhotoHight = QStringLiteral("PhotoHight");   ///< int, pixels (spelled so)
inline const QString PhotoWidth = QStringLiteral("PhotoWidth");   ///< int, pixels
inline const QString unRead = QStringLiteral("unRead");           ///< bool
inline const QString unReadNum = QStringLiteral("unReadNum");     ///< string or int, count of unread messages

inline const QString MessageReceipt = QStringLiteral("MessageReceipt"); ///< int, see namespace receipt
inline const QString SoftName = QStringLiteral("SoftName");             ///< string
inline const QString MsgIdList = QStringLiteral("MsgId_list");          ///< string list
inline const QString OperateType = QStringLiteral("Operate_type");      ///< string, see namespace operate
inline const QString MsgCenterRect = QStringLiteral("msg_center_rect"); ///< QRect, window to centre over
} // namespace key

namespace operate {
inline const QString MsgState = QStringLiteral("MsgState");         ///< a message was read
inline const QString MessageStatu = QStringLiteral("MessageStatu"); ///< a message was deleted (spelled so)
} // namespace operate

namespace receipt {
constexpr int Read = 2;
constexpr int Clicked = 3;
} // namespace receipt

namespace status {
constexpr int Read = 2;
constexpr int Deleted = 3;
} // namespace status

namespace code {
constexpr int Ok = 2000;
constexpr int CallFailed = 2001;   ///< transport: the call failed or timed out
constexpr int Refused = 2002;      ///< the service cannot carry the request out; the error text says why
constexpr int InvalidArgs = 2003;  ///< a key is missing or has the wrong type
constexpr int NoConnection = 2012; ///< transport: there is no connection to the service
constexpr bool isTransport(int c)
{
    return c == CallFailed || c == NoConnection;
}
} // namespace code

} // namespace tarn::message
