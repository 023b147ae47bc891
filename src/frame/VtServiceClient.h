#pragma once
#include "base/ServiceCall.h"
#include <QMutex>
#include <atomic>
#include <memory>

class ILicenseServiceAssistant;
class IServiceAssistantManager;
class QLibrary;

/// Access to the service assistants: loads the platform's client library on first use. Any thread; the assistants
/// belong to the library, which alone deletes them, and every getter may return null.
class CVtServiceClient
{
public:
    using Lease = tarn::visualized::ServiceLease;

    static CVtServiceClient *GetInstance();
    /// Ends the assistants, waits for the leases and unloads the library. GUI thread; the next GetInstance() loads it
    /// again.
    static void ReleaseInstance();

    IServiceAssistantManager *GetServiceAssistantMgr() const;
    ILicenseServiceAssistant *GetLicenseServiceAssistant();
    ICloudServiceAssistant *GetCloudServiceAssistant();
    IMessageServiceAssistant *GetMessageServiceAssistant();
    IUpgradeServiceAssistant *GetUpgradeServiceAssistant();

private:
    CVtServiceClient();
    ~CVtServiceClient();
    Q_DISABLE_COPY(CVtServiceClient)

    template <class Assistant>
    Assistant *assistant(Assistant *(IServiceAssistantManager::*get)()) const;
    void initService();
    void unInitService();

    std::unique_ptr<QLibrary> m_library;

    static std::atomic<CVtServiceClient *> _ssInstance;
    static QMutex _serMutex;
};

/// The assistants for call() of base/ServiceCall.h, each null while there is no client library and after destroy().
/// Any thread.
namespace tarn::visualized::service {
inline auto cloud()
{
    return ServiceHandle([] { return CVtServiceClient::GetInstance()->GetCloudServiceAssistant(); });
}
inline auto message()
{
    return ServiceHandle([] { return CVtServiceClient::GetInstance()->GetMessageServiceAssistant(); });
}
inline auto upgrade()
{
    return ServiceHandle([] { return CVtServiceClient::GetInstance()->GetUpgradeServiceAssistant(); });
}
} // namespace tarn::visualized::service
