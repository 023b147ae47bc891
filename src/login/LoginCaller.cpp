#include "login/LoginCaller.h"
#include "base/ServiceLease.h"
#include "tarn/cloud/ICloudLoginNotify.h"
#include <QThreadPool>
#include <QtConcurrent>
#include <utility>

namespace tarn::visualized {
namespace {
constexpr int MostThreads = 8; // that callers which do not answer can occupy

// Not the pool of the sign-ins: callers that hang must not delay a sign-in.
QThreadPool &threads()
{
    struct Pool final : QThreadPool
    {
        Pool() { setMaxThreadCount(MostThreads); }
    };
    static Pool pool;
    return pool;
}
} // namespace

void LoginCaller::notify(const std::function<void()> &afterwards)
{
    const auto caller = std::exchange(m_notify, {});
    if (!caller) {
        if (afterwards)
            afterwards();
        return;
    }
    const ServiceLease lease; // destroy() gives the notification a moment to arrive
    QtConcurrent::run(&threads(), [caller, afterwards, lease] {
        caller->AfterLogin();
        if (afterwards)
            afterwards();
    });
}

bool LoginCaller::waitForNotifications(int ms)
{
    return threads().waitForDone(ms);
}

} // namespace tarn::visualized
