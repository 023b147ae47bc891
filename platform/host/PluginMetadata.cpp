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

struct Key
{
    const char *name;
    QJsonValue::Type type;
    const char *expected;
    bool mayBeEmpty; ///< of a string
};

constexpr Key Keys[] = {
    {"Category", QJsonValue::String, "a string", false},
    {"CompatVersion", QJsonValue::String, "a string", false},
    {"Copyright", QJsonValue::String, "a string", true},
    {"Description", QJsonValue::String, "a string", false},
    {"DisabledByDefault", QJsonValue::Bool, "a boolean", false},
    {"ErrorHandling", QJsonValue::String, "a string", false},
    {"License", QJsonValue::Array, "an array of strings", false},
    {"Name", QJsonValue::String, "a string", false},
    {"Url", QJsonValue::String, "a string", true},
    {"Vendor", QJsonValue::String, "a string", true},
    {"Version", QJsonValue::String, "a string", false},
};

QString keyRefusal(const QJsonObject &map, const Key &key)
{
    const QString name = QString::fromLatin1(key.name);
    const QJsonValue value = map.value(name);
    const QJsonArray items = value.toArray();
    const bool areStrings =
        std::all_of(items.begin(), items.end(), [](const QJsonValue &item) { return item.isString(); });
    if (value.type() != key.type || !areStrings)
        return QStringLiteral("key \"%1\" is missing or not %2").arg(name, QLatin1String(key.expected));
    if (value.isString() && !key.mayBeEmpty && value.toString().isEmpty())
        return QStringLiteral("key \"%1\" is empty").arg(name);
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
    for (const Key &key : Keys) {
        reason = keyRefusal(map, key);
        if (!reason.isEmpty())
            return reason;
    }
    return versionRefusal(map);
}
