#pragma once
#include <QSharedPointer>

class ICloudLoginNotify;
class ICloudService_InputArgs;
class ICloudService_OutputArgs;
class ILicenseService_InputArgs;
class ILicenseService_OutputArgs;
class IMessageService_InputArgs;
class IMessageService_OutputArgs;
class IUpgaredService_InputParam;
class IUpgaredService_OutputParam;
class IUpgaredSoftInfoService_InputParam;
class IUpgaredSoftInfoService_OutputParam;

/// The operations of the visualized service ("Visulized" is the platform's spelling). Called on RPC worker threads,
/// several at once; none waits for a window. True: the request was accepted and output holds the family's success code
/// and an empty error text (QueryYunLoginDialogState only sets its value). False: refused, output untouched.
/// docs/operations.md lists the keys.
class IVisulizedOperateManager
{
public:
    virtual ~IVisulizedOperateManager() = default;

    virtual bool QueryYunLoginDialogState(QSharedPointer<ICloudService_InputArgs> input,
                                          QSharedPointer<ICloudService_OutputArgs> output) = 0;
    /// @param notify its AfterLogin() is called when the user has signed in; may be null
    virtual bool ShowCloudLogin(QSharedPointer<ICloudService_InputArgs> input,
                                QSharedPointer<ICloudService_OutputArgs> output,
                                QSharedPointer<ICloudLoginNotify> notify) = 0;
    virtual bool NotifyCloudParentFinish(QSharedPointer<ICloudService_InputArgs> input,
                                         QSharedPointer<ICloudService_OutputArgs> output) = 0;
    virtual bool showAutoCheckUpdateDialog(QSharedPointer<IUpgaredSoftInfoService_InputParam> input,
                                           QSharedPointer<IUpgaredSoftInfoService_OutputParam> output) = 0;
    virtual bool showUpgradeExplainDialog(QSharedPointer<IUpgaredSoftInfoService_InputParam> input,
                                          QSharedPointer<IUpgaredSoftInfoService_OutputParam> output) = 0;
    virtual bool showUpgradeDownloadDialog(QSharedPointer<IUpgaredSoftInfoService_InputParam> input,
                                           QSharedPointer<IUpgaredSoftInfoService_OutputParam> output) = 0;
    virtual bool showSilentPatchInstallDialog(QSharedPointer<IUpgaredService_InputParam> input,
                                              QSharedPointer<IUpgaredService_OutputParam> output) = 0;
    virtual bool ShowMessageCenter(QSharedPointer<IMessageService_InputArgs> input,
                                   QSharedPointer<IMessageService_OutputArgs> output) = 0;
    virtual bool ShowNotifyMessage(QSharedPointer<IMessageService_InputArgs> input,
                                   QSharedPointer<IMessageService_OutputArgs> output) = 0;
    virtual bool ShowNetLockLogin(QSharedPointer<ILicenseService_InputArgs> input,
                                  QSharedPointer<ILicenseService_OutputArgs> output) = 0;
    virtual bool NotifyLicParentFinish(QSharedPointer<ILicenseService_InputArgs> input,
                                       QSharedPointer<ILicenseService_OutputArgs> output) = 0;
};
