// The client library as message_center loads it: a message service in the same process that has $BENCH_MESSAGES messages
// and answers at once, so that only the window's own work is measured.

#include "message/MessageServiceArgs.h"
#include "tarn/client/IServiceAssistantManager.h"
#include "tarn/keys/MessageKeys.h"
#include "tarn/message/IMessageServiceAssistant.h"

#include <QVariantMap>

namespace {
namespace key = tarn::message::key;

QVariantMap record(int number)
{
    const QString n = QString::number(number);
    return {
        {key::MsgId, QStringLiteral("6f1d7a52-3c1e-4b0a-9b52-%1").arg(number, 12, 10, QLatin1Char('0'))},
        {key::MsgTitle, QStringLiteral("第 %1 条消息：软件平台有新的可用版本").arg(n)},
        {key::MsgDateTime, QStringLiteral("2026-11-21 09:30:00")},
        {key::MsgContent,
         QStringLiteral("本次更新<b>改进了启动速度</b>，修复了若干问题，并调整了 %1 处界面。请在方便的时候完成升级，"
                        "升级过程中请保存好正在编辑的文档，以免数据丢失。升级完成后软件会自动重新启动。")
             .arg(n)},
        {key::LinkText, QStringLiteral("查看详情")},
        {key::LinkAdress, QStringLiteral("https://example.org/messages/%1").arg(n)},
        {key::PicFilePath, QString()},
        {key::BegTime, QStringLiteral("2026-11-21 00:00:00")},
        {key::unRead, true}};
}

class Messages final : public IMessageServiceAssistant
{
public:
    Messages()
    {
        const int count = qEnvironmentVariableIntValue("BENCH_MESSAGES");
        for (int i = 0; i < count; ++i)
            m_records.append(record(i));
    }

    bool Initialize(const QString &, int, QString &) override { return true; }
    void UnInitialize() override {}
    void AddMessageReceipt(Input, Output output) override { output->SetRetCode(tarn::message::code::Ok); }
    void UpdateMessageStatus(Input, Output output) override { output->SetRetCode(tarn::message::code::Ok); }
    void GetAllMessageRecords(Input, Output output) override
    {
        output->SetRetCode(tarn::message::code::Ok);
        output->SetValueList(m_records);
    }
    void GetMessageRecord(Input, Output output) override { output->SetRetCode(tarn::message::code::Ok); }
    Input CreateInputArgs() override { return Input(new CMessageService_InputArgs); }
    Output CreateOutputArgs() override { return Output(new CMessageService_OutputArgs); }
    void IgnoreMessage(Input, Output output) override { output->SetRetCode(tarn::message::code::Ok); }

private:
    QList<QVariant> m_records;
};

class Manager final : public IServiceAssistantManager
{
public:
    ILicenseServiceAssistant *GetLicenseServiceAssistant() override { return nullptr; }
    ICloudServiceAssistant *GetCloudServiceAssistant() override { return nullptr; }
    IMessageServiceAssistant *GetMessageServiceAssistant() override { return &m_messages; }
    IUpgradeServiceAssistant *GetUpgradeServiceAssistant() override { return nullptr; }
    void UnInitialize() override {}

private:
    Messages m_messages;
};
} // namespace

extern "C" Q_DECL_EXPORT IServiceAssistantManager *GetServiceAssistantManager()
{
    static Manager manager;
    return &manager;
}
