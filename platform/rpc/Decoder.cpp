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

/// Why bytes are no message.
struct BadMessage
{
    QString reason;
};

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
/// message. Throws BadMessage.
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
    void message(const Field<Reads> &...fields)
    {
        while (const quint32 tag = m_in.ReadTag()) {
            const bool isKnown = ((tag == fields.tag && (fields.read(), true)) || ...);
            if (!isKnown)
                skip(tag);
        }
        demand(m_in.BytesUntilLimit() == 0);
    }

    // The kinds of fields.
    template <class Store>
    auto number(int field, WireType type, Store store)
    {
        return Field(field, type, [this, type, store] {
            uint64_t raw = 0;
            demand(type == Varint ? m_in.ReadVarint64(&raw) : m_in.ReadLittleEndian64(&raw));
            store(raw);
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
            const auto outer = m_in.PushLimit(length());
            body();
            m_in.PopLimit(outer);
        });
    }
    /// @param take gets the bytes in the message's memory
    template <class Take>
    auto sized(int field, Take take)
    {
        return Field(field, Sized, [this, take] {
            const int size = length();
            const void *data = nullptr;
            int available = 0;
            m_in.GetDirectBufferPointerInline(&data, &available);
            take(static_cast<const char *>(data), size);
            demand(m_in.Skip(size));
        });
    }
    template <class To>
    auto text(int field, To *to)
    {
        return sized(field, [this, to](const char *data, int size) {
            static QTextCodec *const codec = QTextCodec::codecForMib(106); // UTF-8
            QTextCodec::ConverterState state(QTextCodec::IgnoreHeader);    // a leading U+FEFF is part of the text
            *to = codec->toUnicode(data, size, &state);
            if (state.invalidChars != 0 || state.remainingChars != 0)
                throw BadMessage{QStringLiteral("a text is not valid UTF-8")};
        });
    }

public:
    void read(Request *to)
    {
        using Wire = v1::CallRequest;
        message(text(Wire::kInterfaceNameFieldNumber, &to->interfaceName), text(Wire::kObjectFieldNumber, &to->object),
                text(Wire::kMethodFieldNumber, &to->method),
                number(Wire::kEpochFieldNumber, Fixed64, [to](quint64 raw) { to->epoch = raw; }),
                nested(Wire::kInputFieldNumber, [this, to] { bag(&to->input); }));
    }
    void read(CallResult *to)
    {
        using Wire = v1::CallResponse;
        message(number(Wire::kAcceptedFieldNumber, Varint, [to](quint64 raw) { to->accepted = raw != 0; }),
                int32(Wire::kCodeFieldNumber, &to->retCode), text(Wire::kErrorFieldNumber, &to->errorText),
                nested(Wire::kOutputFieldNumber, [this, to] { bag(&to->output); }));
    }

private:
    // The messages inside.
    void bag(Bag *to)
    {
        message(nested(v1::Bag::kValuesFieldNumber, [this, to] { element(&to->values); }),
                nested(v1::Bag::kListFieldNumber, [this, to] { element(&to->list); }));
    }
    void element(QVariantMap *to)
    {
        QString key;
        QVariant item;
        count();
        message(text(1, &key), nested(2, [&] { value(&item); }));
        to->insert(key, item);
    }
    void element(QVariantList *to)
    {
        QVariant item;
        count();
        value(&item);
        to->append(item);
    }
    void value(QVariant *to)
    {
        using Wire = v1::Value;
        const auto isTrue = [to](quint64 raw) { *to = raw != 0; };
        const auto asDouble = [to](quint64 raw) {
            double read = 0;
            std::memcpy(&read, &raw, sizeof read);
            *to = read;
        };
        message(number(Wire::kNullValueFieldNumber, Varint, [to](quint64) { *to = QVariant(); }),
                number(Wire::kBoolValueFieldNumber, Varint, isTrue), int32(Wire::kInt32ValueFieldNumber, to),
                number(Wire::kUint32ValueFieldNumber, Varint, [to](quint64 raw) { *to = static_cast<uint>(raw); }),
                number(Wire::kInt64ValueFieldNumber, Varint, [to](quint64 raw) { *to = zigzag<qlonglong>(raw); }),
                number(Wire::kUint64ValueFieldNumber, Varint, [to](quint64 raw) { *to = raw; }),
                number(Wire::kDoubleValueFieldNumber, Fixed64, asDouble), text(Wire::kStringValueFieldNumber, to),
                sized(Wire::kBytesValueFieldNumber, [to](const char *data, int size) { *to = QByteArray(data, size); }),
                nested(Wire::kListValueFieldNumber,
                       [this, to] { container<QVariantList>(v1::ValueList::kItemsFieldNumber, to); }),
                nested(Wire::kMapValueFieldNumber,
                       [this, to] { container<QVariantMap>(v1::ValueMap::kValuesFieldNumber, to); }),
                nested(Wire::kRectValueFieldNumber, [this, to] { rect(to); }),
                nested(Wire::kObjectValueFieldNumber, [this, to] { objectRef(to); }));
    }
    template <class Container>
    void container(int field, QVariant *to)
    {
        Container items;
        if (++m_depth > limits::Depth)
            throw BadMessage{QStringLiteral("lists and maps nested deeper than %1").arg(limits::Depth)};
        message(nested(field, [&] { element(&items); }));
        --m_depth;
        *to = items;
    }
    void rect(QVariant *to)
    {
        using Wire = v1::Rect;
        int numbers[4] = {};
        message(int32(Wire::kXFieldNumber, &numbers[0]), int32(Wire::kYFieldNumber, &numbers[1]),
                int32(Wire::kWidthFieldNumber, &numbers[2]), int32(Wire::kHeightFieldNumber, &numbers[3]));
        for (const int each : numbers) {
            if (each < -limits::Coordinate || each > limits::Coordinate)
                throw BadMessage{QStringLiteral("a rectangle is out of range")};
        }
        *to = QRect(numbers[0], numbers[1], numbers[2], numbers[3]);
    }
    void objectRef(QVariant *to)
    {
        using Wire = v1::ObjectRef;
        ObjectRef ref;
        message(text(Wire::kInterfaceNameFieldNumber, &ref.interfaceName), text(Wire::kTagFieldNumber, &ref.tag),
                text(Wire::kEndpointFieldNumber, &ref.endpoint),
                number(Wire::kEpochFieldNumber, Fixed64, [&ref](quint64 raw) { ref.epoch = raw; }));
        *to = QVariant::fromValue(ref);
    }

    int length()
    {
        quint32 size = 0;
        demand(m_in.ReadVarint32(&size) && static_cast<qint64>(size) <= m_in.BytesUntilLimit());
        return static_cast<int>(size);
    }
    void skip(quint32 tag)
    {
        uint64_t number = 0;
        switch (tag & 7) {
        case Varint:
            return demand(m_in.ReadVarint64(&number));
        case Fixed64:
            return demand(m_in.Skip(8));
        case Sized:
            return demand(m_in.Skip(length()));
        case Fixed32:
            return demand(m_in.Skip(4));
        default:
            demand(false);
        }
    }
    /// Counts a value, also an entry of a map that leaves its value out: it takes memory.
    void count()
    {
        if (++m_nodes > limits::Nodes)
            throw BadMessage{QStringLiteral("more than %1 values").arg(limits::Nodes)};
    }
    static void demand(bool isWhole)
    {
        if (!isWhole)
            throw BadMessage{QStringLiteral("the message is damaged")};
    }

    google::protobuf::io::CodedInputStream m_in;
    int m_depth = 0;
    int m_nodes = 0;
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
    try {
        Decoder(bytes).read(to);
        return true;
    } catch (const BadMessage &bad) {
        *error = bad.reason;
        return false;
    }
}
template bool decode(const grpc::ByteBuffer &from, Request *to, QString *error);
template bool decode(const grpc::ByteBuffer &from, CallResult *to, QString *error);

} // namespace tarn::rpc
