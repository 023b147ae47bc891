#include "host/PluginMetadata.h"
#include "tarn/plugin/IPlugin.h"
#include <QJsonArray>
#include <QRegularExpression>
#include <algorithm>
#include <array>
#include <optional>

namespace {
// Plug-ins built for an older interface of the same major version go on working.
const QString HostVersion = QStringLiteral("1.0.0");

/// Why a key that is no version is refused.
QString keyRefusal(const QJsonObject &map)
{
    for (const char *name : {"Category", "CompatVersion", "Copyright", "Description", "ErrorHandling", "Name", "Url",
                             "Vendor", "Version"}) {
        if (!map.value(QLatin1String(name)).isString())
            return QStringLiteral("key \"%1\" is missing or no string").arg(QLatin1String(name));
    }
    for (const char *name : {"Category", "Description", "ErrorHandling", "Name"}) {
        if (map.value(QLatin1String(name)).toString().isEmpty())
            return QStringLiteral("key \"%1\" is empty").arg(QLatin1String(name));
    }
    if (!map.value(QStringLiteral("DisabledByDefault")).isBool())
        return QStringLiteral("key \"DisabledByDefault\" is missing or no boolean");
    const QJsonValue licences = map.value(QStringLiteral("License"));
    const QJsonArray items = licences.toArray();
    if (!licences.isArray() ||
        !std::all_of(items.begin(), items.end(), [](const auto &item) { return item.isString(); }))
        return QStringLiteral("key \"License\" is missing or no array of strings");
    return QString();
}

/// A version of three numbers and nothing else; empty otherwise. Not QVersionNumber: GCC 12 compiles this function with
/// -O2 and more so that the copies of Qt 5.15's class lose their numbers, and the host refuses its own plug-in.
std::optional<std::array<int, 3>> versionOf(const QString &text)
{
    static const QRegularExpression form(QStringLiteral("\\A([0-9]{1,6})\\.([0-9]{1,6})\\.([0-9]{1,6})\\z"));
    const QRegularExpressionMatch match = form.match(text);
    if (!match.hasMatch())
        return std::nullopt;
    return std::array<int, 3>{match.captured(1).toInt(), match.captured(2).toInt(), match.captured(3).toInt()};
}

QString versionRefusal(const QJsonObject &map)
{
    const QString version = map.value(QStringLiteral("Version")).toString();
    if (!versionOf(version))
        return QStringLiteral("key \"Version\" is no version number: \"%1\"").arg(version);
    const QString text = map.value(QStringLiteral("CompatVersion")).toString();
    const auto compat = versionOf(text);
    if (!compat)
        return QStringLiteral("key \"CompatVersion\" is no version number: \"%1\"").arg(text);
    const auto host = versionOf(HostVersion).value();
    if (compat->front() != host.front() || *compat > host)
        return QStringLiteral("it needs a host of version %1, this one is %2").arg(text, HostVersion);
    return QString();
}

QString topLevelRefusal(const QJsonObject &metadata)
{
    if (metadata.isEmpty())
        return QStringLiteral("it is no Qt plug-in");
    const QString iid = metadata.value(QStringLiteral("IID")).toString();
    if (iid != QLatin1String(TARN_PLUGIN_IID))
        return QStringLiteral("its interface is \"%1\" instead of \"%2\"").arg(iid, QStringLiteral(TARN_PLUGIN_IID));
    if (metadata.value(QStringLiteral("className")).toString().isEmpty())
        return QStringLiteral("it names no class");
    if (!metadata.value(QStringLiteral("MetaData")).isObject())
        return QStringLiteral("key \"MetaData\" is missing");
    return QString();
}
} // namespace

QString pluginmetadata::refusal(const QJsonObject &metadata)
{
    QString reason = topLevelRefusal(metadata);
    if (!reason.isEmpty())
        return reason;
    const QJsonObject map = metadata.value(QStringLiteral("MetaData")).toObject();
    reason = keyRefusal(map);
    return reason.isEmpty() ? versionRefusal(map) : reason;
}
