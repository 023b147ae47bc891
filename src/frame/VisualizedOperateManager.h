#pragma once
#include "tarn/visualized/IVisulizedOperateManager.h"

/// The operations that other services call. RPC worker threads, several at once: an operation checks its arguments,
/// posts an event to the manager and returns; it never touches a window.
class CVisualizedOperateManager final : public IVisulizedOperateManager
{
public:
    using CloudIn = QSharedPointer<ICloudService_InputArgs>;
    using CloudOut = QSharedPointer<ICloudService_OutputArgs>;
    using LicenseIn = QSharedPointer<ILicenseService_InputArgs>;
    using LicenseOut = QSharedPointer<ILicenseService_OutputArgs>;
    using MessageIn = QSharedPointer<IMessageService_InputArgs>;
    using MessageOut = QSharedPointer<IMessageService_OutputArgs>;
    using PatchIn = QSharedPointer<IUpgaredService_InputParam>;
    using PatchOut = QSharedPointer<IUpgaredService_OutputParam>;
    using SoftIn = QSharedPointer<IUpgaredSoftInfoService_InputParam>;
    using SoftOut = QSharedPointer<IUpgaredSoftInfoService_OutputParam>;

    bool QueryYunLoginDialogState(CloudIn input, CloudOut output) override;
    bool ShowCloudLogin(CloudIn input, CloudOut output, QSharedPointer<ICloudLoginNotify> notify) override;
    bool NotifyCloudParentFinish(CloudIn input, CloudOut output) override;
    bool showAutoCheckUpdateDialog(SoftIn input, SoftOut output) override;
    bool showUpgradeExplainDialog(SoftIn input, SoftOut output) override;
    bool showUpgradeDownloadDialog(SoftIn input, SoftOut output) override;
    bool showSilentPatchInstallDialog(PatchIn input, PatchOut output) override;
    bool ShowMessageCenter(MessageIn input, MessageOut output) override;
    bool ShowNotifyMessage(MessageIn input, MessageOut output) override;
    /// The network-licence sign-in is not part of this product: both always refuse.
    bool ShowNetLockLogin(LicenseIn input, LicenseOut output) override;
    bool NotifyLicParentFinish(LicenseIn input, LicenseOut output) override;
};
