#pragma once
#include <QMap>
#include <QString>
#include <QVariant>

/// A display row: describes one running task to the upgrade table, by the keys below.
using UpgradeRowInfo = QMap<QString, QVariant>;

namespace upgrade::row {
inline const QString SoftName = QStringLiteral("SoftName");         ///< string, identity of the row
inline const QString ErrMsg = QStringLiteral("ErrMsg");             ///< string
inline const QString TaskStatus = QStringLiteral("taskStatus");     ///< int, tarn::upgrade::state; also in DownloadCtrl
inline const QString SoftInfoCtrl = QStringLiteral("softInfoCtrl"); ///< map for CSoftInfoItem
inline const QString DownloadCtrl = QStringLiteral("downloadCtrl"); ///< map for CUpgradeProgress

// SoftInfoCtrl
inline const QString CtrlSoftName = QStringLiteral("softName");   ///< string; also in DownloadCtrl
inline const QString SoftVersion = QStringLiteral("softVersion"); ///< string, installed version
inline const QString IconPath = QStringLiteral("iconPath");       ///< string, the product's executable

// DownloadCtrl
inline const QString DownloadTip = QStringLiteral("downloadTip");         ///< string
inline const QString DownloadPercent = QStringLiteral("downloadPercent"); ///< string
inline const QString InstallParam = QStringLiteral("installParam");       ///< map of the task's four parts
inline const QString CurrentBytes = QStringLiteral("currentBytes");       ///< qlonglong, while downloading
inline const QString TotalBytes = QStringLiteral("totalBytes");           ///< qlonglong, while downloading
} // namespace upgrade::row
