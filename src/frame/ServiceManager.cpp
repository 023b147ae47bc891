#include "frame/ServiceManager.h"
#include "base/Log.h"
#include "tarn/keys/HubKeys.h"
#include "tarn/keys/RpcKeys.h"
#include <QDeadlineTimer>
#include <QFileInfo>
#include <QProcess>
#include <QThread>
#include <functional>
#include <sys/stat.h>
#include <unistd.h>

using tarn::rpc::RpcError;

namespace {
constexpr int StartLimitMs = 10000;
constexpr unsigned long StartPollMs = 100;

/// Whether the hub may write there after this process has ended: into a file, or to the journal. A pipe would end it with
/// its reader, and a terminal belongs to the user.
bool mayInherit(int stream)
{
    struct stat status;
    return ::fstat(stream, &status) == 0 && (S_ISREG(status.st_mode) || S_ISSOCK(status.st_mode));
}

bool launchDetached(const QString &program)
{
    QProcess process;
    process.setProgram(program);
    process.setArguments({tarn::hub::StartArgument});
    process.setWorkingDirectory(QFileInfo(program).absolutePath());
    process.setStandardInputFile(QProcess::nullDevice());
    if (!mayInherit(STDOUT_FILENO))
        process.setStandardOutputFile(QProcess::nullDevice());
    if (!mayInherit(STDERR_FILENO))
        process.setStandardErrorFile(QProcess::nullDevice());
    if (process.startDetached())
        return true;
    VT_LOG(warning) << QStringLiteral("岚川服务程序启动失败，QProcess错误码：%1").arg(process.error());
    VT_LOG(warning) << QStringLiteral("岚川服务程序启动失败，错误码：%1").arg(process.error());
    return false;
}

/// Starts the hub program and waits until it is up; without a condition it does not wait.
bool startServiceHub(const QString &program, const std::function<bool()> &isUp = {})
{
    const QString function = QString::fromLatin1(__func__);
    if (program.isEmpty()) {
        VT_LOG(warning) << QStringLiteral("[%1]统一服务注册中心应用程序路径查找失败！").arg(function);
        return false;
    }
    if (!QFileInfo(program).isFile()) {
        VT_LOG(info) << QStringLiteral("[%1]统一服务应用程序文件不存在").arg(function);
        return false;
    }
    if (!launchDetached(program))
        return false;
    if (!isUp)
        return true;
    for (const QDeadlineTimer deadline(StartLimitMs); !isUp(); QThread::msleep(StartPollMs)) {
        if (deadline.hasExpired()) {
            VT_LOG(warning) << QStringLiteral("岚川服务程序启动超时");
            return false;
        }
    }
    VT_LOG(info) << QStringLiteral("【客户端初始化】启动统一服务进程成功");
    return true;
}

bool setError(QString *errorText, const QString &text)
{
    if (errorText)
        *errorText = text;
    return false;
}
} // namespace

QSharedPointer<CServiceManager> CServiceManager::s_instance;
QMutex CServiceManager::s_lock;

QSharedPointer<CServiceManager> CServiceManager::getInstance()
{
    const QMutexLocker locker(&s_lock);
    if (!s_instance) {
        s_instance.reset(new CServiceManager);
        s_instance->start();
    }
    return s_instance;
}

bool CServiceManager::hasInstance()
{
    const QMutexLocker locker(&s_lock);
    return !s_instance.isNull();
}

void CServiceManager::ReleaseInstance()
{
    const QMutexLocker locker(&s_lock);
    s_instance.reset();
}

CServiceManager::CServiceManager()
    : d(QSharedPointer<CServiceManagerPrivate>::create())
    , m_rpc(QSharedPointer<tarn::rpc::Rpc>::create())
{
    // Called on a thread of the RPC core, again and again while no hub answers.
    m_rpc->setHubLost([this] {
        QMetaObject::invokeMethod(
            this, [this] { startServiceHub(d->findExePathByRegedit()); }, Qt::QueuedConnection);
    });
}

void CServiceManager::start()
{
    d->readLocalSettings();
    QString reason;
    int port = CServiceManagerPrivate::readHubPort(reason);
    const bool published = port != 0;
    const auto isUp = [&port, &reason] { return (port = CServiceManagerPrivate::readHubPort(reason)) != 0; };
    if (!published && !startServiceHub(d->findExePathByRegedit(), isUp)) {
        d->errorText =
            QStringLiteral("缺少岚川关键服务，请<a style=\"color: #0C64EB;\" href=\"https://tarn.invalid/download\">"
                           "下载</a>并重新安装软件！");
        VT_LOG(warning) << QStringLiteral("获取注册中心端口失败，") + reason;
        VT_LOG(critical) << QStringLiteral("[%1]岚川服务初始化失败！").arg(QLatin1String(__func__));
        return;
    }
    d->fillSettings();
    const auto answers = [this, &isUp, &port] { return isUp() && initRpc(port); };
    // A published port without a hub: the hub has died while another process held its segment.
    if (initRpc(port) || (published && tarn::rpc::getRpcLastError().code == RpcError::NoHub &&
                          startServiceHub(d->findExePathByRegedit(), answers))) {
        VT_LOG(info) << QStringLiteral("【客户端初始化】连接注册中心成功");
        return;
    }
    d->errorText = QStringLiteral("通信机制初始化失败，请稍后再试！");
    VT_LOG(warning) << QStringLiteral("【客户端初始化】连接注册中心失败");
    VT_LOG(debug) << QStringLiteral("【客户端初始化】连接注册中心失败，错误信息为：%1")
                         .arg(QString::fromStdString(tarn::rpc::getRpcLastError().message));
    VT_LOG(critical) << QStringLiteral("通信机制初始化失败");
}

bool CServiceManager::initRpc(int port)
{
    d->settings.insert(tarn::rpc::keys::Port, QString::number(port));
    return m_rpc->init(d->settings);
}

QSharedPointer<tarn::rpc::RpcProxy> CServiceManager::stringToProxy(const QString &tag)
{
    auto proxy = m_rpc->stringToProxy(tag);
    if (!proxy)
        VT_LOG(warning) << QStringLiteral("[CServiceManager::stringToProxy]无法获取代理指针，标签[%1]").arg(tag);
    return proxy;
}

QSharedPointer<tarn::rpc::RpcProxy> CServiceManager::waitforHub()
{
    auto hub = stringToProxy(tarn::hub::HubInterface);
    if (!hub)
        VT_LOG(warning) << QStringLiteral("[%1]获取hub指针失败").arg(QLatin1String(__func__));
    return hub;
}

bool CServiceManager::checkHubExist(QString &errorText)
{
    QString reason;
    if (CServiceManagerPrivate::readHubPort(reason) == 0) {
        VT_LOG(warning) << QStringLiteral("获取系统关键服务端口不存在：%1").arg(reason);
        return setError(&errorText, QStringLiteral("系统关键服务初始化失败，请稍后再试！"));
    }
    if (waitforHub()) {
        VT_LOG(debug) << QStringLiteral("【获取ServiceHub服务】成功");
        return true;
    }
    if (tarn::rpc::getRpcLastError().code == RpcError::Timeout) {
        VT_LOG(warning) << QStringLiteral("【获取ServiceHub服务】获取ServiceHub服务超时");
        return setError(&errorText, QStringLiteral("获取岚川服务超时"));
    }
    return setError(&errorText, QStringLiteral("岚川服务初始化失败，请稍后再试！"));
}

bool CServiceManager::checkHubRst()
{
    QString reason;
    const int port = CServiceManagerPrivate::readHubPort(reason);
    if (port == 0) {
        VT_LOG(warning) << QStringLiteral("获取注册中心端口失败，") + reason;
        return false;
    }
    d->settings.insert(tarn::rpc::keys::Port, QString::number(port));
    return true;
}

bool CServiceManager::checkAndReinit(QString *errorText)
{
    QString reason;
    if (m_rpc->isInitialized() && checkHubExist(reason))
        return true;
    d->fillSettings();
    if (!checkHubRst() || !m_rpc->init(d->settings)) {
        VT_LOG(warning) << QStringLiteral("[checkAndReinit]无法连接上注册中心");
        return setError(errorText, QStringLiteral("通信机制初始化失败，请稍后再试！"));
    }
    d->errorText.clear();
    VT_LOG(info) << QStringLiteral("[checkAndReinit]重新连接成功");
    return true;
}
