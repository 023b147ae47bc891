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

sMsgData recordOf(const QVariantMap &values)
{
    const auto text = [&values](const QString &key) { return values.value(key).toString(); };
    const auto number = [&values](const QString &key) { return values.value(key).toInt(); };
    return {text(key::MsgId),
            text(key::MsgTitle),
            text(key::MsgDateTime),
            text(key::MsgContent),
            text(key::PicFilePath),
            text(key::LinkText),
            text(key::LinkAdress),
            text(key::BegTime),
            number(key::WndWidth),
            number(key::WndStay),
            number(key::PhotoHight),
            number(key::PhotoWidth),
            values.value(key::unRead).toBool(), // false when the record does not say
            number(key::WndHeight)};
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
        records.push_back(recordOf(values.toMap()));
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
