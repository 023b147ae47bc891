#pragma once
#include "tarn/client/IServiceAssistant.h"
#include "tarn/upgrade/IUpgradeServiceArgs.h"
#include <QSharedPointer>

/// Client of the upgrade service. Every operation writes its outcome into output: GetRetCode() 1000 for success, 1001
/// and 1009 for a transport failure, anything else for a refusal with GetError().
class IUpgradeServiceAssistant : public IServiceAssistant
{
public:
    using SoftInfoInput = QSharedPointer<IUpgaredSoftInfoService_InputParam>;
    using SoftInfoOutput = QSharedPointer<IUpgaredSoftInfoService_OutputParam>;
    using Input = QSharedPointer<IUpgaredService_InputParam>;
    using Output = QSharedPointer<IUpgaredService_OutputParam>;

    virtual SoftInfoInput CreateSoftInfoInputParam() = 0;   ///< never null
    virtual SoftInfoOutput CreateSoftInfoOutputParam() = 0; ///< never null
    virtual Input CreateInputParam() = 0;                   ///< never null
    virtual Output CreateOutputParam() = 0;                 ///< never null

    /// Asks whether products have something new. Input: "软件名称" (string, empty for all). Output list: update records.
    virtual void CheckNewVersion(SoftInfoInput input, SoftInfoOutput output) = 0;
    /// The offered version is not offered again. Input: "忽略软件名", "忽略软件版本", "软件位数" (strings), "软件",
    /// "补丁包" (maps), "插件" (list).
    virtual void IgnoreUpgrade(SoftInfoInput input, SoftInfoOutput output) = 0;
    /// Starts a download task. Input: "软件名称", "CurrentVersion" (strings), "软件", "补丁包", "旧版本补丁包" (maps),
    /// "插件" (list).
    virtual void StartDownload(SoftInfoInput input, SoftInfoOutput output) = 0;

    /// The running tasks. No input keys. Output: "taskInfoList" (list of task maps). Has a short deadline,
    /// since it is asked for once a second on the GUI thread.
    virtual void QueryTaskInfos(Input input, Output output) = 0;
    /// Stops the task of a product in whatever state. Input: "软件名称".
    virtual void StopUpgrade(Input input, Output output) = 0;
    /// Installs what was downloaded. Input: "软件名称", "WaitForFinished" (bool: answer when it is over; a longer
    /// installation continues after the deadline of the call),
    /// "是否重启软件" (bool) and the parts "软件", "插件", "补丁包", "旧版本补丁包".
    virtual void InstallSoftware(Input input, Output output) = 0;

protected:
    ~IUpgradeServiceAssistant() = default;
};
