#include "rpc/Limits.h"
#include "rpc/Messages.h"
#include "tarn/v1/invoker.pb.h"
#include <QRect>
#include <QStringList>
#include <google/protobuf/arena.h>
#include <grpcpp/support/byte_buffer.h>
#include <type_traits>

namespace tarn::rpc {
namespace {

constexpr size_t FirstBlockBytes = 4096; // most messages need no other

/// Why a message cannot be sent.
struct Unsendable
{
    QString reason;
};

/// Qt values to wire messages. One object per message. Throws Unsendable.
class Encoder
{
public:
    void write(const Request &from, v1::CallRequest *to)
    {
        to->set_epoch(from.epoch);
        to->set_interface_name(text(from.interfaceName));
        to->set_object(text(from.object));
        to->set_method(text(from.method));
        bag(from.input, to->mutable_input());
    }
    void write(const CallResult &from, v1::CallResponse *to)
    {
        to->set_accepted(from.accepted);
        to->set_code(from.retCode);
        to->set_error(text(from.errorText));
        bag(from.output, to->mutable_output());
    }

private:
    void bag(const Bag &from, v1::Bag *to)
    {
        values(from.values, to->mutable_values());
        m_key = QStringLiteral("(list)");
        items(from.list, to->mutable_list());
    }
    template <class Values>
    void values(const QVariantMap &from, Values *to)
    {
        for (auto it = from.cbegin(); it != from.cend(); ++it) {
            m_key = it.key();
            value(it.value(), &(*to)[text(it.key())]);
        }
    }
    template <class Items>
    void items(const QVariantList &from, Items *to)
    {
        to->Reserve(from.size());
        for (const QVariant &item : from)
            value(item, to->Add());
    }
    void value(const QVariant &from, v1::Value *to)
    {
        if (++m_nodes > limits::Nodes)
            fail(QStringLiteral("more than %1 values").arg(limits::Nodes));
        const int type = from.userType();
        if (type == qMetaTypeId<ObjectRef>())
            return toWire(from.value<ObjectRef>(), to->mutable_object_value());
        switch (type) {
        case QMetaType::UnknownType:
        case QMetaType::Nullptr:
            return to->set_null_value(v1::NULL_VALUE);
        case QMetaType::Bool:
            return to->set_bool_value(from.toBool());
        case QMetaType::Int:
            return to->set_int32_value(from.toInt());
        case QMetaType::UInt:
            return to->set_uint32_value(from.toUInt());
        case QMetaType::LongLong:
            return to->set_int64_value(from.toLongLong());
        case QMetaType::ULongLong:
            return to->set_uint64_value(from.toULongLong());
        case QMetaType::Double:
            return to->set_double_value(from.toDouble());
        case QMetaType::QString:
            return to->set_string_value(text(from.toString()));
        case QMetaType::QByteArray:
            return to->set_bytes_value(from.toByteArray().toStdString());
        case QMetaType::QStringList:
        case QMetaType::QVariantList:
            enter();
            items(from.toList(), to->mutable_list_value()->mutable_items());
            --m_depth;
            return;
        case QMetaType::QVariantMap:
            enter();
            values(from.toMap(), to->mutable_map_value()->mutable_values());
            --m_depth;
            return;
        case QMetaType::QRect:
            return rect(from.toRect(), to->mutable_rect_value());
        default:
            fail(QStringLiteral("values of type %1 cannot be sent").arg(QLatin1String(from.typeName())));
        }
    }
    void rect(const QRect &from, v1::Rect *to) const
    {
        for (const int edge : {from.left(), from.top(), from.right(), from.bottom()}) {
            if (edge < -limits::Coordinate / 2 || edge > limits::Coordinate / 2) // its width may not fit into an int
                fail(QStringLiteral("a rectangle is out of range"));
        }
        to->set_x(from.x());
        to->set_y(from.y());
        to->set_width(from.width());
        to->set_height(from.height());
    }
    std::string text(const QString &from) const
    {
        if (!from.isValidUtf16()) // would arrive as a question mark
            fail(QStringLiteral("a text holds a lone surrogate"));
        return from.toStdString();
    }
    void enter()
    {
        if (++m_depth > limits::Depth)
            fail(QStringLiteral("lists and maps nested deeper than %1").arg(limits::Depth));
    }
    [[noreturn]] void fail(const QString &reason) const
    {
        throw Unsendable{QStringLiteral("key \"%1\": %2").arg(m_key.left(80), reason)};
    }

    int m_depth = 0;
    int m_nodes = 0;
    QString m_key; ///< innermost key, for the error
};

} // namespace

template <class Message>
bool encode(const Message &from, grpc::ByteBuffer *to, QString *error)
{
    using Wire = std::conditional_t<std::is_same_v<Message, Request>, v1::CallRequest, v1::CallResponse>;
    alignas(8) char block[FirstBlockBytes];
    google::protobuf::Arena arena(block, sizeof block);
    auto *wire = google::protobuf::Arena::CreateMessage<Wire>(&arena);
    try {
        Encoder().write(from, wire);
    } catch (const Unsendable &wrong) {
        *error = wrong.reason;
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
