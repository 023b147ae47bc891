#pragma once
#include <QSharedPointer>
#include <functional>

class ICloudLoginNotify;

namespace tarn::visualized {

/// The caller of a sign-in dialog, notified at most once for each request, whichever of several sign-ins succeeds first.
/// Shared by the dialog and its pending sign-ins, which can outlive it. GUI thread.
class LoginCaller final
{
public:
    void set(QSharedPointer<ICloudLoginNotify> notify) { m_notify = std::move(notify); }

    /// Notifies the caller on a pool thread, since its process may be frozen or dead.
    /// @param line logged before, when there is a caller that has not been notified
    /// @param afterwards called on that thread once the notification has returned; at once without a waiting caller
    void notify(const QString &line, const std::function<void()> &afterwards = {});

private:
    QSharedPointer<ICloudLoginNotify> m_notify;
};

} // namespace tarn::visualized
