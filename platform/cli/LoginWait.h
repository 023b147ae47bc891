#pragma once
#include "tarn/rpc/CallbackObject.h"
#include <QSemaphore>
#include <QSharedPointer>

namespace tarn::link {
class ServiceConnection;
}

namespace tarn::cli {

/// This program's notify object for a sign-in that it requests. Served while the object lives.
class LoginWait
{
public:
    /// @return null, with error, when it cannot be served
    rpc::ObjectRef serve(QString *error);

    /// Waits until the notify object is called, and prints its call. Gives up when no dialog is seen within 15 seconds,
    /// when it has been closed without a sign-in, when the visualized service ends, or after so many seconds.
    /// @return the exit code
    int wait(link::ServiceConnection &connection, int seconds);

private:
    class Notify;

    QSharedPointer<QSemaphore> m_notified; ///< released on an RPC thread
    rpc::Rpc m_rpc;
    QSharedPointer<rpc::RpcAdapter> m_adapter;
};

} // namespace tarn::cli
