#include "frame/VisualizedServiceCreator.h"
#include "base/Log.h"
#include "base/WorkPool.h"
#include "frame/ManagerAccess.h"
#include "frame/ServiceManager.h"
#include "frame/VisualizedManager.h"
#include "frame/VisualizedService.h"
#include "frame/VtServiceClient.h"
#include "tarn/factory/ObjectFactory.h"
#include <QCoreApplication>
#include <QDir>
#include <QFontDatabase>
#include <exception>

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

void openForWork()
{
    CManagerAccess::open();
    ServiceLease::open();
    outsideWork().open();
}

QString lastError()
{
    return QString::fromStdString(tarn::rpc::getRpcLastError().message);
}

void addFonts(const QDir &directory, const QString &pattern)
{
    const QStringList files = directory.entryList({pattern}, QDir::Files, QDir::Unsorted);
    for (const QString &file : files)
        QFontDatabase::addApplicationFont(directory.absoluteFilePath(file));
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

// No exception leaves create() and destroy(): the host calls them from its start and from its end.
bool CVisualizedServiceCreator::create(const QString &tag)
{
    VT_LOG(info) << QStringLiteral("[CVisualizedServiceCreator::%1]开始绑定服务对象，标签[%2]")
                        .arg(QLatin1String(__func__), tag);
    try {
        switch (bind(tag)) {
        case Bound::Yes:
            return true;
        case Bound::NotAdded:
            return false;
        case Bound::NotActive:
            break;
        }
    } catch (const std::exception &error) {
        VT_LOG(critical) << QStringLiteral("[CVisualizedServiceCreator::%1]绑定服务对象时发生异常：%2")
                                .arg(QLatin1String(__func__), QString::fromLocal8Bit(error.what()));
    }
    if (m_adapter)
        m_adapter->remove(tag); // the next create() finds it free
    return false;
}

CVisualizedServiceCreator::Bound CVisualizedServiceCreator::bind(const QString &tag)
{
    const auto log = [](const QString &text, const QString &detail) {
        VT_LOG_AS(info, "create") << QStringLiteral("[CVisualizedServiceCreator::create]") + text.arg(detail);
    };
    loadFonts();
    m_service = QSharedPointer<CVisualizedService>::create();
    if (!m_adapter)
        m_adapter = newAdapter(); // destroy() has deleted the last one
    if (!m_adapter) {
        log(QStringLiteral("适配器为空%1"), {});
        return Bound::NotAdded;
    }
    const auto manager = CServiceManager::getInstance();
    if (!manager->getRpc()->isInitialized())
        manager->checkAndReinit(); // the hub may have been started since
    openForWork();
    if (!m_adapter->add(std::any(m_service), tarn::visualized::Interface, tag)) {
        log(QStringLiteral("适配器添加接口指针失败，错误信息[%1]"), lastError());
        return Bound::NotAdded;
    }
    if (!m_adapter->active()) {
        log(QStringLiteral("适配器激活失败，错误信息[%1]"), lastError());
        // A tag of another process: the adapter takes it over as soon as that process ends.
        if (tarn::rpc::getRpcLastError().code != tarn::rpc::RpcError::InvalidArgument)
            return Bound::NotActive;
    }
    log(QStringLiteral("服务对象绑定成功，标签[%1]"), tag);
    return Bound::Yes;
}

void CVisualizedServiceCreator::destroy(const QString &tag)
{
    try {
        tearDown(tag);
    } catch (const std::exception &error) {
        VT_LOG(critical) << QStringLiteral("[CVisualizedServiceCreator::%1]释放服务对象时发生异常：%2")
                                .arg(QLatin1String(__func__), QString::fromLocal8Bit(error.what()));
    }
    VT_LOG(debug) << QStringLiteral("[CVisualizedServiceCreator::%1]服务对象释放成功，标签[%2]")
                         .arg(QLatin1String(__func__), tag);
}

void CVisualizedServiceCreator::tearDown(const QString &tag)
{
    CManagerAccess::shut(); // refuses operations from here on
    m_service.reset();
    CVisualizedManager::FreeInstance();
    if (!outsideWork().stop(WorkEndMs))
        VT_LOG_AS(warning, "destroy") << QStringLiteral(
            "[CVisualizedServiceCreator::destroy]读取外部数据的线程仍未结束。");
    ServiceLease::close(); // no late task brings the client library back
    CVtServiceClient::ReleaseInstance();
    CVisualizedManager::joinThreads();
    if (m_adapter) {
        m_adapter->unactive();
        m_adapter->remove(tag);
        m_adapter.reset(); // belongs to the core that ends now
    }
    if (CServiceManager::hasInstance()) { // getInstance() would start a hub
        CServiceManager::getInstance()->unInitRpcCore();
        CServiceManager::ReleaseInstance();
    }
}

void CVisualizedServiceCreator::loadFonts()
{
    if (m_fontsLoaded)
        return;
    const QDir directory(QCoreApplication::applicationDirPath() + QStringLiteral("/System/share/tarn/fonts/"));
    if (!directory.exists()) {
        VT_LOG(warning) << QStringLiteral("字体文件目录不存在");
        return;
    }
    addFonts(directory, QStringLiteral("*.ttf"));
    addFonts(directory, QStringLiteral("*.ttc"));
    m_fontsLoaded = true;
}
