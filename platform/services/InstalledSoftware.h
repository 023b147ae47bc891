#pragma once
#include <QMap>
#include <QString>

namespace tarn::services {

constexpr int MaxPlugins = 1000; ///< of a product; further ones are not read

/// A product as its install description ("installation.ini", UTF-8) describes it:
///     SoftwareName=..., Version=..., PatchVersion=..., SoftBytes=64, ExeName=bin/program
///     [Plugins] size=1, 1\Name=..., 1\Version=...
struct InstalledSoftware
{
    QString name;
    QString version;
    QString patchVersion; ///< of the last patch, empty without one
    QString bits;
    QString exePath;                ///< absolute
    QString directory;              ///< of the product, absolute
    QMap<QString, QString> plugins; ///< name to version
};

using InstalledProducts = QMap<QString, InstalledSoftware>; ///< by name

/// The products described below a directory, at most 16 levels deep and never inside another product. A description
/// without name or version is left out with a log line, as is a second one of the same name.
InstalledProducts readInstalledSoftware(const QString &appsPath);

/// Why this user cannot exchange a product's files; empty when the product's directory is writable.
QString whyNotWritable(const InstalledSoftware &software);

} // namespace tarn::services
