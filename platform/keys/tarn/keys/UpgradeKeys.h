#pragma once
#include <QString>

/// Keys, task states and return codes of the upgrade service.
namespace tarn::upgrade {

namespace key {
// Update record
inline const QString SoftwareName = QStringLiteral("软件名称");  ///< string, identity of a record
inline const QString ExePath = QStringLiteral("exe所在路径");    ///< string, absolute path
inline const QString SoftBytes = QStringLiteral("SoftBytes");    ///< string, bitness
inline const QString Software = QStringLiteral("软件");          ///< map, new version of the product
inline const QString Patch = QStringLiteral("补丁包");           ///< map, patch of the installed version
inline const QString Plugins = QStringLiteral("插件");           ///< list of maps, one per plug-in
inline const QString OldPatch = QStringLiteral("旧版本补丁包");  ///< map, patch of the installed, older version
inline const QString UpdateTime = QStringLiteral("UPDATE_TIME"); ///< string, "yyyy-MM-dd hh:mm:ss"
inline const QString Visualized = QStringLiteral("visualized");  ///< bool, forwarded by the user interface
inline const QString IconPath = QStringLiteral("软件图标路径");  ///< string, local path
// Section of a record
inline const QString NewVersion = QStringLiteral("升级版本");                ///< string
inline const QString CurrentVersion = QStringLiteral("CurrentVersion");      ///< string, installed version
inline const QString InstalledVersion = QStringLiteral("本地已安装版本");    ///< string, installed version
inline const QString ReleaseDate = QStringLiteral("发布日期");               ///< string, "yyyy-MM-dd hh:mm:ss"
inline const QString NotesFile = QStringLiteral("软件升级说明文件所在路径"); ///< string, local path
inline const QString Forced = QStringLiteral("是否强制更新");                ///< bool
// Ignore request
inline const QString IgnoredName = QStringLiteral("忽略软件名");      ///< string
inline const QString IgnoredVersion = QStringLiteral("忽略软件版本"); ///< string
inline const QString Bitness = QStringLiteral("软件位数");            ///< string
// Tasks
inline const QString TaskInfoList = QStringLiteral("taskInfoList");       ///< list of task maps
inline const QString SoftName = QStringLiteral("SoftName");               ///< string
inline const QString ErrMsg = QStringLiteral("ErrMsg");                   ///< string
inline const QString ExeFilePath = QStringLiteral("ExeFilePath");         ///< string, absolute path
inline const QString Status = QStringLiteral("Status");                   ///< int, see namespace state
inline const QString WorkingItem = QStringLiteral("WorkingItem");         ///< map with the five keys below
inline const QString ItemType = QStringLiteral("Type");                   ///< int, see namespace item
inline const QString UpdateName = QStringLiteral("UpdateName");           ///< string
inline const QString UpdateVersion = QStringLiteral("UpdateVersion");     ///< string
inline const QString CurrentSize = QStringLiteral("CurrentSize");         ///< qlonglong, bytes
inline const QString TotalSize = QStringLiteral("TotalSize");             ///< qlonglong, bytes
inline const QString WaitForFinished = QStringLiteral("WaitForFinished"); ///< bool
inline const QString Restart = QStringLiteral("是否重启软件");            ///< bool
// Silent patch
inline const QString ExeName = QStringLiteral("ExeName");                    ///< string, key of the INI file below
inline const QString SettingsPath = QStringLiteral("软件注册表路径");        ///< string, INI file with "ExeName"
inline const QString LocalFile = QStringLiteral("升级文件在本地的路径");     ///< string, downloaded package
inline const QString InstallDir = QStringLiteral("软件路径");                ///< string, product's directory
inline const QString QueryOnly = QStringLiteral("是否静默补丁安装状态获取"); ///< bool
inline const QString SilentState = QStringLiteral("静默补丁安装状态");       ///< int, see namespace silent
} // namespace key

/// Name of the platform's own assistant, which the check-update prompt never offers.
inline const QString OwnAssistant = QStringLiteral("岚川软件助手");

/// State of a task ("Status").
namespace state {
constexpr int Downloading = 1;
constexpr int Downloaded = 2;
constexpr int Installing = 3;
constexpr int Cancelled = 4;
constexpr int DownloadFailed = 11;
constexpr int InstallFailed = 12;
constexpr int Installed = 13;
} // namespace state

/// State of a product's silent patch installation ("静默补丁安装状态").
namespace silent {
constexpr int Installing = 1; ///< also the answer for a product without a stored state
constexpr int Done = 2;
constexpr int Failed = 99;
} // namespace silent

/// Kind of a task's item ("Type").
namespace item {
constexpr int Main = 1;
constexpr int Named = 2;
constexpr int Patch = 3;
constexpr int OldPatch = 4;
} // namespace item

namespace code {
constexpr int Ok = 1000;
constexpr int CallFailed = 1001;   ///< transport: the call failed or timed out
constexpr int Refused = 1002;      ///< the service cannot carry the request out; the error text says why
constexpr int InvalidArgs = 1003;  ///< a key is missing or has the wrong type
constexpr int NoConnection = 1009; ///< transport: there is no connection to the service
constexpr bool isTransport(int c)
{
    return c == CallFailed || c == NoConnection;
}
} // namespace code

} // namespace tarn::upgrade
