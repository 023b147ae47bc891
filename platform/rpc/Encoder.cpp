#include "rpc/Encoder.h"
#include "rpc/Limits.h"
#include "tarn/v1/invoker.pb.h"
#include <QRect>
#include <QStringList>

namespace tarn::rpc {
namespace {

bool encodeRect(const QRect &from, v1::Rect *to)
{
    for (const int edge : {from.left(), from.top(), from.right(), from.bottom()}) {
        if (edge < -limits::Coordinate / 2 || edge > limits::Coordinate / 2)
            return false; // the width of a larger one may not fit into an int
    }
    to->set_x(from.x());
    to->set_y(from.y());
    to->set_width(from.width());
    to->set_height(from.height());
    return true;
}

/// Only for strings that were checked or whose damage does not matter.
std::string utf8(const QString &text)
{
    return text.toStdString();
}

} // namespace

bool Encoder::encode(const Request &from, v1::CallRequest *to)
{
    to->set_epoch(from.epoch);
    return text(from.interfaceName, to->mutable_interface_name()) && text(from.object, to->mutable_object()) &&
           text(from.method, to->mutable_method()) && bag(from.input, to->mutable_input());
}

bool Encoder::encode(const Response &from, v1::CallResponse *to)
{
    to->set_accepted(from.accepted);
    to->set_code(from.code);
    return text(from.error, to->mutable_error()) && bag(from.output, to->mutable_output());
}

void Encoder::encode(const ObjectRef &from, v1::ObjectRef *to)
{
    to->set_interface_name(utf8(from.interfaceName));
    to->set_tag(utf8(from.tag));
    to->set_endpoint(utf8(from.endpoint));
    to->set_epoch(from.epoch);
}

ObjectRef fromWire(const v1::ObjectRef &from)
{
    return {QString::fromStdString(from.interface_name()), QString::fromStdString(from.tag()),
            QString::fromStdString(from.endpoint()), from.epoch()};
}

bool Encoder::bag(const Bag &from, v1::Bag *to)
{
    for (auto it = from.values.cbegin(); it != from.values.cend(); ++it) {
        m_key = it.key();
        std::string key;
        if (!text(it.key(), &key) || !value(it.value(), &(*to->mutable_values())[key]))
            return false;
    }
    m_key = QStringLiteral("(list)");
    for (const QVariant &item : from.list) {
        if (!value(item, to->add_list()))
            return false;
    }
    return true;
}

bool Encoder::value(const QVariant &from, v1::Value *to)
{
    if (++m_nodes > limits::Nodes)
        return fail(QStringLiteral("more than %1 values").arg(limits::Nodes));
    const int type = from.userType();
    if (type == qMetaTypeId<ObjectRef>()) {
        encode(from.value<ObjectRef>(), to->mutable_object_value());
        return true;
    }
    switch (type) {
    case QMetaType::UnknownType:
    case QMetaType::Nullptr:
        to->set_null_value(v1::NULL_VALUE);
        return true;
    case QMetaType::Bool:
        to->set_bool_value(from.toBool());
        return true;
    case QMetaType::Int:
        to->set_int32_value(from.toInt());
        return true;
    case QMetaType::UInt:
        to->set_uint32_value(from.toUInt());
        return true;
    case QMetaType::LongLong:
        to->set_int64_value(from.toLongLong());
        return true;
    case QMetaType::ULongLong:
        to->set_uint64_value(from.toULongLong());
        return true;
    case QMetaType::Double:
        to->set_double_value(from.toDouble());
        return true;
    case QMetaType::QString:
        return text(from.toString(), to->mutable_string_value());
    case QMetaType::QByteArray:
        to->set_bytes_value(from.toByteArray().toStdString());
        return true;
    case QMetaType::QStringList:
    case QMetaType::QVariantList:
        return list(from.toList(), to);
    case QMetaType::QVariantMap:
        return map(from.toMap(), to);
    case QMetaType::QRect:
        return encodeRect(from.toRect(), to->mutable_rect_value()) ||
               fail(QStringLiteral("a rectangle is out of range"));
    default:
        return fail(QStringLiteral("values of type %1 cannot be sent").arg(QLatin1String(from.typeName())));
    }
}

bool Encoder::list(const QVariantList &from, v1::Value *to)
{
    if (!enter())
        return false;
    v1::ValueList *items = to->mutable_list_value();
    items->mutable_items()->Reserve(from.size());
    for (const QVariant &item : from) {
        if (!value(item, items->add_items()))
            return false;
    }
    --m_depth;
    return true;
}

bool Encoder::map(const QVariantMap &from, v1::Value *to)
{
    if (!enter())
        return false;
    auto *values = to->mutable_map_value()->mutable_values();
    for (auto it = from.cbegin(); it != from.cend(); ++it) {
        m_key = it.key();
        std::string key;
        if (!text(it.key(), &key) || !value(it.value(), &(*values)[key]))
            return false;
    }
    --m_depth;
    return true;
}

bool Encoder::text(const QString &from, std::string *to)
{
    // A lone surrogate would arrive as a question mark.
    if (!from.isValidUtf16())
        return fail(QStringLiteral("a text holds a lone surrogate"));
    *to = utf8(from);
    return true;
}

bool Encoder::enter()
{
    if (++m_depth > limits::Depth)
        return fail(QStringLiteral("lists and maps nested deeper than %1").arg(limits::Depth));
    return true;
}

bool Encoder::fail(const QString &reason)
{
    m_error = QStringLiteral("key \"%1\": %2").arg(m_key.left(80), reason);
    return false;
}

} // namespace tarn::rpc
