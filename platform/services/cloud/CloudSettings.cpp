#include "services/Files.h"
#include "services/Log.h"
#include "services/cloud/CloudService.h"
#include "tarn/keys/CloudKeys.h"
#include <QSettings>
#include <QUrl>

namespace tarn::services {

namespace key = cloud::key;

namespace {

bool isWebAddress(const QString &address)
{
    const QUrl url(address, QUrl::StrictMode);
    return url.isValid() && !url.host().isEmpty() &&
           (url.scheme() == QLatin1String("https") || url.scheme() == QLatin1String("http"));
}

void ignoreSetting(const QString &name, const QString &wanted)
{
    qCWarning(servicesLog).noquote()
        << QStringLiteral("cfg.ini, cloud/%1: expected %2; the value is ignored").arg(name, wanted);
}

} // namespace

CloudSettings CloudSettings::ofProgram(const QString &programDirectory)
{
    constexpr qint64 MaxLifetime = 3600;
    const QString lifetime = QStringLiteral("qr_lifetime");
    QSettings file(settingsFile(programDirectory), QSettings::IniFormat);
    file.setIniCodec("UTF-8");
    file.beginGroup(QStringLiteral("cloud"));
    CloudSettings settings;
    for (const QString &linkKey : {key::LinkRegister, key::LinkForgetPassword, key::LinkBindAccount}) {
        if (!file.contains(linkKey))
            continue;
        const QString address = file.value(linkKey).toStringList().join(QLatin1Char(',')); // split at its commas
        if (isWebAddress(address))
            settings.links.insert(linkKey, address);
        else
            ignoreSetting(linkKey, QStringLiteral("an http or https address"));
    }
    if (!file.contains(lifetime))
        return settings;
    const qint64 seconds = file.value(lifetime).toLongLong();
    if (seconds > 0 && seconds <= MaxLifetime)
        settings.qrLifetimeMs = seconds * 1000;
    else
        ignoreSetting(lifetime, QStringLiteral("a number of seconds up to %1").arg(MaxLifetime));
    return settings;
}

} // namespace tarn::services
