#include "message/MsgCenterDataMgr.h"

#include "base/Log.h"
#include "frame/VtServiceClient.h"
#include "message/MsgDataUpdTask.h"
#include "tarn/keys/MessageKeys.h"
#include "tarn/message/IMessageServiceAssistant.h"

#include <QThreadPool>

using namespace tarn::visualized;

namespace {
namespace key = tarn::message::key;
namespace operate = tarn::message::operate;
namespace receipt = tarn::message::receipt;
namespace status = tarn::message::status;

sMsgData toRecord(const QVariantMap &values)
{
    sMsgData record;
    record.MsgId = values.value(key::MsgId).toString();
    record.MsgTitle = values.value(key::MsgTitle).toString();
    record.MsgDateTime = values.value(key::MsgDateTime).toString();
    record.MsgContent = values.value(key::MsgContent).toString();
    record.PicFilePath = values.value(key::PicFilePath).toString();
    record.LinkText = values.value(key::LinkText).toString();
    record.LinkAdress = values.value(key::LinkAdress).toString();
    record.BegTime = values.value(key::BegTime).toString();
    record.WndWidth = values.value(key::WndWidth).toInt();
    record.WndStay = values.value(key::WndStay).toInt();
    record.PhotoHight = values.value(key::PhotoHight).toInt();
    record.PhotoWidth = values.value(key::PhotoWidth).toInt();
    record.unRead = values.value(key::unRead).toBool();
    record.WndHeight = values.value(key::WndHeight).toInt();
    return record;
}

void report(const CMsgUpdTaskData &data)
{
    QThreadPool::globalInstance()->start(new CMsgDataUpdTask(data), 0);
}

CMsgUpdTaskData reading(const QStringList &ids)
{
    return {false, receipt::Read, status::Read, ids, operate::MsgState, {}};
}
} // namespace

CMsgCenterDataMgr *CMsgCenterDataMgr::GetMsgDataMgrInstance()
{
    static CMsgCenterDataMgr instance;
    return &instance;
}

void CMsgCenterDataMgr::GetMessageRecords(std::vector<sMsgData> &records)
{
    const ServiceOutcome outcome =
        call(service::message(), &IMessageServiceAssistant::GetAllMessageRecords, QVariantMap());
    if (!outcome.called()) {
        VT_LOG(info) << QStringLiteral("GetAllMessageRecords：获取消息服务失败");
        return;
    }
    VT_LOG_OUTCOME(outcome, QStringLiteral("【获取所有消息数据】调用获取所有消息数据接口"), QString());
    if (!outcome.accepted())
        return;
    records.reserve(records.size() + size_t(outcome.list.size()));
    for (const QVariant &values : outcome.list)
        records.push_back(toRecord(values.toMap()));
}

void CMsgCenterDataMgr::MessageHasBeenRead(const QString &msgId, const QString &, const QString &)
{
    report(reading({msgId}));
}

void CMsgCenterDataMgr::MessageHasBeenRead(const QStringList &msgIds)
{
    report(reading(msgIds));
}

void CMsgCenterDataMgr::MessageHasBeenClicked(const QString &msgId, const QString &, const QString &)
{
    report({false, receipt::Clicked, -1, {msgId}, {}, {}});
}

void CMsgCenterDataMgr::MessageHasBeenDeleted(const QString &msgId, const QString &, const QString &)
{
    report({false, -1, status::Deleted, {msgId}, operate::MessageStatu, {}});
}
