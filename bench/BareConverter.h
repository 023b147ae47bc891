#pragma once

#include "tarn/v1/value.pb.h"

#include <QVariant>

// The plainest conversion between QVariant and the wire's values: no limits, no checks, no unusual types.
namespace bare {

inline std::string text(const QString &value)
{
    return value.toStdString();
}
inline QString text(const std::string &value)
{
    return QString::fromStdString(value);
}

inline void encode(const QVariant &from, tarn::v1::Value *to)
{
    switch (from.userType()) {
    case QMetaType::Bool:
        to->set_bool_value(from.toBool());
        break;
    case QMetaType::Int:
        to->set_int32_value(from.toInt());
        break;
    case QMetaType::LongLong:
        to->set_int64_value(from.toLongLong());
        break;
    case QMetaType::Double:
        to->set_double_value(from.toDouble());
        break;
    case QMetaType::QVariantMap: {
        const QVariantMap map = from.toMap();
        auto &values = *to->mutable_map_value()->mutable_values();
        for (auto i = map.cbegin(); i != map.cend(); ++i)
            encode(i.value(), &values[text(i.key())]);
        break;
    }
    default:
        to->set_string_value(text(from.toString()));
        break;
    }
}

inline QVariant decode(const tarn::v1::Value &from)
{
    switch (from.kind_case()) {
    case tarn::v1::Value::kBoolValue:
        return from.bool_value();
    case tarn::v1::Value::kInt32Value:
        return from.int32_value();
    case tarn::v1::Value::kInt64Value:
        return qlonglong(from.int64_value());
    case tarn::v1::Value::kDoubleValue:
        return from.double_value();
    case tarn::v1::Value::kMapValue: {
        QVariantMap map;
        for (const auto &[key, value] : from.map_value().values())
            map.insert(text(key), decode(value));
        return map;
    }
    default:
        return text(from.string_value());
    }
}

inline void encodeBag(const QVariantMap &values, const QVariantList &list, tarn::v1::Bag *to)
{
    for (auto i = values.cbegin(); i != values.cend(); ++i)
        encode(i.value(), &(*to->mutable_values())[text(i.key())]);
    for (const QVariant &value : list)
        encode(value, to->add_list());
}

inline void decodeBag(const tarn::v1::Bag &from, QVariantMap *values, QVariantList *list)
{
    for (const auto &[key, value] : from.values())
        values->insert(text(key), decode(value));
    for (const auto &value : from.list())
        list->append(decode(value));
}

} // namespace bare
