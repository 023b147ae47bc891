#include "services/PackageInstaller.h"
#include "services/FileSwap.h"
#include "services/InstalledSoftware.h"
#include "tarn/keys/UpgradeKeys.h"
#include <QDir>
#include <QFile>
#include <QSettings>
#include <algorithm>

namespace tarn::services {

namespace item = upgrade::item;

namespace {

QString descriptionIn(const QString &directory)
{
    return QDir(directory).filePath(QStringLiteral("installation.ini"));
}

void setPlugin(QSettings &settings, const QString &name, const QString &version)
{
    const QString array = QStringLiteral("Plugins");
    int position = 0;
    const int count = std::min(settings.beginReadArray(array), MaxPlugins);
    for (; position < count; ++position) {
        settings.setArrayIndex(position);
        if (settings.value(QStringLiteral("Name")).toString() == name)
            break;
    }
    settings.endArray();
    settings.beginWriteArray(array, std::max(count, position + 1));
    settings.setArrayIndex(position);
    settings.setValue(QStringLiteral("Name"), name);
    settings.setValue(QStringLiteral("Version"), version);
    settings.endArray();
}

void writeItem(QSettings &settings, const UpgradeItem &entry)
{
    if (entry.type == item::Named) {
        setPlugin(settings, entry.name, entry.version);
    } else if (entry.type == item::Main) {
        settings.setValue(QStringLiteral("Version"), entry.version);
        settings.remove(QStringLiteral("PatchVersion")); // it belonged to the version before
    } else {
        settings.setValue(QStringLiteral("PatchVersion"), entry.version);
    }
}

// Read back, since QSettings does not report a write that failed when its file was closed.
void updateDescription(const UpgradeTask &task, const QString &directory, const QString &staging)
{
    const QString staged = descriptionIn(staging);
    if (!QFile::copy(descriptionIn(directory), staged))
        throw Failure(QStringLiteral("%1 cannot be copied").arg(descriptionIn(directory)));
    {
        QSettings settings(staged, QSettings::IniFormat);
        settings.setIniCodec("UTF-8");
        for (const UpgradeItem &entry : task.items)
            writeItem(settings, entry);
    }
    if (!findSoftware(readInstalledSoftware(staging), task.product))
        throw Failure(QStringLiteral("%1 cannot be written").arg(staged));
}

} // namespace

void installPackages(const UpgradeTask &task, const QList<Package> &packages, const QString &directory,
                     const std::atomic<bool> &stopping)
{
    FileSwap swap(directory);
    swap.replace([&] {
        unpackPackages(packages, swap.staging(), stopping);
        updateDescription(task, directory, swap.staging());
        if (stopping)
            throw Failure(QStringLiteral("the installation was cancelled"));
    });
}

} // namespace tarn::services
