#include "rpc/Limits.h"
#include "rpc/Messages.h"
#include "tarn/v1/invoker.pb.h"
#include <QRect>
#include <QStringList>
#include <algorithm>
#include <google/protobuf/arena.h>
#include <grpcpp/support/byte_buffer.h>
#include <type_traits>

namespace tarn::rpc {
namespace {

constexpr size_t FirstBlockBytes = 4096; // most messages need no other

/// Qt values to wire messages. One object per message. All functions return false once something is wrong.
class Encoder
{
public:
    bool write(const Request &from, v1::CallRequest *to)
    {
        to->set_epoch(from.epoch);
        return text(from.interfaceName, to->mutable_interface_name()) && text(from.object, to->mutable_object()) &&
               text(from.method, to->mutable_method()) && bag(from.input, to->mutable_input());
    }
    bool write(const CallResult &from, v1::CallResponse *to)
    {
        to->set_accepted(from.accepted);
        to->set_code(from.retCode);
        return text(from.errorText, to->mutable_error()) && bag(from.output, to->mutable_output());
    }
    QString error() const { return m_error; }

private:
    bool bag(const Bag &from, v1::Bag *to)
    {
        if (!values(from.values, to->mutable_values()))
            return false;
        m_key = QStringLiteral("(list)");
        return items(from.list, to->mutable_list());
    }
    template <class Values>
    bool values(const QVariantMap &from, Values *to)
    {
        for (auto it = from.cbegin(); it != from.cend(); ++it) {
            m_key = it.key();
            std::string key;
            if (!text(it.key(), &key) || !value(it.value(), &(*to)[key]))
                return false;
        }
        return true;
    }
    template <class Items>
    bool items(const QVariantList &from, Items *to)
    {
        to->Reserve(from.size());
        return std::all_of(from.cbegin(), from.cend(), [&](const QVariant &item) { return value(item, to->Add()); });
    }
    bool value(const QVariant &from, v1::Value *to);
    bool rect(const QRect &from, v1::Rect *to)
    {
        for (const int edge : {from.left(), from.top(), from.right(), from.bottom()}) {
            if (edge < -limits::Coordinate / 2 || edge > limits::Coordinate / 2) // its width may not fit into an int
                return fail(QStringLiteral("a rectangle is out of range"));
        }
        to->set_x(from.x());
        to->set_y(from.y());
        to->set_width(from.width());
        to->set_height(from.height());
        return true;
    }
    bool text(const QString &from, std::string *to)
    {
        if (!from.isValidUtf16()) // would arrive as a question mark
            return fail(QStringLiteral("a text holds a lone surrogate"));
        *to = from.toStdString();
        return true;
    }
    bool enter()
    {
        return ++m_depth <= limits::Depth ||
               fail(QStringLiteral("lists and maps nested deeper than %1").arg(limits::Depth));
    }
    bool leave()
    {
        --m_depth;
        return true;
    }
    bool fail(const QString &reason)
    {
        m_error = QStringLiteral("key \"%1\": %2").arg(m_key.left(80), reason);
        return false;
    }

    int m_depth = 0;
    int m_nodes = 0;
    QString m_key; ///< innermost key, for the error
    QString m_error;
};

bool Encoder::value(const QVariant &from, v1::Value *to)
{
    if (++m_nodes > limits::Nodes)
        return fail(QStringLiteral("more than %1 values").arg(limits::Nodes));
    const int type = from.userType();
    if (type == qMetaTypeId<ObjectRef>()) {
        toWire(from.value<ObjectRef>(), to->mutable_object_value());
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
        return enter() && items(from.toList(), to->mutable_list_value()->mutable_items()) && leave();
    case QMetaType::QVariantMap:
        return enter() && values(from.toMap(), to->mutable_map_value()->mutable_values()) && leave();
    case QMetaType::QRect:
        return rect(from.toRect(), to->mutable_rect_value());
    default:
        return fail(QStringLiteral("values of type %1 cannot be sent").arg(QLatin1String(from.typeName())));
    }
}

} // namespace

template <class Message>
bool encode(const Message &from, grpc::ByteBuffer *to, QString *error)
{
    using Wire = std::conditional_t<std::is_same_v<Message, Request>, v1::CallRequest, v1::CallResponse>;
    alignas(8) char block[FirstBlockBytes];
    google::protobuf::Arena arena(block, sizeof block);
    auto *wire = google::protobuf::Arena::CreateMessage<Wire>(&arena);
    Encoder encoder;
    if (!encoder.write(from, wire)) {
        *error = encoder.error();
        return false;
    }
    const size_t size = wire->ByteSizeLong();
    if (size > limits::MessageBytes) {
        *error =
            QStringLiteral("the message has %1 bytes, at most %2 are possible").arg(size).arg(limits::MessageBytes);
        return false;
    }
    grpc::Slice slice(size);
    wire->SerializeWithCachedSizesToArray(const_cast<uint8_t *>(slice.begin()));
    *to = grpc::ByteBuffer(&slice, 1);
    return true;
}

template bool encode(const Request &from, grpc::ByteBuffer *to, QString *error);
template bool encode(const CallResult &from, grpc::ByteBuffer *to, QString *error);

void toWire(const ObjectRef &from, v1::ObjectRef *to)
{
    to->set_interface_name(from.interfaceName.toStdString());
    to->set_tag(from.tag.toStdString());
    to->set_endpoint(from.endpoint.toStdString());
    to->set_epoch(from.epoch);
}

ObjectRef fromWire(const v1::ObjectRef &from)
{
    return {QString::fromStdString(from.interface_name()), QString::fromStdString(from.tag()),
            QString::fromStdString(from.endpoint()), from.epoch()};
}

} // namespace tarn::rpc
