#include "login/CloudCalls.h"
#include "tarn/cloud/ICloudLoginNotify.h"
#include "tarn/keys/CloudKeys.h"
#include <QThreadPool>
#include <utility>

namespace tarn::visualized {
namespace key = cloud::key;

QVariantMap SignInRequest::values(const QString &userKey, const QString &secretKey) const
{
    return {{userKey, user},
            {secretKey, servicecall::ownCopy(secret)},
            {key::AutoLogin, automatic},
            {key::Remember, remember},
            {key::YunLockErrorTip, lockTip}};
}

namespace cloudcalls {

ServiceOutcome linkAddress(const QString &linkKey, QString *address)
{
    const auto outcome =
        call(service::cloud(), &ICloudServiceAssistant::GetLinkAddress, {{key::LinkKey, linkKey}}, {key::LinkUrl});
    VT_LOG_OUTCOME(outcome, QStringLiteral("【获取跳转链接地址】%1").arg(linkKey), QString());
    *address = outcome.accepted() ? outcome.values.value(key::LinkUrl).toString() : QString();
    return outcome;
}

QString qrAddress(const QString &type, const QString &randomCode)
{
    const auto outcome = call(service::cloud(), &ICloudServiceAssistant::GetQRCodeUrl,
                              {{key::QrType, type}, {key::RandomCode, randomCode}}, {key::QrUrl});
    VT_LOG_OUTCOME(outcome, QStringLiteral("【扫码登录】获取扫码登录地址"), QString());
    return outcome.accepted() ? outcome.values.value(key::QrUrl).toString() : QString();
}

ServiceOutcome sendCode(const QString &phone)
{
    const auto outcome = call(service::cloud(), &ICloudServiceAssistant::SendVerificationCode, {{key::Phone, phone}});
    if (outcome.accepted()) {
        VT_LOG(info) << QStringLiteral("【获取验证码】调用获取验证码接口成功。");
    } else if (!outcome.called()) {
        VT_LOG(critical) << QStringLiteral("【获取验证码】获取云服务失败");
    } else {
        // The second line lacks a colon, deliberately.
        VT_LOG(critical) << outcome.failure(
            QStringLiteral("【获取验证码】rpc接口通信失败，记录错误码为：%1，错误信息为：%2"),
            QStringLiteral("【获取验证码】调用获取验证码接口发生逻辑错误，返回错误码为：%1，错误信息为%2"));
    }
    return outcome;
}

SignInEnd signInByCode(const SignInRequest &request)
{
    QVariantMap input = request.values(key::Phone, key::Code);
    const auto outcome = call(service::cloud(), &ICloudServiceAssistant::LoginByPhone, input);
    QString code = input.take(key::Code).toString();
    wipeText(&code);
    if (outcome.accepted()) {
        VT_LOG(info) << QStringLiteral("【云登录对话框验证码登录】用户%1登录成功").arg(request.user);
        return {QString(), true};
    }
    if (!outcome.called()) {
        VT_LOG(critical) << QStringLiteral("【验证码登录】获取云服务失败");
        return {QStringLiteral("获取云服务失败")};
    }
    const QString unexplained = outcome.transportFailed() ? QStringLiteral("发生通信错误") : QStringLiteral("登录失败");
    const QString tip = outcome.error.isEmpty() ? unexplained : outcome.error;
    if (outcome.code == cloud::code::LockRefused) {
        VT_LOG(critical) << QStringLiteral("【手机验证码】云锁登录失败。");
        return {tip, true}; // as after a success, deliberately
    }
    // The placeholders of the second line begin at 2, deliberately; they are filled in order.
    VT_LOG(critical) << outcome.failure(
        QStringLiteral("【验证码登录】rpc接口通信失败，记录错误码为：%1，错误信息为：%2"),
        QStringLiteral("【验证码登录】用户使用验证码登录失败，返回错误码为：%2，错误信息为：%3"));
    VT_LOG(critical) << QStringLiteral("【云登录对话框验证码登录】用户%1登录失败。").arg(request.user);
    return {tip};
}

void notify(const LoginCaller &caller, const QString &line, const QString &afterwards)
{
    const auto waiting = std::exchange(*caller, {});
    if (!waiting) {
        if (!afterwards.isEmpty())
            VT_LOG(info) << afterwards;
        return;
    }
    VT_LOG(info) << line;
    const ServiceLease lease; // destroy() gives the notification a moment to arrive
    const char *const function = __func__;
    pool().start([waiting, afterwards, lease, function] {
        waiting->AfterLogin();
        if (!afterwards.isEmpty())
            VT_LOG_AS(info, function) << afterwards;
    });
}

QThreadPool &pool()
{
    static QThreadPool threads;
    threads.setMaxThreadCount(16);
    return threads;
}

} // namespace cloudcalls
} // namespace tarn::visualized
