#include "login/QrSignIn.h"
#include "login/CloudCalls.h"
#include "login/LoginCaller.h"
#include "tarn/keys/CloudKeys.h"
#include <QUuid>
#include <utility>

namespace tarn::visualized {
namespace {
namespace key = cloud::key;

void logSuccess()
{
    VT_LOG(info) << QStringLiteral("快捷登录成功。");
}
} // namespace

QrSignIn::QrSignIn(std::shared_ptr<LoginCaller> caller, const CQueryQRCodeResult::Rhythm &rhythm, QObject *parent)
    : QObject(parent)
    , m_caller(std::move(caller))
    , m_rhythm(rhythm)
{
}

QrSignIn::~QrSignIn()
{
    stop();
}

QString QrSignIn::begin(const Request &request)
{
    stop();
    m_request = request;
    m_randomCode = QUuid::createUuid().toString().mid(1, 8);
    const auto outcome = call(service::cloud(), &ICloudServiceAssistant::GetQRCodeUrl,
                              {{key::QrType, request.type}, {key::RandomCode, m_randomCode}}, {key::QrUrl});
    VT_LOG_OUTCOME(outcome, QStringLiteral("【扫码登录】获取扫码登录地址"), QString());
    return outcome.accepted() ? outcome.values.value(key::QrUrl).toString() : QString();
}

bool QrSignIn::startWaiting(const QString &bindingAddress)
{
    auto *poller = new CQueryQRCodeResult(m_request.automatic, m_request.lockTip, m_randomCode, m_rhythm);
    poller->setBindingAddress(bindingAddress);
    m_poller = poller;
    m_receiver = std::make_unique<QObject>();
    connect(poller, &CQueryQRCodeResult::loginFail, m_receiver.get(),
            [this](const QString &error) { emit failed(error); });
    connect(poller, &CQueryQRCodeResult::loginTimeout, m_receiver.get(), [this] { emit timedOut(); });
    connect(poller, &CQueryQRCodeResult::yunlockFail, m_receiver.get(),
            [this](const QString &error) { emit lockRefused(error); });
    // Received by the poller itself, which outlives this object.
    connect(poller, &CQueryQRCodeResult::loginSuccess, poller,
            [self = QPointer<QrSignIn>(this), caller = m_caller](const QString &token) {
                if (self)
                    emit self->succeeded(token);
                else
                    notify(*caller);
            });
    poller->start();
    if (poller->isRunning() || poller->isFinished())
        return true;
    stop();
    delete poller;
    return false;
}

void QrSignIn::stop()
{
    if (m_poller)
        m_poller->stop();
    m_poller.clear();
    m_receiver.reset();
}

void QrSignIn::notify(LoginCaller &caller)
{
    caller.notify(QStringLiteral("扫码登录：开始通知云登录后事件"), logSuccess);
}

} // namespace tarn::visualized
