#include "services/InstalledSoftware.h"
#include "services/FileSwap.h"
#include "services/Files.h"
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSettings>
#include <fcntl.h>
#include <unistd.h>

namespace tarn::services {

namespace {

constexpr qint64 MaxDescription = 1024 * 1024; // bytes
constexpr int MaxDepth = 16;                   // of directories

QMap<QString, QString> readPlugins(QSettings &settings)
{
    QMap<QString, QString> plugins;
    const int count = qBound(0, settings.beginReadArray(QStringLiteral("Plugins")), MaxPlugins);
    for (int i = 0; i < count; ++i) {
        settings.setArrayIndex(i);
        const QString name = iniText(settings, QStringLiteral("Name"));
        if (!name.isEmpty())
            plugins.insert(name, iniText(settings, QStringLiteral("Version")));
    }
    settings.endArray();
    return plugins;
}

// An exchange of files may have moved the description away when it was interrupted.
QString descriptionOf(const QDir &directory)
{
    const QString name = QStringLiteral("installation.ini");
    const QDir area(directory.filePath(QLatin1String(FileSwap::AreaName)));
    const bool isMoved = !directory.exists(name) && area.exists(QStringLiteral("mark"));
    return isMoved ? area.filePath(QStringLiteral("old/") + name) : directory.filePath(name);
}

InstalledSoftware readDescription(const QString &file, const QDir &directory)
{
    QSettings settings(file, QSettings::IniFormat);
    settings.setIniCodec("UTF-8");
    InstalledSoftware software;
    software.directory = directory.absolutePath();
    software.name = iniText(settings, QStringLiteral("SoftwareName"));
    software.version = iniText(settings, QStringLiteral("Version"));
    software.patchVersion = iniText(settings, QStringLiteral("PatchVersion"));
    software.bits = iniText(settings, QStringLiteral("SoftBytes"));
    const QString exe = iniText(settings, QStringLiteral("ExeName"));
    if (!exe.isEmpty())
        software.exePath = QDir(software.directory).absoluteFilePath(exe);
    software.plugins = readPlugins(settings);
    return software;
}

// Collects the products below a directory. A product's own directory is not searched: a package could bring a
// description there that takes over the upgrades of another product.
void collect(const QDir &directory, int depth, InstalledProducts *list)
{
    const QFileInfo file(descriptionOf(directory));
    if (file.isFile() && !file.isSymLink() && file.size() <= MaxDescription) {
        const InstalledSoftware software = readDescription(file.filePath(), directory);
        const bool isProduct = !software.name.isEmpty() && !software.version.isEmpty();
        if (isProduct && !list->contains(software.name))
            list->insert(software.name, software);
        else
            qCInfo(servicesLog).noquote() << QStringLiteral("%1 describes no further product").arg(file.filePath());
        if (isProduct)
            return;
    }
    if (depth == 0)
        return;
    const QStringList folders = directory.entryList(QDir::Dirs | QDir::NoDotAndDotDot | QDir::NoSymLinks, QDir::Name);
    for (const QString &folder : folders)
        collect(QDir(directory.filePath(folder)), depth - 1, list);
}

} // namespace

InstalledProducts readInstalledSoftware(const QString &appsPath)
{
    InstalledProducts list;
    collect(QDir(appsPath), MaxDepth, &list);
    return list;
}

QString whyNotWritable(const InstalledSoftware &software)
{
    if (::faccessat(AT_FDCWD, QFile::encodeName(software.directory).constData(), W_OK | X_OK, AT_EACCESS) == 0)
        return {};
    return QStringLiteral("%1 cannot be upgraded: its directory %2 is not writable: %3")
        .arg(software.name, software.directory, systemError());
}

} // namespace tarn::services
