#include "message/MsgDataUpdTask.h"
#include "base/Log.h"
#include "tarn/keys/MessageKeys.h"
#include "tarn/message/IMessageServiceAssistant.h"

namespace {
namespace key = tarn::message::key;
namespace code = tarn::message::code;

using Operation = void (IMessageServiceAssistant::*)(IMessageServiceAssistant::Input, IMessageServiceAssistant::Output);

/// The outcome of one service call.
struct Outcome
{
    bool called = false; ///< false: there is no assistant, so the step is skipped
    int retCode = 0;
    QString error;

    bool ok() const { return retCode == code::Ok; }
    QString failure(const QString &where) const
    {
        return vtlog::callFailed(where, code::isTransport(retCode), retCode, error);
    }
};

Outcome callService(Operation operation, const QVariantMap &values)
{
    IMessageServiceAssistant *assistant = CVtServiceClient::GetInstance()->GetMessageServiceAssistant();
    if (!assistant)
        return {};
    const auto input = assistant->CreateInputArgs();
    const auto output = assistant->CreateOutputArgs();
    for (auto it = values.cbegin(); it != values.cend(); ++it)
        input->SetValue(it.key(), it.value());
    (assistant->*operation)(input, output);
    return {true, output->GetRetCode(), output->GetError()};
}
} // namespace

CMsgDataUpdTask::CMsgDataUpdTask(const CMsgUpdTaskData &data)
    : m_data(data)
{
}

CMsgDataUpdTask::~CMsgDataUpdTask() = default;

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
    const Outcome outcome = callService(
        &IMessageServiceAssistant::AddMessageReceipt,
        {{key::MsgId, firstId()}, {key::MessageReceipt, m_data.receipt}, {key::SoftName, m_data.softwareName}});
    if (!outcome.called)
        return;
    const QString type = QString::number(m_data.receipt);
    if (outcome.ok()) {
        VT_LOG(info) << QStringLiteral("添加回执信息成功，消息id为：%1， 回执类型为：%2。").arg(firstId(), type);
        return;
    }
    VT_LOG(critical) << QStringLiteral("添加回执信息失败，消息id为：%1， 回执类型为：%2。").arg(firstId(), type);
    VT_LOG(critical) << outcome.failure(QStringLiteral("【添加回执信息】调用添加回执信息接口"));
}

void CMsgDataUpdTask::updateStatus() const
{
    const QString statusKey = m_data.operateType == tarn::message::operate::MsgState
                                  ? m_data.operateType
                                  : tarn::message::operate::MessageStatu;
    const Outcome outcome = callService(
        &IMessageServiceAssistant::UpdateMessageStatus,
        {{key::MsgIdList, m_data.msgIds}, {key::OperateType, m_data.operateType}, {statusKey, m_data.status}});
    if (!outcome.called)
        return;
    if (outcome.ok()) {
        VT_LOG(info) << QStringLiteral("更新消息状态成功，消息id为：%1。").arg(firstId());
        return;
    }
    VT_LOG(critical) << QStringLiteral("更新消息状态失败，消息id为：%1， 操作类型为：%2，消息状态为：%3。")
                            .arg(firstId(), m_data.operateType, QString::number(m_data.status));
    VT_LOG(critical) << outcome.failure(QStringLiteral("【更新消息状态】调用更新消息状态接口"));
}

void CMsgDataUpdTask::ignoreMessage() const
{
    const Outcome outcome = callService(&IMessageServiceAssistant::IgnoreMessage,
                                        {{key::SoftName, m_data.softwareName}, {key::MsgId, firstId()}});
    if (!outcome.called)
        return;
    if (outcome.ok()) {
        VT_LOG(info) << QStringLiteral("下次不再提示消息成功，消息id为：%1。").arg(firstId());
        return;
    }
    // No closing "。" here, unlike the neighbours: kept so for log readers.
    VT_LOG(critical) << QStringLiteral("下次不再提示消息失败，消息id为：%1").arg(firstId());
    VT_LOG(critical) << outcome.failure(QStringLiteral("【下次不再提示消息】调用下次不再提示消息接口"));
}

QString CMsgDataUpdTask::firstId() const
{
    return m_data.msgIds.value(0);
}
