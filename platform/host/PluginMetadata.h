#pragma once
#include <QJsonObject>
#include <QString>

/// Compares a plug-in's metadata with what this host expects, before any of its code runs.
namespace pluginmetadata {

/// @param metadata as QPluginLoader::metaData() gives it; empty for a file that is no Qt plug-in
/// @return why the plug-in is refused, naming the key; empty when it may be loaded
QString refusal(const QJsonObject &metadata);

} // namespace pluginmetadata
