#include "frame/VisualizedEvents.h"
#include "tarn/cloud/ICloudLoginNotify.h"
#include "tarn/cloud/ICloudServiceArgs.h"
#include "tarn/license/ILicenseServiceArgs.h"
#include "tarn/message/IMessageServiceArgs.h"
#include "tarn/upgrade/IUpgradeServiceArgs.h"

CVisualizedEvents::CVisualizedEvents(QEvent::Type type, IVisualizedEventData *data)
    : QEvent(type)
    , m_data(data)
{
}

CVisualizedEvents::~CVisualizedEvents()
{
    delete m_data;
}

IVisualizedEventData *CVisualizedEvents::GetEventData() const
{
    return m_data;
}

CAutoCheckUpdateEveData::CAutoCheckUpdateEveData(QSharedPointer<IUpgaredSoftInfoService_InputParam> args)
    : inputArgs(std::move(args))
{
}

CAutoCheckUpdateEveData::~CAutoCheckUpdateEveData() = default;

CUpgradeExplainEveData::CUpgradeExplainEveData(QSharedPointer<IUpgaredSoftInfoService_InputParam> args)
    : inputArgs(std::move(args))
{
}

CUpgradeExplainEveData::~CUpgradeExplainEveData() = default;

CUpgradeDownloadEveData::CUpgradeDownloadEveData(QSharedPointer<IUpgaredSoftInfoService_InputParam> args)
    : inputArgs(std::move(args))
{
}

CUpgradeDownloadEveData::~CUpgradeDownloadEveData() = default;

CSilentPatchInstallEveData::CSilentPatchInstallEveData(QSharedPointer<IUpgaredService_InputParam> args)
    : inputArgs(std::move(args))
{
}

CSilentPatchInstallEveData::~CSilentPatchInstallEveData() = default;

CMsgCenterEventData::CMsgCenterEventData(QSharedPointer<IMessageService_InputArgs> args)
    : inputArgs(std::move(args))
{
}

CMsgCenterEventData::~CMsgCenterEventData() = default;

CNotifyCloudEventData::CNotifyCloudEventData(QSharedPointer<ICloudService_InputArgs> args)
    : inputArgs(std::move(args))
{
}

CNotifyCloudEventData::~CNotifyCloudEventData() = default;

CCloudLoginEventData::CCloudLoginEventData(QSharedPointer<ICloudService_InputArgs> args,
                                           QSharedPointer<ICloudLoginNotify> notify, bool errorTip,
                                           quint64 parentHandle)
    : inputArgs(std::move(args))
    , loginNotify(std::move(notify))
    , showErrorTip(errorTip)
    , parentWindowHandle(parentHandle)
{
}

CCloudLoginEventData::~CCloudLoginEventData() = default;

CNotifyMsgEventData::CNotifyMsgEventData(QMap<QString, QVariant> values)
    : msgValues(std::move(values))
{
}

CNotifyMsgEventData::~CNotifyMsgEventData() = default;

CNetLockLoginEventData::CNetLockLoginEventData(QSharedPointer<ILicenseService_InputArgs> args)
    : inputArgs(std::move(args))
{
}

CNetLockLoginEventData::~CNetLockLoginEventData() = default;

CNotifyLicEventData::CNotifyLicEventData(QSharedPointer<ILicenseService_InputArgs> args)
    : inputArgs(std::move(args))
{
}

CNotifyLicEventData::~CNotifyLicEventData() = default;
