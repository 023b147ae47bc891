#pragma once
#include "tarn/visualized/IVisulizedOperateManager.h"

/// The operations that other services call. RPC worker threads, several at once: an operation checks its arguments,
/// posts an event to the manager and returns; it never touches a window.
class CVisualizedOperateManager final : public IVisulizedOperateManager
{
public:
    bool QueryYunLoginDialogState(QSharedPointer<ICloudService_InputArgs> input,
                                  QSharedPointer<ICloudService_OutputArgs> output) override;
    bool ShowCloudLogin(QSharedPointer<ICloudService_InputArgs> input, QSharedPointer<ICloudService_OutputArgs> output,
                        QSharedPointer<ICloudLoginNotify> notify) override;
    bool NotifyCloudParentFinish(QSharedPointer<ICloudService_InputArgs> input,
                                 QSharedPointer<ICloudService_OutputArgs> output) override;
    bool showAutoCheckUpdateDialog(QSharedPointer<IUpgaredSoftInfoService_InputParam> input,
                                   QSharedPointer<IUpgaredSoftInfoService_OutputParam> output) override;
    bool showUpgradeExplainDialog(QSharedPointer<IUpgaredSoftInfoService_InputParam> input,
                                  QSharedPointer<IUpgaredSoftInfoService_OutputParam> output) override;
    bool showUpgradeDownloadDialog(QSharedPointer<IUpgaredSoftInfoService_InputParam> input,
                                   QSharedPointer<IUpgaredSoftInfoService_OutputParam> output) override;
    bool showSilentPatchInstallDialog(QSharedPointer<IUpgaredService_InputParam> input,
                                      QSharedPointer<IUpgaredService_OutputParam> output) override;
    bool ShowMessageCenter(QSharedPointer<IMessageService_InputArgs> input,
                           QSharedPointer<IMessageService_OutputArgs> output) override;
    bool ShowNotifyMessage(QSharedPointer<IMessageService_InputArgs> input,
                           QSharedPointer<IMessageService_OutputArgs> output) override;
    /// The network-licence sign-in is not part of this product: both always refuse.
    bool ShowNetLockLogin(QSharedPointer<ILicenseService_InputArgs> input,
                          QSharedPointer<ILicenseService_OutputArgs> output) override;
    bool NotifyLicParentFinish(QSharedPointer<ILicenseService_InputArgs> input,
                               QSharedPointer<ILicenseService_OutputArgs> output) override;
};
