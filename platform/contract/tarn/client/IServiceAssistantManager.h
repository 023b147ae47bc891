#pragma once
class ILicenseServiceAssistant;
class ICloudServiceAssistant;
class IMessageServiceAssistant;
class IUpgradeServiceAssistant;

/// Hands out the assistants of "libTARN.ServiceClient.Base.so"; reached through the library's only entry point,
///     extern "C" IServiceAssistantManager *GetServiceAssistantManager();
/// The manager and the assistants belong to the library: callers never delete them. Any thread.
class IServiceAssistantManager
{
public:
    virtual ILicenseServiceAssistant *GetLicenseServiceAssistant() = 0;
    virtual ICloudServiceAssistant *GetCloudServiceAssistant() = 0;
    virtual IMessageServiceAssistant *GetMessageServiceAssistant() = 0;
    virtual IUpgradeServiceAssistant *GetUpgradeServiceAssistant() = 0;
    /// Ends all connections; called once, before the library is unloaded.
    virtual void UnInitialize() = 0;

protected:
    ~IServiceAssistantManager() = default;
};
