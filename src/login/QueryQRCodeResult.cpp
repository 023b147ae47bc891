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

QList<QPointer<QThread>> pollers; // GUI thread
} // namespace

CQueryQRCodeResult::CQueryQRCodeResult(bool autoLogin, bool yunLockErrorTip, QString randomCode, const Rhythm &rhythm)
    : m_autoLogin(autoLogin)
    , m_yunLockErrorTip(yunLockErrorTip)
    , m_rhythm(rhythm)
    , m_randomCode(std::move(randomCode))
{
    connect(this, &QThread::finished, this, &QObject::deleteLater);
    pollers.removeAll(QPointer<QThread>());
    pollers << this;
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

bool CQueryQRCodeResult::waitForStopped(int ms)
{
    const QDeadlineTimer deadline(ms);
    bool all = true;
    for (const QPointer<QThread> &poller : qAsConst(pollers))
        all = (!poller || poller->wait(deadline)) && all;
    return all;
}

void CQueryQRCodeResult::deleteStopped(int ms)
{
    waitForStopped(ms);
    for (const QPointer<QThread> &poller : qAsConst(pollers)) {
        if (poller && poller->isFinished())
            delete poller;
    }
}

void CQueryQRCodeResult::run()
{
    if (m_stopped) // looking up the assistant would load the client library again after the end of the service
        return;
    const Cloud cloud = service::cloud();
    if (!cloud) {
        emit loginFail(QStringLiteral("获取云服务失败"));
        return;
    }
    for (int polls = 0; polls < m_rhythm.polls; ++polls) {
        if (!waitForTurn() || query(cloud))
            return;
    }
    if (!m_stopped)
        emit loginTimeout();
}

// Returns false when the poller has been stopped.
bool CQueryQRCodeResult::waitForTurn() const
{
    for (int slice = 0; slice < m_rhythm.slices && !m_stopped; ++slice)
        msleep(m_rhythm.sliceMs);
    return !m_stopped;
}

// Returns true when the poll has been decided.
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
        emit yunlockFail(error);
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
    if (!m_stopped)
        emit loginFail(error);
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
