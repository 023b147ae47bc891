#include "client/Assistants.h"
#include "tarn/client/IServiceAssistantManager.h"

namespace tarn::client {

namespace {

class AssistantManager final : public IServiceAssistantManager
{
public:
    virtual ~AssistantManager() = default;
    ILicenseServiceAssistant *GetLicenseServiceAssistant() override { return &m_license; }
    ICloudServiceAssistant *GetCloudServiceAssistant() override { return &m_cloud; }
    IMessageServiceAssistant *GetMessageServiceAssistant() override { return &m_message; }
    IUpgradeServiceAssistant *GetUpgradeServiceAssistant() override { return &m_upgrade; }

    void UnInitialize() override
    {
        m_cloud.UnInitialize();
        m_message.UnInitialize();
        m_upgrade.UnInitialize();
    }

private:
    LicenseAssistant m_license;
    CloudAssistant m_cloud;
    MessageAssistant m_message;
    UpgradeAssistant m_upgrade;
};

} // namespace

} // namespace tarn::client

extern "C" Q_DECL_EXPORT IServiceAssistantManager *GetServiceAssistantManager();

IServiceAssistantManager *GetServiceAssistantManager()
{
    static tarn::client::AssistantManager manager;
    return &manager;
}
