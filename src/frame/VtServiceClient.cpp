#include "frame/VtServiceClient.h"
#include "tarn/client/IServiceAssistantManager.h"
#include "tarn/cloud/ICloudServiceAssistant.h"
#include "tarn/commkit/LibToolkit.h"
#include "tarn/license/ILicenseServiceAssistant.h"
#include "tarn/message/IMessageServiceAssistant.h"
#include "tarn/upgrade/IUpgradeServiceAssistant.h"
#include <QLibrary>

namespace {
constexpr int SettleMs = 1000; // for the user's last decisions to reach their services
constexpr int CutMs = 3000;    // for calls to return after the connections have been cut

/// Those that there are, in the fixed order.
QList<IServiceAssistant *> assistantsOf(IServiceAssistantManager *manager)
{
    if (!manager)
        return {};
    QList<IServiceAssistant *> all{manager->GetLicenseServiceAssistant(), manager->GetCloudServiceAssistant(),
                                   manager->GetMessageServiceAssistant(), manager->GetUpgradeServiceAssistant()};
    all.removeAll(nullptr);
    return all;
}
} // namespace

std::atomic<CVtServiceClient *> CVtServiceClient::_ssInstance{nullptr};
QMutex CVtServiceClient::_serMutex;

CVtServiceClient *CVtServiceClient::GetInstance()
{
    if (CVtServiceClient *instance = _ssInstance)
        return instance;
    const QMutexLocker locker(&_serMutex);
    if (!_ssInstance) {
        auto *instance = new CVtServiceClient;
        instance->initService();
        _ssInstance = instance;
    }
    return _ssInstance;
}

void CVtServiceClient::ReleaseInstance()
{
    CVtServiceClient *instance = _ssInstance;
    if (!instance)
        return;
    Lease::waitForAll(SettleMs);
    instance->unInitService();
    // A call that has still not returned would return into unloaded code. Qt unloads at the end of the process what its
    // QLibrary objects have given up, so this one is never deleted.
    if (!Lease::waitForAll(CutMs))
        instance->m_library.release(); // NOLINT(bugprone-unused-return-value)
    _ssInstance = nullptr;
    delete instance;
}

CVtServiceClient::CVtServiceClient()
    : m_library(std::make_unique<QLibrary>(tarn::commkit::LibToolkit::getAppModulePath() +
                                           QStringLiteral("/libTARN.ServiceClient.Base.so")))
{
    m_library->load();
}

CVtServiceClient::~CVtServiceClient()
{
    if (m_library)
        m_library->unload();
}

template <class Assistant>
Assistant *CVtServiceClient::assistant(Assistant *(IServiceAssistantManager::*get)()) const
{
    const QMutexLocker locker(&_serMutex);
    IServiceAssistantManager *manager = GetServiceAssistantMgr();
    return manager ? (manager->*get)() : nullptr;
}

ILicenseServiceAssistant *CVtServiceClient::GetLicenseServiceAssistant()
{
    return assistant(&IServiceAssistantManager::GetLicenseServiceAssistant);
}

ICloudServiceAssistant *CVtServiceClient::GetCloudServiceAssistant()
{
    return assistant(&IServiceAssistantManager::GetCloudServiceAssistant);
}

IMessageServiceAssistant *CVtServiceClient::GetMessageServiceAssistant()
{
    return assistant(&IServiceAssistantManager::GetMessageServiceAssistant);
}

IUpgradeServiceAssistant *CVtServiceClient::GetUpgradeServiceAssistant()
{
    return assistant(&IServiceAssistantManager::GetUpgradeServiceAssistant);
}

IServiceAssistantManager *CVtServiceClient::GetServiceAssistantMgr() const
{
    if (!m_library || !m_library->isLoaded())
        return nullptr;
    using EntryPoint = IServiceAssistantManager *(*)();
    const auto entry = reinterpret_cast<EntryPoint>(m_library->resolve("GetServiceAssistantManager"));
    return entry ? entry() : nullptr;
}

void CVtServiceClient::initService()
{
    const auto assistants = assistantsOf(GetServiceAssistantMgr());
    for (IServiceAssistant *assistant : assistants) {
        QString errorText;
        assistant->Initialize(QStringLiteral("统一服务_界面交互服务"), 1, errorText);
    }
}

void CVtServiceClient::unInitService()
{
    IServiceAssistantManager *manager = GetServiceAssistantMgr();
    const auto assistants = assistantsOf(manager);
    for (IServiceAssistant *assistant : assistants)
        assistant->UnInitialize();
    if (manager)
        manager->UnInitialize();
}
