#include "message/MsgDataUpdTask.h"
#include "base/Log.h"
#include "tarn/keys/MessageKeys.h"
#include "tarn/message/IMessageServiceAssistant.h"

using namespace tarn::visualized;

namespace {
namespace key = tarn::message::key;
namespace operate = tarn::message::operate;
} // namespace

CMsgDataUpdTask::CMsgDataUpdTask(const CMsgUpdTaskData &data)
    : m_data(data)
    , m_service(service::message())
{
}

void CMsgDataUpdTask::run()
{
    if (m_data.receipt != -1)
        addReceipt();
    if (m_data.status != -1)
        updateStatus();
    if (m_data.ignore)
        ignoreMessage();
}

void CMsgDataUpdTask::addReceipt() const
{
    const auto outcome =
        call(m_service, &IMessageServiceAssistant::AddMessageReceipt,
             {{key::MsgId, firstId()}, {key::MessageReceipt, m_data.receipt}, {key::SoftName, m_data.softwareName}});
    const QString type = QString::number(m_data.receipt);
    if (outcome.called() && !outcome.accepted())
        VT_LOG(critical) << QStringLiteral("添加回执信息失败，消息id为：%1， 回执类型为：%2。").arg(firstId(), type);
    VT_LOG_OUTCOME(outcome, QStringLiteral("【添加回执信息】调用添加回执信息接口"),
                   QStringLiteral("添加回执信息成功，消息id为：%1， 回执类型为：%2。").arg(firstId(), type));
}

void CMsgDataUpdTask::updateStatus() const
{
    const QString &statusKey = m_data.operateType == operate::MsgState ? operate::MsgState : operate::MessageStatu;
    const auto outcome =
        call(m_service, &IMessageServiceAssistant::UpdateMessageStatus,
             {{key::MsgIdList, m_data.msgIds}, {key::OperateType, m_data.operateType}, {statusKey, m_data.status}});
    if (outcome.called() && !outcome.accepted())
        VT_LOG(critical) << QStringLiteral("更新消息状态失败，消息id为：%1， 操作类型为：%2，消息状态为：%3。")
                                .arg(firstId(), m_data.operateType, QString::number(m_data.status));
    VT_LOG_OUTCOME(outcome, QStringLiteral("【更新消息状态】调用更新消息状态接口"),
                   QStringLiteral("更新消息状态成功，消息id为：%1。").arg(firstId()));
}

void CMsgDataUpdTask::ignoreMessage() const
{
    const auto outcome = call(m_service, &IMessageServiceAssistant::IgnoreMessage,
                              {{key::SoftName, m_data.softwareName}, {key::MsgId, firstId()}});
    // Deliberately without a closing "。", unlike the other lines.
    if (outcome.called() && !outcome.accepted())
        VT_LOG(critical) << QStringLiteral("下次不再提示消息失败，消息id为：%1").arg(firstId());
    VT_LOG_OUTCOME(outcome, QStringLiteral("【下次不再提示消息】调用下次不再提示消息接口"),
                   QStringLiteral("下次不再提示消息成功，消息id为：%1。").arg(firstId()));
}

QString CMsgDataUpdTask::firstId() const
{
    return m_data.msgIds.value(0);
}
