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
};

/// One request on its way to the GUI thread: the type names the window, the data holds the arguments. Created on any
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

    IVisualizedEventData *GetEventData() const { return m_data; }
    static int pendingRequests(); ///< that wait for the GUI thread in this process, without notices; any thread

private:
    IVisualizedEventData *m_data;
};

/// The data of a request that passes the caller's input object on.
/// @tparam Type the event type; it gives each request's data a separate type
template <class Input, QEvent::Type Type>
class InputEventData final : public IVisualizedEventData
{
public:
    static constexpr QEvent::Type EventType = Type;

    explicit InputEventData(QSharedPointer<Input> args)
        : inputArgs(std::move(args))
    {
    }
    QSharedPointer<Input> inputArgs;
};

using CAutoCheckUpdateEveData =
    InputEventData<IUpgaredSoftInfoService_InputParam, CVisualizedEvents::eShowAutoCheckUpdateDialog>;
/// Also of eShowUpgradeCurExplainDialog.
using CUpgradeExplainEveData =
    InputEventData<IUpgaredSoftInfoService_InputParam, CVisualizedEvents::eShowUpgradeExplainDialog>;
using CUpgradeDownloadEveData =
    InputEventData<IUpgaredSoftInfoService_InputParam, CVisualizedEvents::eShowUpgradeDownloadDialog>;
using CSilentPatchInstallEveData =
    InputEventData<IUpgaredService_InputParam, CVisualizedEvents::eShowSilentPatchInstallDialog>;
using CMsgCenterEventData = InputEventData<IMessageService_InputArgs, CVisualizedEvents::eShowMessageCenterDialog>;
using CNotifyCloudEventData = InputEventData<ICloudService_InputArgs, CVisualizedEvents::eNotifyCloudParentFinish>;
/// The network-licence sign-in is not part of this product; its two requests are refused before they are posted.
using CNetLockLoginEventData = InputEventData<ILicenseService_InputArgs, CVisualizedEvents::eShowNetLockLoginDialog>;
using CNotifyLicEventData = InputEventData<ILicenseService_InputArgs, CVisualizedEvents::eNotifyLicParentFinish>;

class CCloudLoginEventData final : public IVisualizedEventData
{
public:
    CCloudLoginEventData(QSharedPointer<ICloudService_InputArgs> args, QSharedPointer<ICloudLoginNotify> notify,
                         bool errorTip, quint64 parentHandle)
        : inputArgs(std::move(args))
        , loginNotify(std::move(notify))
        , showErrorTip(errorTip)
        , parentWindowHandle(parentHandle)
    {
    }
    QSharedPointer<ICloudService_InputArgs> inputArgs;
    QSharedPointer<ICloudLoginNotify> loginNotify; ///< notified when the user has signed in; may be null
    bool showErrorTip;
    quint64 parentWindowHandle; ///< X11 window id of the caller's window, 0 if none
};

/// Holds copies of the seven values of a notice, all of them strings; the input object is not kept. The queue of notices
/// counts it as waiting and may clear the values; its reader claims them from there.
class CNotifyMsgEventData final : public IVisualizedEventData
{
public:
    explicit CNotifyMsgEventData(QMap<QString, QVariant> values);
    ~CNotifyMsgEventData() override;

    QMap<QString, QVariant> msgValues;
};
