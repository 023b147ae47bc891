#pragma once
#include "cli/Command.h"
#include "tarn/rpc/Bag.h"
#include <QByteArray>
#include <QJsonObject>
#include <QString>

/// Bags as JSON and back. What JSON cannot express is an object with one tag: {"$rect":[x,y,width,height]},
/// {"$u64":"..."}, {"$i64":"..."}, {"$bytes":"<base64>"}. Integers become int where they fit, otherwise qlonglong.
/// A bag's list is under "$list" of the outermost object.
namespace tarn::cli {

/// What the functions below throw where a text cannot be taken.
/// @param place line and column of a syntax error, otherwise a path such as /软件/$rect/2
Failure wrongJson(const QString &place, const QString &reason);

rpc::Bag parseBag(const QByteArray &json);
/// @param place path of the value, for the error
QVariant parseValue(const QJsonValue &json, const QString &place);
/// The JSON document of a file or an argument.
QJsonDocument parseJson(const QByteArray &text);

QJsonValue toJson(const QVariant &value);
QJsonObject toJson(const QVariantMap &values);

/// An object or array as one line of UTF-8 without a line end.
QByteArray compact(const QJsonValue &value);

} // namespace tarn::cli
