#pragma once
#include <QList>
#include <QMap>
#include <QString>

namespace tarn::services {

/// What an install description ("installation.ini", UTF-8) says about a product:
///     SoftwareName=..., Version=..., PatchVersion=..., SoftBytes=64, ExeName=bin/program
///     [Plugins] size=1, 1\Name=..., 1\Version=...
struct InstalledSoftware
{
    QString name;
    QString version;
    QString patchVersion; ///< of the last patch, empty without one
    QString bits;
    QString exePath;                ///< absolute
    QString directory;              ///< of the description
    QMap<QString, QString> plugins; ///< name to version
};

/// Every product that is described below a directory; a description without name or version is left out with a log
/// line, as is a second one of the same name.
QList<InstalledSoftware> readInstalledSoftware(const QString &appsPath);

} // namespace tarn::services
