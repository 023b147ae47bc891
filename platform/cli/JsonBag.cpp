#include "cli/JsonBag.h"
#include <QJsonArray>
#include <QJsonDocument>
#include <QRect>

namespace tarn::cli {

namespace {

const QString RectTag = QStringLiteral("$rect");
const QString UnsignedTag = QStringLiteral("$u64");
const QString SignedTag = QStringLiteral("$i64");
const QString BytesTag = QStringLiteral("$bytes");
const QString ListKey = QStringLiteral("$list");
constexpr qint64 ExactInDouble = Q_INT64_C(9007199254740992); // 2^53, beyond it JSON readers lose digits

bool isInt(const QJsonValue &json)
{
    return json.toInt(0) == json.toInt(1); // the default when it is none
}

QVariant parseRect(const QJsonArray &numbers, const QString &place)
{
    if (numbers.size() != 4)
        throw wrongJson(place, QStringLiteral("expected four numbers: [x, y, width, height]"));
    for (int i = 0; i < 4; ++i) {
        if (!isInt(numbers.at(i)))
            throw wrongJson(QStringLiteral("%1/%2").arg(place).arg(i), QStringLiteral("expected a whole number"));
    }
    return QRect(numbers.at(0).toInt(), numbers.at(1).toInt(), numbers.at(2).toInt(), numbers.at(3).toInt());
}

QVariant parseTagged(const QString &tag, const QJsonValue &json, const QString &place)
{
    const QString text = json.toString();
    bool valid = false;
    if (tag == RectTag)
        return parseRect(json.toArray(), place);
    if (tag == UnsignedTag) {
        const qulonglong number = text.toULongLong(&valid);
        if (valid)
            return number;
        throw wrongJson(place, QStringLiteral("expected a string with an unsigned 64-bit number"));
    }
    if (tag == SignedTag) {
        const qlonglong number = text.toLongLong(&valid);
        if (valid)
            return number;
        throw wrongJson(place, QStringLiteral("expected a string with a 64-bit number"));
    }
    if (tag == BytesTag) {
        const auto bytes = QByteArray::fromBase64Encoding(text.toLatin1(), QByteArray::AbortOnBase64DecodingErrors);
        if (json.isString() && bytes)
            return bytes.decoded;
        throw wrongJson(place, QStringLiteral("expected a string in base64"));
    }
    throw wrongJson(place, QStringLiteral("unknown kind of value"));
}

QVariantMap parseObject(const QJsonObject &json, const QString &place)
{
    QVariantMap map;
    for (auto it = json.constBegin(); it != json.constEnd(); ++it)
        map.insert(it.key(), parseValue(it.value(), place + QLatin1Char('/') + it.key()));
    return map;
}

QVariantList parseArray(const QJsonArray &json, const QString &place)
{
    QVariantList list;
    for (int i = 0; i < json.size(); ++i)
        list.append(parseValue(json.at(i), QStringLiteral("%1/%2").arg(place).arg(i)));
    return list;
}

// Line and column, counted from 1, of a syntax error; the parser reports the place behind it.
QString position(const QByteArray &text, int offset)
{
    const QByteArray before = text.left(qMax(0, offset - 1));
    const int line = before.count('\n') + 1;
    const int column = QString::fromUtf8(before.mid(before.lastIndexOf('\n') + 1)).size() + 1;
    return QStringLiteral("line %1, column %2").arg(line).arg(column);
}

QJsonValue integer(qlonglong number)
{
    if (number >= -ExactInDouble && number <= ExactInDouble)
        return number;
    return QJsonObject{{SignedTag, QString::number(number)}};
}

} // namespace

Failure wrongJson(const QString &place, const QString &reason)
{
    return wrongUsage(
        QStringLiteral("wrong JSON at %1: %2").arg(place.isEmpty() ? QStringLiteral("/") : place, reason));
}

QJsonDocument parseJson(const QByteArray &text)
{
    QJsonParseError error;
    QJsonDocument document = QJsonDocument::fromJson(text, &error);
    if (error.error != QJsonParseError::NoError)
        throw wrongJson(position(text, error.offset), error.errorString());
    return document;
}

QVariant parseValue(const QJsonValue &json, const QString &place)
{
    if (json.isArray())
        return parseArray(json.toArray(), place);
    if (json.isObject()) {
        const QJsonObject object = json.toObject();
        const QString first = object.size() == 1 ? object.constBegin().key() : QString();
        return first.startsWith(QLatin1Char('$'))
                   ? parseTagged(first, object.value(first), place + QLatin1Char('/') + first)
                   : parseObject(object, place);
    }
    if (json.isNull())
        return {};
    return json.isDouble() && isInt(json) ? json.toInt() : json.toVariant();
}

rpc::Bag parseBag(const QByteArray &json)
{
    const QJsonDocument document = parseJson(json);
    if (!document.isObject())
        throw wrongJson(QString(), QStringLiteral("expected a JSON object"));
    QJsonObject object = document.object();
    const QJsonValue list = object.take(ListKey);
    const QString place = QLatin1Char('/') + ListKey;
    if (!list.isUndefined() && !list.isArray())
        throw wrongJson(place, QStringLiteral("expected an array"));
    return {parseObject(object, QString()), parseArray(list.toArray(), place)};
}

QJsonValue toJson(const QVariant &value)
{
    switch (value.userType()) {
    case QMetaType::Int:
    case QMetaType::UInt:
    case QMetaType::LongLong:
        return integer(value.toLongLong());
    case QMetaType::ULongLong:
        return QJsonObject{{UnsignedTag, QString::number(value.toULongLong())}};
    case QMetaType::QByteArray:
        return QJsonObject{{BytesTag, QString::fromLatin1(value.toByteArray().toBase64())}};
    case QMetaType::QVariantList: {
        QJsonArray array;
        for (const QVariant &item : value.toList())
            array.append(toJson(item));
        return array;
    }
    case QMetaType::QVariantMap:
        return toJson(value.toMap());
    case QMetaType::QRect: {
        const QRect r = value.toRect();
        return QJsonObject{{RectTag, QJsonArray{r.x(), r.y(), r.width(), r.height()}}};
    }
    default:
        break;
    }
    if (value.userType() == qMetaTypeId<rpc::ObjectRef>())
        return QJsonObject{{QStringLiteral("$object"), value.value<rpc::ObjectRef>().tag}};
    return QJsonValue::fromVariant(value);
}

QJsonObject toJson(const QVariantMap &values)
{
    QJsonObject object;
    for (auto it = values.cbegin(); it != values.cend(); ++it)
        object.insert(it.key(), toJson(it.value()));
    return object;
}

QByteArray compact(const QJsonValue &value)
{
    const QJsonDocument document = value.isArray() ? QJsonDocument(value.toArray()) : QJsonDocument(value.toObject());
    return document.toJson(QJsonDocument::Compact);
}

} // namespace tarn::cli
