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
#include <QCoreApplication>
#include <QDir>
#include <QFontDatabase>

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

bool CVisualizedServiceCreator::create(const QString &tag)
{
    VT_LOG(info) << QStringLiteral("[CVisualizedServiceCreator::%1]开始绑定服务对象，标签[%2]")
                        .arg(QLatin1String(__func__), tag);
    loadFonts();
    m_service = QSharedPointer<CVisualizedService>::create();
    if (!m_adapter)
        m_adapter = newAdapter(); // the last one went with destroy()
    if (!m_adapter) {
        VT_LOG(info) << QStringLiteral("[CVisualizedServiceCreator::%1]适配器为空").arg(QLatin1String(__func__));
        return false;
    }
    const auto manager = CServiceManager::getInstance();
    if (!manager->getRpc()->isInitialized())
        manager->checkAndReinit(); // the hub may have come since
    openForWork();
    if (!m_adapter->add(std::any(m_service), tarn::visualized::Interface, tag)) {
        VT_LOG(info) << QStringLiteral("[CVisualizedServiceCreator::%1]适配器添加接口指针失败，错误信息[%2]")
                            .arg(QLatin1String(__func__), QString::fromStdString(tarn::rpc::getRpcLastError().message));
        return false;
    }
    if (!m_adapter->active()) // it goes on trying to register by itself, unless another process holds the tag
        VT_LOG(warning) << QString::fromStdString(tarn::rpc::getRpcLastError().message);
    VT_LOG(info) << QStringLiteral("[CVisualizedServiceCreator::%1]服务对象绑定成功，标签[%2]")
                        .arg(QLatin1String(__func__), tag);
    return true;
}

void CVisualizedServiceCreator::destroy(const QString &tag)
{
    CManagerAccess::shut(); // operations that still arrive are refused from here on
    m_service.reset();
    CVisualizedManager::FreeInstance();
    if (!outsideWork().stop(WorkEndMs))
        VT_LOG(warning) << QStringLiteral("[CVisualizedServiceCreator::%1]读取外部数据的线程仍未结束。")
                               .arg(QLatin1String(__func__));
    ServiceLease::close(); // no late task brings the client library back
    CVtServiceClient::ReleaseInstance();
    LoginDialogCreator::joinThreads();
    if (m_adapter) {
        m_adapter->unactive();
        m_adapter->remove(tag);
        m_adapter.reset(); // belongs to the core that goes now
    }
    if (CServiceManager::hasInstance()) {
        CServiceManager::getInstance()->unInitRpcCore();
        CServiceManager::ReleaseInstance();
    }
    VT_LOG(debug) << QStringLiteral("[CVisualizedServiceCreator::%1]服务对象释放成功，标签[%2]")
                         .arg(QLatin1String(__func__), tag);
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
