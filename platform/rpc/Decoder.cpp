#include "rpc/Limits.h"
#include "rpc/Messages.h"
#include "tarn/v1/invoker.pb.h"
#include <QRect>
#include <QTextCodec>
#include <cstring>
#include <google/protobuf/io/coded_stream.h>
#include <grpcpp/support/byte_buffer.h>

namespace tarn::rpc {
namespace {

// How a field's value is written, the lower three bits of its tag. Groups (3, 4) are in no message of the platform.
enum WireType : quint32 { Varint = 0, Fixed64 = 1, Sized = 2, Fixed32 = 5 };

/// A field of a message and the function that reads its value.
template <class Read>
struct Field
{
    Field(int number, WireType type, Read function)
        : tag(static_cast<quint32>(number) << 3 | type)
        , read(function)
    {
    }
    const quint32 tag;
    const Read read;
};

/// Signed numbers are written as 0, -1, 1, -2, ...
template <class Signed, class Unsigned>
Signed zigzag(Unsigned number)
{
    return static_cast<Signed>((number >> 1) ^ (~(number & 1) + 1));
}

/// Wire messages to Qt values, read straight from the bytes: the generated classes would build a hostile message whole
/// (4 MiB of empty maps become 200 MiB, of unknown fields 120 MiB) before any limit could be checked. One object per
/// message. All functions return false once something is wrong.
class Decoder
{
public:
    explicit Decoder(const grpc::Slice &bytes)
        : m_in(bytes.begin(), static_cast<int>(bytes.size()))
    {
        m_in.PushLimit(static_cast<int>(bytes.size()));
    }

private:
    /// Reads the fields up to the end of the message. Unknown ones, of a later version, are skipped.
    template <class... Reads>
    bool message(const Field<Reads> &...fields)
    {
        while (const quint32 tag = m_in.ReadTag()) {
            bool isRead = true;
            const bool isKnown = ((tag == fields.tag && (isRead = fields.read(), true)) || ...);
            if (!(isKnown ? isRead : skip(tag)))
                return false;
        }
        return m_in.BytesUntilLimit() == 0 || damaged();
    }

    // The kinds of fields.
    template <class Store>
    auto number(int field, WireType type, Store store)
    {
        return Field(field, type, [this, type, store] {
            uint64_t raw = 0;
            if (!(type == Varint ? m_in.ReadVarint64(&raw) : m_in.ReadLittleEndian64(&raw)))
                return damaged();
            store(raw);
            return true;
        });
    }
    template <class To>
    auto int32(int field, To *to)
    {
        return number(field, Varint, [to](quint64 raw) { *to = zigzag<int>(static_cast<quint32>(raw)); });
    }
    template <class Body>
    auto nested(int field, Body body)
    {
        return Field(field, Sized, [this, body] {
            int size = 0;
            if (!length(&size))
                return false;
            const auto outer = m_in.PushLimit(size);
            const bool isRead = body();
            m_in.PopLimit(outer);
            return isRead;
        });
    }
    /// @param take gets the bytes in the message's memory
    template <class Take>
    auto sized(int field, Take take)
    {
        return Field(field, Sized, [this, take] {
            const void *data = nullptr;
            int size = 0;
            int available = 0;
            if (!length(&size))
                return false;
            m_in.GetDirectBufferPointerInline(&data, &available);
            return take(static_cast<const char *>(data), size) && m_in.Skip(size);
        });
    }
    template <class To>
    auto text(int field, To *to)
    {
        return sized(field, [this, to](const char *data, int size) {
            static QTextCodec *const codec = QTextCodec::codecForMib(106); // UTF-8
            QTextCodec::ConverterState state(QTextCodec::IgnoreHeader);    // a leading U+FEFF is part of the text
            *to = codec->toUnicode(data, size, &state);
            return (state.invalidChars == 0 && state.remainingChars == 0) ||
                   fail(QStringLiteral("a text is not valid UTF-8"));
        });
    }

public:
    bool read(Request *to)
    {
        using Wire = v1::CallRequest;
        return message(text(Wire::kInterfaceNameFieldNumber, &to->interfaceName),
                       text(Wire::kObjectFieldNumber, &to->object), text(Wire::kMethodFieldNumber, &to->method),
                       number(Wire::kEpochFieldNumber, Fixed64, [to](quint64 raw) { to->epoch = raw; }),
                       nested(Wire::kInputFieldNumber, [this, to] { return bag(&to->input); }));
    }
    bool read(CallResult *to)
    {
        using Wire = v1::CallResponse;
        return message(number(Wire::kAcceptedFieldNumber, Varint, [to](quint64 raw) { to->accepted = raw != 0; }),
                       int32(Wire::kCodeFieldNumber, &to->retCode), text(Wire::kErrorFieldNumber, &to->errorText),
                       nested(Wire::kOutputFieldNumber, [this, to] { return bag(&to->output); }));
    }
    QString error() const { return m_error; }

private:
    // The messages inside.
    bool bag(Bag *to)
    {
        return message(nested(v1::Bag::kValuesFieldNumber, [this, to] { return element(&to->values); }),
                       nested(v1::Bag::kListFieldNumber, [this, to] { return element(&to->list); }));
    }
    bool element(QVariantMap *to)
    {
        QString key;
        QVariant item;
        if (!count() || !message(text(1, &key), nested(2, [&] { return value(&item); })))
            return false;
        to->insert(key, item);
        return true;
    }
    bool element(QVariantList *to)
    {
        QVariant item;
        if (!count() || !value(&item))
            return false;
        to->append(item);
        return true;
    }
    bool value(QVariant *to)
    {
        using Wire = v1::Value;
        const auto isTrue = [to](quint64 raw) { *to = raw != 0; };
        const auto asDouble = [to](quint64 raw) {
            double read = 0;
            std::memcpy(&read, &raw, sizeof read);
            *to = read;
        };
        const auto asBytes = [to](const char *data, int size) {
            *to = QByteArray(data, size);
            return true;
        };
        return message(
            number(Wire::kNullValueFieldNumber, Varint, [to](quint64) { *to = QVariant(); }),
            number(Wire::kBoolValueFieldNumber, Varint, isTrue), int32(Wire::kInt32ValueFieldNumber, to),
            number(Wire::kUint32ValueFieldNumber, Varint, [to](quint64 raw) { *to = static_cast<uint>(raw); }),
            number(Wire::kInt64ValueFieldNumber, Varint, [to](quint64 raw) { *to = zigzag<qlonglong>(raw); }),
            number(Wire::kUint64ValueFieldNumber, Varint, [to](quint64 raw) { *to = raw; }),
            number(Wire::kDoubleValueFieldNumber, Fixed64, asDouble), text(Wire::kStringValueFieldNumber, to),
            sized(Wire::kBytesValueFieldNumber, asBytes),
            nested(Wire::kListValueFieldNumber,
                   [this, to] { return container<QVariantList>(v1::ValueList::kItemsFieldNumber, to); }),
            nested(Wire::kMapValueFieldNumber,
                   [this, to] { return container<QVariantMap>(v1::ValueMap::kValuesFieldNumber, to); }),
            nested(Wire::kRectValueFieldNumber, [this, to] { return rect(to); }),
            nested(Wire::kObjectValueFieldNumber, [this, to] { return objectRef(to); }));
    }
    template <class Container>
    bool container(int field, QVariant *to)
    {
        Container items;
        if (++m_depth > limits::Depth)
            return fail(QStringLiteral("lists and maps nested deeper than %1").arg(limits::Depth));
        if (!message(nested(field, [&] { return element(&items); })))
            return false;
        --m_depth;
        *to = items;
        return true;
    }
    bool rect(QVariant *to)
    {
        using Wire = v1::Rect;
        int numbers[4] = {};
        if (!message(int32(Wire::kXFieldNumber, &numbers[0]), int32(Wire::kYFieldNumber, &numbers[1]),
                     int32(Wire::kWidthFieldNumber, &numbers[2]), int32(Wire::kHeightFieldNumber, &numbers[3])))
            return false;
        for (const int each : numbers) {
            if (each < -limits::Coordinate || each > limits::Coordinate)
                return fail(QStringLiteral("a rectangle is out of range"));
        }
        *to = QRect(numbers[0], numbers[1], numbers[2], numbers[3]);
        return true;
    }
    bool objectRef(QVariant *to)
    {
        using Wire = v1::ObjectRef;
        ObjectRef ref;
        const bool isRead =
            message(text(Wire::kInterfaceNameFieldNumber, &ref.interfaceName), text(Wire::kTagFieldNumber, &ref.tag),
                    text(Wire::kEndpointFieldNumber, &ref.endpoint),
                    number(Wire::kEpochFieldNumber, Fixed64, [&ref](quint64 raw) { ref.epoch = raw; }));
        *to = QVariant::fromValue(ref);
        return isRead;
    }

    bool length(int *to)
    {
        quint32 size = 0;
        if (!m_in.ReadVarint32(&size) || static_cast<qint64>(size) > m_in.BytesUntilLimit())
            return damaged();
        *to = static_cast<int>(size);
        return true;
    }
    bool skip(quint32 tag)
    {
        uint64_t number = 0;
        int size = 0;
        switch (tag & 7) {
        case Varint:
            return m_in.ReadVarint64(&number) || damaged();
        case Fixed64:
            return m_in.Skip(8) || damaged();
        case Sized:
            return length(&size) && m_in.Skip(size);
        case Fixed32:
            return m_in.Skip(4) || damaged();
        default:
            return damaged();
        }
    }
    /// Counts a value, also an entry of a map that leaves its value out: it takes memory.
    bool count()
    {
        return ++m_nodes <= limits::Nodes || fail(QStringLiteral("more than %1 values").arg(limits::Nodes));
    }
    bool fail(const QString &reason)
    {
        m_error = reason;
        return false;
    }
    bool damaged() { return fail(QStringLiteral("the message is damaged")); }

    google::protobuf::io::CodedInputStream m_in;
    int m_depth = 0;
    int m_nodes = 0;
    QString m_error;
};

} // namespace

template <class Message>
bool decode(const grpc::ByteBuffer &from, Message *to, QString *error)
{
    grpc::Slice bytes;
    if (!from.TrySingleSlice(&bytes).ok() && !from.DumpToSingleSlice(&bytes).ok()) {
        *error = QStringLiteral("the message cannot be read");
        return false;
    }
    Decoder decoder(bytes);
    const bool isRead = decoder.read(to);
    *error = decoder.error();
    return isRead;
}
template bool decode(const grpc::ByteBuffer &from, Request *to, QString *error);
template bool decode(const grpc::ByteBuffer &from, CallResult *to, QString *error);

} // namespace tarn::rpc
