#pragma once
#include "../Dispatch.h"
#include "tarn/cloud/CloudKeys.h"

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

/// The reason goes into the log, the user is told what matters to him.
inline rpc::CallResult unavailable(const QString &reason)
{
    qCCritical(servicesLog).noquote() << QStringLiteral("the cloud account service fails: %1").arg(reason);
    return refused(QStringLiteral("云账号服务暂时不可用"));
}

} // namespace tarn::services
