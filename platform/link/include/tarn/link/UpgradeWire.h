#pragma once
#include <QString>

/// Operations of the reference upgrade service beyond the operations of IUpgradeServiceAssistant. All names are those on
/// the wire; the service's tag is in MessageWire.h.
namespace tarn::link::wire {

namespace method {
/// Compares the catalogue with the installed products and has the visualized service show the updates. No input. Output:
/// Offered (int), Shown, ShowError; list: the update records.
inline const QString AnnounceUpdates = QStringLiteral("AnnounceUpdates");
/// Has the update notes of one product shown, also of an ignored update. Input: "软件名称". Output: Shown, ShowError.
inline const QString ShowNotes = QStringLiteral("ShowUpdateNotes");
/// No input. Output list: the ignored updates (maps with the keys below), then the tasks (task maps, finished ones too).
/// Paged.
inline const QString UpgradeStatus = QStringLiteral("GetUpgradeStatus");
/// Input: "软件名称", empty for all. The ignored updates are offered again. Output: Removed (int).
inline const QString ForgetIgnores = QStringLiteral("ForgetIgnores");
/// Downloads the patch of a product's installed version, has the visualized service show its silent installation and
/// installs it; answers when that is over. Input: "软件名称", KillRunning (bool: ends the product's program, which is
/// refused otherwise while it runs). Output: "升级版本", Shown, ShowError, "静默补丁安装状态" (int, the last answer of
/// the visualized service, 0 when it could not be asked); a refusal has them too, once the patch is known.
inline const QString PatchSilently = QStringLiteral("PatchSilently");
} // namespace method

inline const QString KillRunning = QStringLiteral("KillRunning"); ///< bool
inline const QString Offered = QStringLiteral("Offered");         ///< int, products with something new

namespace ignored {
inline const QString Product = QStringLiteral("Product"); ///< string
inline const QString Bits = QStringLiteral("Bits");       ///< string
inline const QString Kind = QStringLiteral("Kind");       ///< string: "软件", "补丁包" or "插件"
inline const QString Item = QStringLiteral("Item");       ///< string, name of the plug-in; empty for the others
inline const QString Version = QStringLiteral("Version"); ///< string
} // namespace ignored

} // namespace tarn::link::wire
