#include "login/AccountSignIn.h"
#include "login/AccountCall.h"
#include "login/WipeText.h"
#include "tarn/keys/CloudKeys.h"
#include <QPointer>
#include <utility>

namespace tarn::visualized {
namespace {
namespace key = cloud::key;

ICloudServiceAssistant::Input inputOf(ICloudServiceAssistant &assistant, const SignInRequest &request)
{
    ICloudServiceAssistant::Input input = assistant.CreateInputArgs();
    if (!input)
        return input;
    input->SetValue(key::User, request.user);
    // An unshared buffer, which is overwritten after the call.
    input->SetValue(key::Password, QString(request.secret.constData(), request.secret.size()));
    input->SetValue(key::AutoLogin, request.automatic);
    input->SetValue(key::Remember, request.remember);
    input->SetValue(key::YunLockErrorTip, request.lockTip);
    return input;
}
} // namespace

AccountSignIn::AccountSignIn(QObject *parent)
    : QObject(parent)
{
}

AccountSignIn::~AccountSignIn()
{
    leave();
}

std::optional<ServiceOutcome> AccountSignIn::run(SignInRequest request)
{
    ICloudServiceAssistant *assistant = nullptr;
    ICloudServiceAssistant::Input input;
    {
        const auto service = service::cloud(); // not held during the event loop
        if (!service)
            return ServiceOutcome{};
        assistant = service.get();
        input = inputOf(*assistant, request);
        m_output = assistant->CreateOutputArgs();
    }
    wipeText(&request.secret);
    if (!input || !m_output)
        return ServiceOutcome{};
    const QPointer<AccountSignIn> self(this);
    ExecYunLogin(assistant, std::move(input), m_output);
    if (!self || !m_output)
        return std::nullopt;
    const auto output = std::exchange(m_output, {});
    if (AccountCall::current())
        return std::nullopt; // the application quits, and the call still writes to the output
    return cloudcalls::outcomeOf(*output);
}

AccountCall *AccountSignIn::leave()
{
    if (!m_output)
        return nullptr;
    m_output.reset();
    AccountCall *call = AccountCall::current();
    if (call)
        call->leave();
    return call;
}

QString AccountSignIn::conclude(const QString &account, const ServiceOutcome &outcome)
{
    if (outcome.accepted()) {
        VT_LOG(info) << QStringLiteral("用户%1登录成功").arg(account);
        return {};
    }
    if (outcome.code == cloud::code::LockRefused) {
        VT_LOG(critical) << QStringLiteral("【账号密码登录】云锁登录失败。");
        return outcome.error.isEmpty() ? QStringLiteral("登录失败") : outcome.error;
    }
    const QString error = outcome.transportFailed() ? outcome.error : outcome.error.trimmed();
    VT_LOG(critical) << QStringLiteral("【账号密码登录】登录失败，返回错误码为：%1，错误信息为：%2")
                            .arg(QString::number(outcome.code), error);
    if (outcome.transportFailed())
        return QStringLiteral("发生通信错误");
    return error.isEmpty() ? QStringLiteral("登录失败") : error;
}

} // namespace tarn::visualized
