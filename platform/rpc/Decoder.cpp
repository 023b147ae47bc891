#include "rpc/Decoder.h"
#include "rpc/Limits.h"
#include "tarn/v1/invoker.pb.h"
#include <QRect>
#include <QTextCodec>
#include <cstring>

namespace tarn::rpc {
namespace {

// How a field's value is written, the lower three bits of its tag. Groups (3, 4) are in no message of the platform.
enum WireType { Varint = 0, Fixed64 = 1, Sized = 2, Fixed32 = 5 };

constexpr quint32 tagOf(int field, WireType type)
{
    return (static_cast<quint32>(field) << 3) | type;
}
constexpr quint32 varint(int field)
{
    return tagOf(field, Varint);
}
constexpr quint32 fixed64(int field)
{
    return tagOf(field, Fixed64);
}
constexpr quint32 sized(int field)
{
    return tagOf(field, Sized);
}

/// Signed numbers as 0, -1, 1, -2, ...
template <class Signed, class Unsigned>
constexpr Signed zigzag(Unsigned number)
{
    return static_cast<Signed>((number >> 1) ^ (~(number & 1) + 1));
}

bool fromUtf8(const char *data, int size, QString *to)
{
    static QTextCodec *const codec = QTextCodec::codecForMib(106); // UTF-8
    QTextCodec::ConverterState state(QTextCodec::IgnoreHeader);    // a leading U+FEFF is part of the text
    *to = codec->toUnicode(data, size, &state);
    return state.invalidChars == 0 && state.remainingChars == 0;
}

} // namespace

Decoder::Decoder(const void *bytes, int size)
    : m_in(static_cast<const quint8 *>(bytes), size)
{
    m_in.PushLimit(size);
}

template <class Field>
bool Decoder::fields(Field field)
{
    while (const quint32 tag = m_in.ReadTag()) {
        if (!field(tag))
            return false;
    }
    return m_in.BytesUntilLimit() == 0 || damaged();
}

template <class Body>
bool Decoder::nested(Body body)
{
    quint32 size = 0;
    if (!m_in.ReadVarint32(&size) || static_cast<qint64>(size) > m_in.BytesUntilLimit())
        return damaged();
    const auto outer = m_in.PushLimit(static_cast<int>(size));
    if (!body())
        return false;
    m_in.PopLimit(outer);
    return true;
}

/// A field that is not known: of a later version.
bool Decoder::skip(quint32 tag)
{
    quint64 number = 0;
    const char *data = nullptr;
    int size = 0;
    switch (tag & 7) {
    case Varint:
        return this->number(&number);
    case Fixed64:
        return m_in.Skip(8) || damaged();
    case Sized:
        return rawBytes(&data, &size);
    case Fixed32:
        return m_in.Skip(4) || damaged();
    default:
        return damaged();
    }
}

bool Decoder::decode(Request *to)
{
    return fields([&](quint32 tag) {
        switch (tag) {
        case sized(v1::CallRequest::kInterfaceNameFieldNumber):
            return text(&to->interfaceName);
        case sized(v1::CallRequest::kObjectFieldNumber):
            return text(&to->object);
        case sized(v1::CallRequest::kMethodFieldNumber):
            return text(&to->method);
        case fixed64(v1::CallRequest::kEpochFieldNumber):
            return fixedNumber(&to->epoch);
        case sized(v1::CallRequest::kInputFieldNumber):
            return nested([&] { return bag(&to->input); });
        default:
            return skip(tag);
        }
    });
}

bool Decoder::decode(Response *to)
{
    return fields([&](quint32 tag) {
        quint64 accepted = 0;
        switch (tag) {
        case varint(v1::CallResponse::kAcceptedFieldNumber):
            if (!number(&accepted))
                return false;
            to->accepted = accepted != 0;
            return true;
        case varint(v1::CallResponse::kCodeFieldNumber):
            return signedInt(&to->code);
        case sized(v1::CallResponse::kErrorFieldNumber):
            return text(&to->error);
        case sized(v1::CallResponse::kOutputFieldNumber):
            return nested([&] { return bag(&to->output); });
        default:
            return skip(tag);
        }
    });
}

bool Decoder::bag(Bag *to)
{
    return fields([&](quint32 tag) {
        switch (tag) {
        case sized(v1::Bag::kValuesFieldNumber):
            return nested([&] { return mapEntry(&to->values); });
        case sized(v1::Bag::kListFieldNumber): {
            QVariant item;
            if (!nested([&] { return value(&item); }))
                return false;
            to->list.append(item);
            return true;
        }
        default:
            return skip(tag);
        }
    });
}

bool Decoder::mapEntry(QVariantMap *to)
{
    QString key;
    QVariant item;
    if (!count()) // also an entry that leaves its value out takes memory
        return false;
    const bool read = fields([&](quint32 tag) {
        switch (tag) {
        case sized(1):
            return text(&key);
        case sized(2):
            return nested([&] { return valueFields(&item); });
        default:
            return skip(tag);
        }
    });
    if (read)
        to->insert(key, item);
    return read;
}

bool Decoder::value(QVariant *to)
{
    return count() && valueFields(to);
}

bool Decoder::valueFields(QVariant *to)
{
    return fields([&](quint32 tag) { return valueField(tag, to); });
}

bool Decoder::valueField(quint32 tag, QVariant *to)
{
    quint64 read = 0;
    const auto varintInto = [&](auto convert) {
        if (!number(&read))
            return false;
        *to = convert();
        return true;
    };
    switch (tag) {
    case varint(v1::Value::kNullValueFieldNumber):
        return varintInto([&] { return QVariant(); });
    case varint(v1::Value::kBoolValueFieldNumber):
        return varintInto([&] { return QVariant(read != 0); });
    case varint(v1::Value::kInt32ValueFieldNumber):
        return varintInto([&] { return QVariant(zigzag<int>(static_cast<quint32>(read))); });
    case varint(v1::Value::kUint32ValueFieldNumber):
        return varintInto([&] { return QVariant(static_cast<uint>(read)); });
    case varint(v1::Value::kInt64ValueFieldNumber):
        return varintInto([&] { return QVariant(zigzag<qlonglong>(read)); });
    case varint(v1::Value::kUint64ValueFieldNumber):
        return varintInto([&] { return QVariant(static_cast<qulonglong>(read)); });
    case fixed64(v1::Value::kDoubleValueFieldNumber): {
        double number = 0;
        if (!fixedNumber(&read))
            return false;
        std::memcpy(&number, &read, sizeof number);
        *to = number;
        return true;
    }
    case sized(v1::Value::kStringValueFieldNumber): {
        QString string;
        if (!text(&string))
            return false;
        *to = string;
        return true;
    }
    case sized(v1::Value::kBytesValueFieldNumber):
        return bytes(to);
    case sized(v1::Value::kListValueFieldNumber):
        return nested([&] { return list(to); });
    case sized(v1::Value::kMapValueFieldNumber):
        return nested([&] { return map(to); });
    case sized(v1::Value::kRectValueFieldNumber):
        return nested([&] { return rect(to); });
    case sized(v1::Value::kObjectValueFieldNumber):
        return nested([&] { return objectRef(to); });
    default:
        return skip(tag);
    }
}

bool Decoder::list(QVariant *to)
{
    QVariantList items;
    if (!enter())
        return false;
    const bool read = fields([&](quint32 tag) {
        if (tag != sized(v1::ValueList::kItemsFieldNumber))
            return skip(tag);
        QVariant item;
        if (!nested([&] { return value(&item); }))
            return false;
        items.append(item);
        return true;
    });
    --m_depth;
    *to = items;
    return read;
}

bool Decoder::map(QVariant *to)
{
    QVariantMap values;
    if (!enter())
        return false;
    const bool read = fields([&](quint32 tag) {
        if (tag != sized(v1::ValueMap::kValuesFieldNumber))
            return skip(tag);
        return nested([&] { return mapEntry(&values); });
    });
    --m_depth;
    *to = values;
    return read;
}

bool Decoder::rect(QVariant *to)
{
    int x = 0;
    int y = 0;
    int width = 0;
    int height = 0;
    const bool read = fields([&](quint32 tag) {
        switch (tag) {
        case varint(v1::Rect::kXFieldNumber):
            return signedInt(&x);
        case varint(v1::Rect::kYFieldNumber):
            return signedInt(&y);
        case varint(v1::Rect::kWidthFieldNumber):
            return signedInt(&width);
        case varint(v1::Rect::kHeightFieldNumber):
            return signedInt(&height);
        default:
            return skip(tag);
        }
    });
    if (!read)
        return false;
    for (const int number : {x, y, width, height}) {
        if (number < -limits::Coordinate || number > limits::Coordinate)
            return fail(QStringLiteral("a rectangle is out of range"));
    }
    *to = QRect(x, y, width, height);
    return true;
}

bool Decoder::objectRef(QVariant *to)
{
    ObjectRef ref;
    const bool read = fields([&](quint32 tag) {
        switch (tag) {
        case sized(v1::ObjectRef::kInterfaceNameFieldNumber):
            return text(&ref.interfaceName);
        case sized(v1::ObjectRef::kTagFieldNumber):
            return text(&ref.tag);
        case sized(v1::ObjectRef::kEndpointFieldNumber):
            return text(&ref.endpoint);
        case fixed64(v1::ObjectRef::kEpochFieldNumber):
            return fixedNumber(&ref.epoch);
        default:
            return skip(tag);
        }
    });
    *to = QVariant::fromValue(ref);
    return read;
}

bool Decoder::text(QString *to)
{
    const char *data = nullptr;
    int size = 0;
    if (!rawBytes(&data, &size))
        return false;
    return fromUtf8(data, size, to) || fail(QStringLiteral("a text is not valid UTF-8"));
}

bool Decoder::bytes(QVariant *to)
{
    const char *data = nullptr;
    int size = 0;
    if (!rawBytes(&data, &size))
        return false;
    *to = QByteArray(data, size);
    return true;
}

/// The bytes of a length-delimited field, still in the message's memory.
bool Decoder::rawBytes(const char **data, int *size)
{
    quint32 length = 0;
    if (!m_in.ReadVarint32(&length) || static_cast<qint64>(length) > m_in.BytesUntilLimit())
        return damaged();
    const void *pointer = nullptr;
    int available = 0;
    m_in.GetDirectBufferPointerInline(&pointer, &available);
    *data = static_cast<const char *>(pointer);
    *size = static_cast<int>(length);
    return m_in.Skip(*size) || damaged();
}

bool Decoder::signedInt(int *to)
{
    quint32 number = 0;
    if (!m_in.ReadVarint32(&number))
        return damaged();
    *to = zigzag<int>(number);
    return true;
}

bool Decoder::number(quint64 *to)
{
    uint64_t read = 0;
    if (!m_in.ReadVarint64(&read))
        return damaged();
    *to = read;
    return true;
}

bool Decoder::fixedNumber(quint64 *to)
{
    uint64_t read = 0;
    if (!m_in.ReadLittleEndian64(&read))
        return damaged();
    *to = read;
    return true;
}

bool Decoder::count()
{
    return ++m_nodes <= limits::Nodes || fail(QStringLiteral("more than %1 values").arg(limits::Nodes));
}

bool Decoder::enter()
{
    if (++m_depth > limits::Depth)
        return fail(QStringLiteral("lists and maps nested deeper than %1").arg(limits::Depth));
    return true;
}

bool Decoder::fail(const QString &reason)
{
    if (m_error.isEmpty())
        m_error = reason;
    return false;
}

bool Decoder::damaged()
{
    return fail(QStringLiteral("the message is damaged"));
}

} // namespace tarn::rpc
