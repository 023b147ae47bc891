#include "login/CloudCalls.h"
#include "base/Log.h"
#include "frame/VtServiceClient.h"
#include "tarn/cloud/ICloudLoginNotify.h"
#include "tarn/keys/CloudKeys.h"
#include "widgets/WebLink.h"
#include <QThreadPool>
#include <QtConcurrent>
#include <memory>

namespace {
constexpr int MostCalls = 8; // that hang at the same time; a caller that is told, or a sign-in that nobody waits for
}

namespace cloudcalls {

namespace key = tarn::cloud::key;
namespace code = tarn::cloud::code;

bool Outcome::ok() const
{
    return code == code::Ok;
}

bool Outcome::transportFailed() const
{
    return code::isTransport(code);
}

bool Outcome::lockRefused() const
{
    return code == code::LockRefused;
}

ICloudServiceAssistant *assistant()
{
    return CVtServiceClient::GetInstance()->GetCloudServiceAssistant();
}

Outcome outcomeOf(ICloudService_OutputArgs &output, const QStringList &keys)
{
    Outcome outcome{output.GetRetCode(), output.GetError(), {}};
    for (const QString &name : keys)
        outcome.values.insert(name, output.GetValue(name));
    return outcome;
}

Outcome call(ICloudServiceAssistant &assistant, Operation operation, const QVariantMap &input, const QStringList &keys)
{
    const auto arguments = assistant.CreateInputArgs();
    const auto output = assistant.CreateOutputArgs();
    for (auto it = input.cbegin(); it != input.cend(); ++it)
        arguments->SetValue(it.key(), it.value());
    (assistant.*operation)(arguments, output);
    return outcomeOf(*output, keys);
}

QString linkAddress(ICloudServiceAssistant &assistant, const QString &linkKey, Outcome *outcome)
{
    const Outcome answer =
        call(assistant, &ICloudServiceAssistant::GetLinkAddress, {{key::LinkKey, linkKey}}, {key::LinkUrl});
    if (outcome)
        *outcome = answer;
    QString address = answer.ok() ? answer.values.value(key::LinkUrl).toString() : QString();
    if (!answer.ok())
        VT_LOG(warning) << vtlog::callFailed(QStringLiteral("【获取跳转链接地址】%1").arg(linkKey),
                                             answer.transportFailed(), answer.code, answer.error);
    if (address.isEmpty() || weblink::isPage(address))
        return address;
    VT_LOG(warning) << QStringLiteral("【获取跳转链接地址】%1不是网页地址，已忽略：%2").arg(linkKey, address);
    return {};
}

QThreadPool &pool()
{
    struct Pool final : QThreadPool
    {
        Pool() { setMaxThreadCount(MostCalls); }
    };
    static Pool threads;
    return threads;
}

void tellCaller(const QSharedPointer<ICloudLoginNotify> &notify)
{
    if (!notify)
        return;
    const auto lease = std::make_shared<CVtServiceClient::Lease>(); // destroy() gives it a moment to arrive
    QtConcurrent::run(&pool(), [notify, lease] { notify->AfterLogin(); });
}

} // namespace cloudcalls
