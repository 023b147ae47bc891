#include "login/QueryQRCodeResult.h"
#include "login/CloudCalls.h"
#include "tarn/keys/CloudKeys.h"
#include "widgets/WebLink.h"
#include <QDeadlineTimer>
#include <QPointer>
#include <utility>

namespace {
using namespace tarn::visualized;
namespace key = tarn::cloud::key;
namespace code = tarn::cloud::code;

QList<QPointer<QThread>> &pollers() // GUI thread
{
    static QList<QPointer<QThread>> all;
    return all;
}
} // namespace

CQueryQRCodeResult::CQueryQRCodeResult(bool autoLogin, bool yunLockErrorTip, QString randomCode, const Rhythm &rhythm)
    : m_autoLogin(autoLogin)
    , m_yunLockErrorTip(yunLockErrorTip)
    , m_rhythm(rhythm)
    , m_randomCode(std::move(randomCode))
    , m_lease(std::in_place)
{
    connect(this, &QThread::finished, this, &QObject::deleteLater);
    pollers().removeAll(QPointer<QThread>());
    pollers() << this;
}

CQueryQRCodeResult::~CQueryQRCodeResult()
{
    stop();
    wait();
}

void CQueryQRCodeResult::setRandomFlag(QString randomCode)
{
    const QMutexLocker locker(&m_lock);
    m_randomCode = std::move(randomCode);
}

void CQueryQRCodeResult::stop()
{
    const QMutexLocker locker(&m_lock);
    m_stopped = true;
}

bool CQueryQRCodeResult::waitForStopped(int ms)
{
    const QDeadlineTimer deadline(ms);
    bool all = true;
    const auto threads = pollers();
    for (const QPointer<QThread> &thread : threads)
        all = (!thread || thread->wait(deadline)) && all;
    return all;
}

void CQueryQRCodeResult::deleteStopped(int ms)
{
    waitForStopped(ms);
    const auto threads = pollers();
    for (const QPointer<QThread> &thread : threads) {
        if (thread && thread->isFinished())
            delete thread;
    }
}

void CQueryQRCodeResult::run()
{
    if (!m_stopped) // looking up the assistant would load the client library again after the end of the service
        poll(service::cloud());
    m_lease.reset();
}

void CQueryQRCodeResult::poll(const Cloud &cloud)
{
    if (!cloud) {
        report([this] { emit loginFail(QStringLiteral("获取云服务失败")); });
        return;
    }
    for (int polls = 1;; ++polls) {
        if (!waitForTurn() || query(cloud))
            return;
        if (polls == m_rhythm.polls)
            break;
    }
    report([this] { emit loginTimeout(); });
}

// Returns false when the poller has been stopped.
bool CQueryQRCodeResult::waitForTurn() const
{
    for (int slice = 0; slice < m_rhythm.slices && !m_stopped; ++slice)
        msleep(m_rhythm.sliceMs);
    return !m_stopped;
}

// Returns true when the poll has been decided and reported.
bool CQueryQRCodeResult::query(const Cloud &cloud)
{
    QMutexLocker locker(&m_lock);
    const QVariantMap input{
        {key::RandomCode, m_randomCode}, {key::AutoLogin, m_autoLogin}, {key::YunLockErrorTip, m_yunLockErrorTip}};
    locker.unlock();
    const auto outcome = call(cloud, &ICloudServiceAssistant::QueryQRCodeResult, input, {key::Token});
    if (outcome.accepted()) {
        emit loginSuccess(outcome.values.value(key::Token).toString());
        return true;
    }
    if (m_stopped)
        return true;
    QString error = outcome.error;
    switch (outcome.code) {
    case code::QrWaiting:
        return false;
    case code::LockRefused:
        report([&] { emit yunlockFail(error); });
        return true;
    case code::WeixinUnbound:
    case code::QqUnbound:
        error = bindingMessage();
        break;
    case code::QrExpired:
    case code::QrRefused:
        break;
    default:
        if (error.isEmpty())
            error = QStringLiteral("获取扫码登录结果失败。");
        VT_LOG(warning) << QStringLiteral("查询二维码登录结果失败，returnCode:%1 errormsg:%2")
                               .arg(QString::number(outcome.code), error);
    }
    report([&] { emit loginFail(error); });
    return true;
}

QString CQueryQRCodeResult::bindingMessage() const
{
    QString address = m_bindingAddress;
    if (address.isEmpty())
        cloudcalls::linkAddress(key::LinkBindAccount, &address);
    if (!weblink::isPage(address))
        address.clear();
    return QStringLiteral("检测到您首次通过微信或QQ登录岚川云，请先前往<a style=\"color: #0C64EB;\" href=\"%1\">"
                          "岚川用户中心</a>绑定后再登录。")
        .arg(address.toHtmlEscaped());
}

void CQueryQRCodeResult::report(const std::function<void()> &emitResult)
{
    const QMutexLocker locker(&m_lock);
    if (!m_stopped)
        emitResult();
}
