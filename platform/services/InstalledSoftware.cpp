#include "services/InstalledSoftware.h"
#include "services/Log.h"
#include <QDirIterator>
#include <QFileInfo>
#include <QSet>
#include <QSettings>

namespace tarn::services {

namespace {

constexpr qint64 MaxDescription = 1024 * 1024; // bytes
constexpr int MaxPlugins = 1000;

// A value with commas comes as a list.
QString text(const QSettings &settings, const QString &key)
{
    return settings.value(key).toStringList().join(QLatin1Char(',')).trimmed();
}

QMap<QString, QString> readPlugins(QSettings &settings)
{
    QMap<QString, QString> plugins;
    const int count = qBound(0, settings.beginReadArray(QStringLiteral("Plugins")), MaxPlugins);
    for (int i = 0; i < count; ++i) {
        settings.setArrayIndex(i);
        const QString name = text(settings, QStringLiteral("Name"));
        if (!name.isEmpty())
            plugins.insert(name, text(settings, QStringLiteral("Version")));
    }
    settings.endArray();
    return plugins;
}

InstalledSoftware readDescription(const QString &file)
{
    QSettings settings(file, QSettings::IniFormat);
    settings.setIniCodec("UTF-8");
    InstalledSoftware software;
    software.directory = QFileInfo(file).absolutePath();
    software.name = text(settings, QStringLiteral("SoftwareName"));
    software.version = text(settings, QStringLiteral("Version"));
    software.patchVersion = text(settings, QStringLiteral("PatchVersion"));
    software.bits = text(settings, QStringLiteral("SoftBytes"));
    const QString exe = text(settings, QStringLiteral("ExeName"));
    if (!exe.isEmpty())
        software.exePath = QDir(software.directory).absoluteFilePath(exe);
    software.plugins = readPlugins(settings);
    return software;
}

} // namespace

QList<InstalledSoftware> readInstalledSoftware(const QString &appsPath)
{
    QStringList files;
    QDirIterator it(appsPath, {QStringLiteral("installation.ini")}, QDir::Files, QDirIterator::Subdirectories);
    while (it.hasNext())
        files << it.next();
    files.sort();
    QList<InstalledSoftware> list;
    QSet<QString> names;
    for (const QString &file : qAsConst(files)) {
        const QFileInfo info(file);
        if (!info.isFile() || info.size() > MaxDescription)
            continue;
        const InstalledSoftware software = readDescription(file);
        if (software.name.isEmpty() || software.version.isEmpty() || names.contains(software.name)) {
            qCInfo(servicesLog).noquote() << QStringLiteral("%1 describes no product of its own").arg(file);
            continue;
        }
        names.insert(software.name);
        list << software;
    }
    return list;
}

} // namespace tarn::services
