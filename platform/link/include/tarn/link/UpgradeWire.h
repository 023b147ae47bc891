#pragma once
#include <QString>

/// Operations of the reference upgrade service beyond the operations of IUpgradeServiceAssistant. All names are those on
/// the wire; the service's tag is in MessageWire.h.
namespace tarn::link::wire {

namespace method {
/// Compares the catalogue with the installed products and has the visualized service show the updates. Input: Show (bool,
/// true without it). Output: Offered (int), Shown, ShowError; list: the update records.
inline const QString AnnounceUpdates = QStringLiteral("AnnounceUpdates");
/// Has the update notes of one product shown, also of an ignored update. Input: "软件名称". Output: Shown, ShowError.
inline const QString ShowNotes = QStringLiteral("ShowUpdateNotes");
/// No input. Output: Ignores and Tasks (lists of maps, keys below and those of a task). Where they do not fit into one
/// message: paged, as one list with the ignored updates first.
inline const QString UpgradeStatus = QStringLiteral("GetUpgradeStatus");
/// Input: "软件名称", empty for all. The ignored updates are offered again. Output: Removed (int).
inline const QString ForgetIgnores = QStringLiteral("ForgetIgnores");
/// Downloads the patch of a product's installed version, has the visualized service show its silent installation and
/// installs it; answers when that is over. Input: "软件名称", KillRunning (bool: ends the product's program, which is
/// refused otherwise while it runs). Output: "升级版本", Shown, ShowError, "静默补丁安装状态" (int, the last answer of
/// the visualized service, 0 when it could not be asked); a refusal has them too, once the patch is known.
inline const QString PatchSilently = QStringLiteral("PatchSilently");
} // namespace method

inline const QString Show = QStringLiteral("Show");               ///< bool
inline const QString KillRunning = QStringLiteral("KillRunning"); ///< bool
inline const QString Offered = QStringLiteral("Offered");         ///< int, products with something new
inline const QString Ignores = QStringLiteral("Ignores");         ///< list of maps with the keys of namespace ignored
inline const QString Tasks = QStringLiteral("Tasks");             ///< list of task maps, finished ones too

namespace ignored {
inline const QString Product = QStringLiteral("Product"); ///< string
inline const QString Bits = QStringLiteral("Bits");       ///< string
inline const QString Kind = QStringLiteral("Kind");       ///< string: "软件", "补丁包" or "插件"
inline const QString Item = QStringLiteral("Item");       ///< string, name of the plug-in; empty for the others
inline const QString Version = QStringLiteral("Version"); ///< string
inline const QString Time = QStringLiteral("Time");       ///< string, "yyyy-MM-dd hh:mm:ss"
} // namespace ignored

/// Further keys that the service puts into the sections of a record.
namespace package {
inline const QString Url = QStringLiteral("下载地址");    ///< string
inline const QString Size = QStringLiteral("文件大小");   ///< qlonglong, bytes
inline const QString Sha256 = QStringLiteral("文件校验"); ///< string, SHA-256 in hex
} // namespace package

} // namespace tarn::link::wire
