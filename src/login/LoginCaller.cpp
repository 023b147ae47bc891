#include "login/LoginCaller.h"
#include "login/CloudCalls.h"
#include "tarn/cloud/ICloudLoginNotify.h"
#include <QtConcurrent>
#include <utility>

namespace tarn::visualized {

void LoginCaller::notify(const QString &line, const std::function<void()> &afterwards)
{
    const auto caller = std::exchange(m_notify, {});
    if (!caller) {
        if (afterwards)
            afterwards();
        return;
    }
    VT_LOG(info) << line;
    const ServiceLease lease; // destroy() gives the notification a moment to arrive
    QtConcurrent::run(&cloudcalls::callerPool(), [caller, afterwards, lease] {
        caller->AfterLogin();
        if (afterwards)
            afterwards();
    });
}

} // namespace tarn::visualized
