#include "frame/VisualizedServiceCreator.h"
#include "base/Log.h"
#include "base/WorkPool.h"
#include "frame/ManagerAccess.h"
#include "frame/ServiceManager.h"
#include "frame/VisualizedManager.h"
#include "frame/VisualizedService.h"
#include "frame/VtServiceClient.h"
#include "login/LoginDialogCreator.h"
#include "tarn/factory/ObjectFactory.h"
#include <QApplication>
#include <QDir>
#include <QFontDatabase>
#include <exception>
#include <functional>

using namespace tarn::visualized;

namespace {
constexpr int WorkEndMs = 1000; // tasks return between two of their steps

class RegisterCVisualizedServiceCreator final : public tarn::IRegist
{
public:
    RegisterCVisualizedServiceCreator() { tarn::ObjectFactory::regists().append(this); }
    ~RegisterCVisualizedServiceCreator() override { tarn::ObjectFactory::regists().removeAll(this); }
    Q_DISABLE_COPY(RegisterCVisualizedServiceCreator)

    void registClass() override
    {
        const QString name = QString::fromLatin1(CVisualizedServiceCreator::staticMetaObject.className());
        tarn::ObjectFactory::constructors().insert(
            name, [](QObject *parent) { return QSharedPointer<QObject>(new CVisualizedServiceCreator(parent)); });
        tarn::ObjectFactory::pointerTypeConstructors().insert(
            name, [](QObject *parent) -> QObject * { return new CVisualizedServiceCreator(parent); });
    }
};

RegisterCVisualizedServiceCreator registrar;

QSharedPointer<tarn::rpc::RpcAdapter> newAdapter()
{
    return CServiceManager::getInstance()->getRpc()->createAdapter(QStringLiteral("CVisualizedService"));
}

QString line(const char *function, const QString &text)
{
    return QStringLiteral("[CVisualizedServiceCreator::%1]%2").arg(QLatin1String(function), text);
}

QString lastError()
{
    return QString::fromStdString(tarn::rpc::getRpcLastError().message);
}

/// Runs one step of create() or destroy(), from which no exception reaches the host.
void guarded(const char *function, const QString &failed, const std::function<void()> &step)
{
    try {
        step();
    } catch (const std::exception &error) {
        VT_LOG_AS(critical, function) << line(function, failed + QString::fromLocal8Bit(error.what()));
    } catch (...) { // RpcError, for one, is no std::exception
        VT_LOG_AS(critical, function) << line(function, failed + QStringLiteral("未知异常"));
    }
}
} // namespace

CVisualizedServiceCreator::CVisualizedServiceCreator(QObject *parent)
    : QObject(parent)
    , m_adapter(newAdapter())
{
}

CVisualizedServiceCreator::~CVisualizedServiceCreator()
{
    VT_LOG(info) << QStringLiteral("CVisualizedService 清理完成");
}

bool CVisualizedServiceCreator::create(const QString &tag)
{
    const char *const function = __func__;
    const QString failed = QStringLiteral("绑定服务对象时发生异常：");
    VT_LOG(info) << line(function, QStringLiteral("开始绑定服务对象，标签[%1]").arg(tag));
    bool added = false;
    bool opened = false;
    bool bound = false;
    guarded(function, failed, [&] {
        const QString failure = bind(tag, added, opened);
        bound = failure.isEmpty();
        const QString success = QStringLiteral("服务对象绑定成功，标签[%1]").arg(tag);
        VT_LOG_AS(info, function) << line(function, bound ? success : failure);
    });
    if (opened && !bound)
        guarded(function, failed, [this] { closeService(); }); // a dispatcher of an earlier service may still be called
    if (added && !bound)
        guarded(function, failed, [&] { m_adapter->remove(tag); }); // so that the next create() can add it
    return bound;
}

QString CVisualizedServiceCreator::bind(const QString &tag, bool &added, bool &opened)
{
    if (!qobject_cast<QApplication *>(QCoreApplication::instance()))
        return QStringLiteral("没有QApplication，无法显示窗口"); // Qt would end the process
    loadFonts();
    m_service = QSharedPointer<CVisualizedService>::create();
    if (!m_adapter)
        m_adapter = newAdapter(); // destroy() has deleted the last one
    if (!m_adapter)
        return QStringLiteral("适配器为空");
    const auto manager = CServiceManager::getInstance();
    if (!manager->getRpc()->isInitialized())
        manager->checkAndReinit(); // the hub may have been started since
    added = m_adapter->add(std::any(m_service), tarn::visualized::Interface, tag);
    if (!added)
        return QStringLiteral("适配器添加接口指针失败，错误信息[%1]").arg(lastError());
    opened = CManagerAccess::open(); // before the first call arrives
    ServiceLease::open();
    outsideWork().open();
    if (m_adapter->active())
        return {};
    const QString failure = QStringLiteral("适配器激活失败，错误信息[%1]").arg(lastError());
    const auto code = tarn::rpc::getRpcLastError().code;
    if (code != tarn::rpc::RpcError::InvalidArgument && code != tarn::rpc::RpcError::NoHub)
        return failure;
    // Another process holds the tag, or no hub answers. The adapter is active and registers as soon as it can; a removed
    // object would be waited for by no adapter.
    VT_LOG(warning) << line("create", failure);
    return {};
}

void CVisualizedServiceCreator::destroy(const QString &tag)
{
    const auto run = [](const std::function<void()> &step) { // a failing step skips no later one
        guarded("destroy", QStringLiteral("释放服务对象时发生异常："), step);
    };
    run([this] { closeService(); });
    if (m_adapter) {
        run([this] { m_adapter->unactive(); });
        run([&] { m_adapter->remove(tag); });
    }
    run([this] { endRpc(); });
    VT_LOG(debug) << line(__func__, QStringLiteral("服务对象释放成功，标签[%1]").arg(tag));
}

QString CVisualizedServiceCreator::startError() const
{
    return CServiceManager::hasInstance() ? CServiceManager::getInstance()->startError() : QString();
}

void CVisualizedServiceCreator::closeService()
{
    CManagerAccess::shut(); // refuses operations from here on
    m_service.reset();
    CVisualizedManager::FreeInstance();
    if (!outsideWork().stop(WorkEndMs))
        VT_LOG(warning) << line("destroy", QStringLiteral("读取外部数据的线程仍未结束。"));
    ServiceLease::close(); // no late task brings the client library back
    CVtServiceClient::ReleaseInstance();
    LoginDialogCreator::joinThreads();
}

void CVisualizedServiceCreator::endRpc()
{
    m_adapter.reset();                    // belongs to the core that ends now
    if (CServiceManager::hasInstance()) { // getInstance() would start a hub
        CServiceManager::getInstance()->unInitRpcCore();
        CServiceManager::ReleaseInstance();
    }
}

void CVisualizedServiceCreator::loadFonts()
{
    if (m_fontsLoaded)
        return;
    const QFontDatabase known; // reads the system's fonts, which the first window would otherwise wait for
    const QDir directory(QCoreApplication::applicationDirPath() + QStringLiteral("/System/share/tarn/fonts/"));
    if (!directory.exists()) {
        VT_LOG(warning) << QStringLiteral("字体文件目录不存在");
        return;
    }
    for (const QString &pattern : {QStringLiteral("*.ttf"), QStringLiteral("*.ttc")}) {
        const QStringList files = directory.entryList({pattern}, QDir::Files, QDir::Unsorted);
        for (const QString &file : files)
            QFontDatabase::addApplicationFont(directory.absoluteFilePath(file));
    }
    m_fontsLoaded = true;
}
