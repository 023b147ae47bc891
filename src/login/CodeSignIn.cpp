#include "login/CodeSignIn.h"
#include "login/WipeText.h"
#include "tarn/keys/CloudKeys.h"

namespace tarn::visualized {
namespace {
namespace key = cloud::key;
constexpr int TickMs = 1000;
constexpr int SecondsBetweenCodes = 60;
} // namespace

CodeSignIn::CodeSignIn(QObject *parent)
    : QObject(parent)
{
    connect(&m_countdown, &QTimer::timeout, this, &CodeSignIn::secondPassed);
}

ServiceOutcome CodeSignIn::sendCode(const QString &phone)
{
    m_countdown.stop();
    m_sinceCode = 0;
    const auto outcome = call(service::cloud(), &ICloudServiceAssistant::SendVerificationCode, {{key::Phone, phone}});
    if (outcome.accepted()) {
        VT_LOG(info) << QStringLiteral("【获取验证码】调用获取验证码接口成功。");
        m_countdown.start(TickMs);
    } else if (!outcome.called()) {
        VT_LOG(critical) << QStringLiteral("【获取验证码】获取云服务失败");
    } else {
        // The second line lacks a colon, deliberately.
        const QString line =
            outcome.transportFailed()
                ? QStringLiteral("【获取验证码】rpc接口通信失败，记录错误码为：%1，错误信息为：%2")
                : QStringLiteral("【获取验证码】调用获取验证码接口发生逻辑错误，返回错误码为：%1，错误信息为%2");
        VT_LOG(critical) << line.arg(QString::number(outcome.code), outcome.error);
    }
    return outcome;
}

ServiceOutcome CodeSignIn::signIn(SignInRequest request)
{
    QVariantMap input{{key::Phone, request.user},
                      {key::Code, QString(request.secret.constData(), request.secret.size())},
                      {key::AutoLogin, request.automatic},
                      {key::Remember, request.remember},
                      {key::YunLockErrorTip, request.lockTip}};
    const auto outcome = call(service::cloud(), &ICloudServiceAssistant::LoginByPhone, input);
    QString code = input.take(key::Code).toString();
    wipeText(&code);
    wipeText(&request.secret);
    if (outcome.accepted())
        VT_LOG(info) << QStringLiteral("【云登录对话框验证码登录】用户%1登录成功").arg(request.user);
    return outcome;
}

QString CodeSignIn::concludeFailure(const QString &phone, const ServiceOutcome &outcome)
{
    // The placeholders of the second line begin at 2, deliberately; they are filled in order.
    const QString line = outcome.transportFailed()
                             ? QStringLiteral("【验证码登录】rpc接口通信失败，记录错误码为：%1，错误信息为：%2")
                             : QStringLiteral("【验证码登录】用户使用验证码登录失败，返回错误码为：%2，错误信息为：%3");
    VT_LOG(critical) << line.arg(QString::number(outcome.code), outcome.error);
    VT_LOG(critical) << QStringLiteral("【云登录对话框验证码登录】用户%1登录失败。").arg(phone);
    if (!outcome.error.isEmpty())
        return outcome.error;
    return outcome.transportFailed() ? QStringLiteral("发生通信错误") : QStringLiteral("登录失败");
}

int CodeSignIn::countDown()
{
    ++m_sinceCode;
    const int remaining = SecondsBetweenCodes - int(m_sinceCode % SecondsBetweenCodes);
    if (remaining < SecondsBetweenCodes)
        return remaining;
    stopCountdown();
    return 0;
}

} // namespace tarn::visualized
