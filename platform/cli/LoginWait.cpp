#include "cli/LoginWait.h"
#include "cli/Output.h"
#include "cli/Service.h"
#include "tarn/binding/LoginNotify.h"
#include "tarn/cloud/ICloudLoginNotify.h"
#include "tarn/keys/CloudKeys.h"
#include "tarn/rpc/CallbackObject.h"
#include "tarn/rpc/HubPort.h"
#include <QDeadlineTimer>
#include <QSemaphore>

namespace tarn::cli {

namespace {

constexpr int LookMs = 500;
constexpr int ShowMs = 15000;       // until the dialog must have been seen
constexpr int AnswerTimeout = 3000; // ms
constexpr int NoticeMs = 3000;      // between the dialog's end and the notice of a sign-in

class Notify final : public ICloudLoginNotify
{
public:
    void AfterLogin() override { m_calls.release(); } // on an RPC thread
    bool wasCalled(int waitMs) { return m_calls.tryAcquire(1, waitMs); }

private:
    QSemaphore m_calls;
};

int refused(const QString &reason)
{
    complain(reason);
    return status::Refused;
}

int wait(Notify &notify, link::ServiceConnection &connection, int seconds)
{
    const QDeadlineTimer deadline(static_cast<qint64>(seconds) * 1000);
    const QDeadlineTimer showDeadline(ShowMs);
    bool wasOpen = false;
    bool wasSeen = false;
    while (!notify.wasCalled(LookMs)) {
        const auto answer =
            connection.call(visualized::DefaultTag, QStringLiteral("QueryYunLoginDialogState"), {}, AnswerTimeout);
        if (!answer.arrived() && answer.error.code != rpc::RpcError::Timeout)
            return explainFailure(answer, VisualizedService);
        const bool isOpen = answer.arrived() ? answer.output.values.value(cloud::key::DialogExists).toBool() : wasOpen;
        if (wasOpen && !isOpen) {
            if (notify.wasCalled(NoticeMs))
                break;
            return refused(QStringLiteral("the dialog was closed without a sign-in"));
        }
        wasOpen = isOpen;
        wasSeen |= isOpen;
        if (!wasSeen && answer.arrived() && showDeadline.hasExpired())
            return refused(QStringLiteral("no dialog was shown; is the user signed in already? tarnctl cloud state"));
        if (deadline.hasExpired())
            return refused(QStringLiteral("no sign-in within %1 seconds").arg(seconds));
    }
    print(QStringLiteral("AfterLogin"));
    return status::Ok;
}

} // namespace

int waitForLogin(const std::function<int(link::ServiceConnection &, const rpc::ObjectRef &)> &request, int seconds)
{
    QString error;
    rpc::Rpc core;
    const quint16 port = rpc::hubPort(&error);
    const auto notify = QSharedPointer<Notify>::create();
    const bool connected = port != 0 && core.init({{rpc::keys::Port, QString::number(port)}});
    const auto adapter = connected ? core.createAdapter(QStringLiteral("tarnctl")) : nullptr;
    rpc::ObjectRef reference;
    if (adapter && adapter->active())
        reference = rpc::bindCallback(*adapter, std::any(QSharedPointer<ICloudLoginNotify>(notify)),
                                      binding::LoginNotifyInterface);
    if (reference.isNull()) {
        const QString reason = port == 0 ? error : QString::fromStdString(rpc::getRpcLastError().message);
        complain(QStringLiteral("%1; start \"visualized-host\"").arg(reason));
        return status::NoTransport;
    }
    link::ServiceConnection connection;
    const int code = request(connection, reference);
    return code == status::Ok ? wait(*notify, connection, seconds) : code;
}

} // namespace tarn::cli
