#pragma once
#include "services/Dispatch.h"
#include "tarn/keys/CloudKeys.h"

/// The cloud account service's answers.
namespace tarn::services {

inline rpc::CallResult ok(QVariantMap values = {}, QVariantList list = {})
{
    return acceptedWith(cloud::code::Ok, {std::move(values), std::move(list)});
}

inline rpc::CallResult refused(const QString &text)
{
    return refusedWith(cloud::code::Refused, text);
}

inline rpc::CallResult invalid(const QString &error)
{
    return refusedWith(cloud::code::InvalidArgs, error);
}

inline rpc::CallResult busy()
{
    return refused(QStringLiteral("服务繁忙，请稍后再试"));
}

inline rpc::CallResult lockRefused(bool lockTip)
{
    const QString text = QStringLiteral("该账号已被云锁锁定，登录被拒绝");
    return refusedWith(cloud::code::LockRefused,
                       lockTip ? text + QStringLiteral("，请联系管理员解除云锁后再试") : text);
}

/// The reason is logged; the user reads that the service is not available.
inline rpc::CallResult unavailable(const QString &reason)
{
    qCCritical(servicesLog).noquote() << QStringLiteral("the cloud account service fails: %1").arg(reason);
    return refused(QStringLiteral("云账号服务暂时不可用"));
}

} // namespace tarn::services
