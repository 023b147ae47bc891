#include "host/PluginMetadata.h"
#include "tarn/plugin/IPlugin.h"
#include <QJsonArray>
#include <QMap>
#include <QRegularExpression>
#include <array>
#include <optional>

namespace {
// Plug-ins built for an older interface of the same major version go on working.
const QString HostVersion = QStringLiteral("1.0.0");

struct Key
{
    const char *name;
    QJsonValue::Type type;
    bool mayBeEmpty; ///< of a string
};

constexpr Key Keys[] = {
    {"Category", QJsonValue::String, false},
    {"CompatVersion", QJsonValue::String, false},
    {"Copyright", QJsonValue::String, true},
    {"Description", QJsonValue::String, false},
    {"DisabledByDefault", QJsonValue::Bool, false},
    {"ErrorHandling", QJsonValue::String, false},
    {"License", QJsonValue::Array, false},
    {"Name", QJsonValue::String, false},
    {"Url", QJsonValue::String, true},
    {"Vendor", QJsonValue::String, true},
    {"Version", QJsonValue::String, false},
};

QString typeName(QJsonValue::Type type)
{
    static const QMap<QJsonValue::Type, QString> names{
        {QJsonValue::String, QStringLiteral("string")}, {QJsonValue::Bool, QStringLiteral("bool")},
        {QJsonValue::Array, QStringLiteral("array")},   {QJsonValue::Double, QStringLiteral("number")},
        {QJsonValue::Object, QStringLiteral("object")}, {QJsonValue::Null, QStringLiteral("null")}};
    return names.value(type, QStringLiteral("nothing"));
}

QString keyRefusal(const QJsonObject &map, const Key &key)
{
    const QString name = QString::fromLatin1(key.name);
    const QJsonValue value = map.value(name);
    if (value.isUndefined())
        return QStringLiteral("key \"%1\" is missing").arg(name);
    if (value.type() != key.type)
        return QStringLiteral("key \"%1\" is of type %2 instead of %3")
            .arg(name, typeName(value.type()), typeName(key.type));
    if (key.type == QJsonValue::String && !key.mayBeEmpty && value.toString().isEmpty())
        return QStringLiteral("key \"%1\" is empty").arg(name);
    return QString();
}

QString licenceRefusal(const QJsonArray &licences)
{
    for (const QJsonValue &licence : licences) {
        if (!licence.isString())
            return QStringLiteral("key \"License\" holds an element of type %1 instead of string")
                .arg(typeName(licence.type()));
    }
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
    reason = licenceRefusal(map.value(QStringLiteral("License")).toArray());
    return reason.isEmpty() ? versionRefusal(map) : reason;
}
