#pragma once

#include <QObject>
#include <QString>
#include <QStringList>
#include <vector>

/// One message of the message service. Copied field by field; the order of the members is fixed.
struct sMsgData
{
    QString MsgId;
    QString MsgTitle;
    QString MsgDateTime; ///< shown as received
    QString MsgContent;  ///< may hold rich text from outside
    QString PicFilePath; ///< local path, empty for none
    QString LinkText;
    QString LinkAdress; ///< the link's target (spelled so by the service)
    QString BegTime;    ///< start of the validity
    int WndWidth = 0;   ///< pixels, 0 if unset; so are the sizes below
    int WndStay = 0;
    int PhotoHight = 0; ///< spelled so by the service
    int PhotoWidth = 0;
    bool unRead = true;
    int WndHeight = 0; ///< last on purpose
};

/// The windows' way to the message service: fetches the records, reports the user's actions. Keeps no list of
/// its own. GUI thread; failures are only logged.
class CMsgCenterDataMgr final : public QObject
{
    Q_OBJECT
public:
    static CMsgCenterDataMgr *GetMsgDataMgrInstance();

    /// Appends every message in the service's order, none when the call fails. Blocks until the service has answered.
    void GetMessageRecords(std::vector<sMsgData> &records);

    /// These return at once; a thread of the global pool sends the report. The unnamed arguments are ignored.
    void MessageHasBeenRead(const QString &msgId, const QString &, const QString &);
    void MessageHasBeenRead(const QStringList &msgIds);
    void MessageHasBeenClicked(const QString &msgId, const QString &, const QString &);
    void MessageHasBeenDeleted(const QString &msgId, const QString &, const QString &);

private:
    CMsgCenterDataMgr() = default;
};
