#pragma once
#include "tarn/rpc/Bag.h"
#include <QByteArray>
#include <QJsonObject>
#include <QString>

/// Bags as JSON and back. What JSON cannot express is an object with one tag: {"$rect":[x,y,width,height]},
/// {"$u64":"..."}, {"$i64":"..."}, {"$bytes":"<base64>"}. Integers become int where they fit, otherwise qlonglong.
/// A bag's list is under "$list" of the outermost object.
namespace tarn::cli {

/// @param error names the place: line and column of a syntax error, otherwise a path such as /软件/$rect/2
/// @return false when the text is no JSON object or a value cannot be taken
bool parseBag(const QByteArray &json, rpc::Bag *bag, QString *error);

/// Takes one JSON value.
/// @param place path of the value, for error
/// @param error receives the first reason for which it cannot be taken, unless it holds one already
QVariant parseValue(const QJsonValue &json, const QString &place, QString *error);

/// The JSON document of a file or an argument. @param error names line and column
bool parseJson(const QByteArray &text, QJsonDocument *document, QString *error);

QJsonValue toJson(const QVariant &value);
QJsonObject toJson(const QVariantMap &values);

/// An object or array as one line of UTF-8 without a line end.
QByteArray compact(const QJsonValue &value);

} // namespace tarn::cli
