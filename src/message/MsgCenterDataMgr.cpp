#include "message/MsgCenterDataMgr.h"

#include "base/Log.h"
#include "frame/VtServiceClient.h"
#include "message/MsgDataUpdTask.h"
#include "tarn/keys/MessageKeys.h"
#include "tarn/message/IMessageServiceAssistant.h"

#include <QThreadPool>
#include <variant>

using namespace tarn::visualized;

namespace {
namespace key = tarn::message::key;
namespace operate = tarn::message::operate;
namespace receipt = tarn::message::receipt;
namespace status = tarn::message::status;

using Field = std::variant<QString sMsgData::*, int sMsgData::*, bool sMsgData::*>;

const QMap<QString, Field> &fields()
{
    static const QMap<QString, Field> table{{key::MsgId, &sMsgData::MsgId},
                                            {key::MsgTitle, &sMsgData::MsgTitle},
                                            {key::MsgDateTime, &sMsgData::MsgDateTime},
                                            {key::MsgContent, &sMsgData::MsgContent},
                                            {key::PicFilePath, &sMsgData::PicFilePath},
                                            {key::LinkText, &sMsgData::LinkText},
                                            {key::LinkAdress, &sMsgData::LinkAdress},
                                            {key::BegTime, &sMsgData::BegTime},
                                            {key::WndWidth, &sMsgData::WndWidth},
                                            {key::WndStay, &sMsgData::WndStay},
                                            {key::PhotoHight, &sMsgData::PhotoHight},
                                            {key::PhotoWidth, &sMsgData::PhotoWidth},
                                            {key::unRead, &sMsgData::unRead},
                                            {key::WndHeight, &sMsgData::WndHeight}};
    return table;
}

// Walks both maps side by side, since they have the same order: a search for each field takes three times as long.
void fill(sMsgData &record, const QVariantMap &values)
{
    auto field = fields().cbegin();
    const auto end = fields().cend();
    for (auto value = values.cbegin(); value != values.cend() && field != end; ++value) {
        int order = -1;
        while (field != end && (order = field.key().compare(value.key())) < 0)
            ++field;
        if (order == 0) {
            const auto set = [&](auto member) {
                record.*member = value->value<std::decay_t<decltype(record.*member)>>();
            };
            std::visit(set, *field);
        }
    }
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
    for (const QVariant &values : outcome.list) {
        records.emplace_back();
        records.back().unRead = false; // when the record does not say
        fill(records.back(), values.toMap());
    }
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
