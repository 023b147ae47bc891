#include "cli/LoginWait.h"
#include "cli/Output.h"
#include "cli/Service.h"
#include "tarn/binding/LoginNotify.h"
#include "tarn/cloud/ICloudLoginNotify.h"
#include "tarn/keys/CloudKeys.h"
#include "tarn/rpc/HubPort.h"
#include <QDeadlineTimer>

namespace tarn::cli {

namespace {

constexpr int LookMs = 500;
constexpr int ShowMs = 15000;       // until the dialog must have been seen
constexpr int AnswerTimeout = 3000; // ms
constexpr int NoticeMs = 3000;      // between the dialog's end and the notice of a sign-in

} // namespace

class LoginWait::Notify final : public ICloudLoginNotify
{
public:
    explicit Notify(QSharedPointer<QSemaphore> notified)
        : m_notified(std::move(notified))
    {
    }
    void AfterLogin() override { m_notified->release(); }

private:
    const QSharedPointer<QSemaphore> m_notified;
};

rpc::ObjectRef LoginWait::serve(QString *error)
{
    m_notified = QSharedPointer<QSemaphore>::create();
    const quint16 port = rpc::hubPort(error);
    if (port == 0)
        return {};
    rpc::ObjectRef reference;
    if (m_rpc.init({{rpc::keys::Port, QString::number(port)}}))
        m_adapter = m_rpc.createAdapter(QStringLiteral("tarnctl"));
    if (m_adapter && m_adapter->active()) {
        const QSharedPointer<ICloudLoginNotify> notify = QSharedPointer<Notify>::create(m_notified);
        reference = rpc::bindCallback(*m_adapter, std::any(notify), binding::LoginNotifyInterface);
    }
    if (reference.isNull())
        *error = QString::fromStdString(rpc::getRpcLastError().message);
    return reference;
}

int LoginWait::wait(link::ServiceConnection &connection, int seconds)
{
    const QDeadlineTimer deadline(static_cast<qint64>(seconds) * 1000);
    const QDeadlineTimer showDeadline(ShowMs);
    bool wasOpen = false;
    bool wasSeen = false;
    while (!m_notified->tryAcquire(1, LookMs)) {
        const auto answer =
            connection.call(visualized::DefaultTag, QStringLiteral("QueryYunLoginDialogState"), {}, AnswerTimeout);
        if (!answer.arrived() && answer.error.code != rpc::RpcError::Timeout)
            return explainFailure(answer, VisualizedService);
        const bool isOpen = answer.arrived() ? answer.output.values.value(cloud::key::DialogExists).toBool() : wasOpen;
        if (wasOpen && !isOpen) {
            if (m_notified->tryAcquire(1, NoticeMs))
                break;
            complain(QStringLiteral("the dialog was closed without a sign-in"));
            return status::Refused;
        }
        wasOpen = isOpen;
        wasSeen |= isOpen;
        if (!wasSeen && answer.arrived() && showDeadline.hasExpired()) {
            complain(QStringLiteral("no dialog was shown; is the user signed in already? tarnctl cloud state"));
            return status::Refused;
        }
        if (deadline.hasExpired()) {
            complain(QStringLiteral("no sign-in within %1 seconds").arg(seconds));
            return status::Refused;
        }
    }
    print(QStringLiteral("AfterLogin"));
    return status::Ok;
}

} // namespace tarn::cli
