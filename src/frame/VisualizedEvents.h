#pragma once
#include <QEvent>
#include <QMap>
#include <QObject>
#include <QSharedPointer>
#include <QVariant>

class ICloudLoginNotify;
class ICloudService_InputArgs;
class ILicenseService_InputArgs;
class IMessageService_InputArgs;
class IUpgaredService_InputParam;
class IUpgaredSoftInfoService_InputParam;

/// Common base of what a request carries, so that the event can own and delete any of it.
class IVisualizedEventData : public QObject
{
public:
    IVisualizedEventData() = default;
    ~IVisualizedEventData() override = default;
};

/// One request on its way to the GUI thread: the type names the window, the data holds the arguments. Made on any
/// thread, written completely before it is posted, read on the GUI thread only. Owns its data.
class CVisualizedEvents final : public QEvent
{
public:
    static constexpr QEvent::Type eShowNotifyMsgDialog = static_cast<QEvent::Type>(1948);
    static constexpr QEvent::Type eShowCloudLoginDialog = static_cast<QEvent::Type>(1949);
    static constexpr QEvent::Type eShowNetLockLoginDialog = static_cast<QEvent::Type>(1950);
    static constexpr QEvent::Type eShowMessageCenterDialog = static_cast<QEvent::Type>(1951);
    static constexpr QEvent::Type eNotifyLicParentFinish = static_cast<QEvent::Type>(1952);
    static constexpr QEvent::Type eNotifyCloudParentFinish = static_cast<QEvent::Type>(1953);
    static constexpr QEvent::Type eShowUpgradeExplainDialog = static_cast<QEvent::Type>(1954);
    static constexpr QEvent::Type eShowAutoCheckUpdateDialog = static_cast<QEvent::Type>(1955);
    static constexpr QEvent::Type eShowUpgradeDownloadDialog = static_cast<QEvent::Type>(1956);
    static constexpr QEvent::Type eShowUpgradeCurExplainDialog = static_cast<QEvent::Type>(1957);
    static constexpr QEvent::Type eShowSilentPatchInstallDialog = static_cast<QEvent::Type>(1958);

    /// @param data taken over; may be null
    CVisualizedEvents(QEvent::Type type, IVisualizedEventData *data);
    ~CVisualizedEvents() override;
    Q_DISABLE_COPY(CVisualizedEvents)

    IVisualizedEventData *GetEventData() const;

private:
    IVisualizedEventData *m_data;
};

class CAutoCheckUpdateEveData final : public IVisualizedEventData
{
public:
    explicit CAutoCheckUpdateEveData(QSharedPointer<IUpgaredSoftInfoService_InputParam> args);
    ~CAutoCheckUpdateEveData() override;
    QSharedPointer<IUpgaredSoftInfoService_InputParam> inputArgs;
};

class CUpgradeExplainEveData final : public IVisualizedEventData
{
public:
    explicit CUpgradeExplainEveData(QSharedPointer<IUpgaredSoftInfoService_InputParam> args);
    ~CUpgradeExplainEveData() override;
    QSharedPointer<IUpgaredSoftInfoService_InputParam> inputArgs;
};

class CUpgradeDownloadEveData final : public IVisualizedEventData
{
public:
    explicit CUpgradeDownloadEveData(QSharedPointer<IUpgaredSoftInfoService_InputParam> args);
    ~CUpgradeDownloadEveData() override;
    QSharedPointer<IUpgaredSoftInfoService_InputParam> inputArgs;
};

class CSilentPatchInstallEveData final : public IVisualizedEventData
{
public:
    explicit CSilentPatchInstallEveData(QSharedPointer<IUpgaredService_InputParam> args);
    ~CSilentPatchInstallEveData() override;
    QSharedPointer<IUpgaredService_InputParam> inputArgs;
};

class CMsgCenterEventData final : public IVisualizedEventData
{
public:
    explicit CMsgCenterEventData(QSharedPointer<IMessageService_InputArgs> args);
    ~CMsgCenterEventData() override;
    QSharedPointer<IMessageService_InputArgs> inputArgs;
};

class CNotifyCloudEventData final : public IVisualizedEventData
{
public:
    explicit CNotifyCloudEventData(QSharedPointer<ICloudService_InputArgs> args);
    ~CNotifyCloudEventData() override;
    QSharedPointer<ICloudService_InputArgs> inputArgs;
};

class CCloudLoginEventData final : public IVisualizedEventData
{
public:
    CCloudLoginEventData(QSharedPointer<ICloudService_InputArgs> args, QSharedPointer<ICloudLoginNotify> notify,
                         bool errorTip, quint64 parentHandle);
    ~CCloudLoginEventData() override;
    QSharedPointer<ICloudService_InputArgs> inputArgs;
    QSharedPointer<ICloudLoginNotify> loginNotify; ///< told when the user has signed in; may be null
    bool showErrorTip;
    quint64 parentWindowHandle; ///< native window of the caller, 0 if none
};

/// Holds copies of the seven values of a notice, all of them strings; the input object is not kept.
class CNotifyMsgEventData final : public IVisualizedEventData
{
public:
    explicit CNotifyMsgEventData(QMap<QString, QVariant> values);
    ~CNotifyMsgEventData() override;
    QMap<QString, QVariant> msgValues;
};

/// The network-licence sign-in is not part of this product; its two requests are refused before they are posted.
class CNetLockLoginEventData final : public IVisualizedEventData
{
public:
    explicit CNetLockLoginEventData(QSharedPointer<ILicenseService_InputArgs> args);
    ~CNetLockLoginEventData() override;
    QSharedPointer<ILicenseService_InputArgs> inputArgs;
};

class CNotifyLicEventData final : public IVisualizedEventData
{
public:
    explicit CNotifyLicEventData(QSharedPointer<ILicenseService_InputArgs> args);
    ~CNotifyLicEventData() override;
    QSharedPointer<ILicenseService_InputArgs> inputArgs;
};
