#include "cli/JsonBag.h"
#include <QJsonArray>
#include <QJsonDocument>
#include <QRect>
#include <cmath>
#include <limits>

namespace tarn::cli {

namespace {

const QString RectTag = QStringLiteral("$rect");
const QString UnsignedTag = QStringLiteral("$u64");
const QString SignedTag = QStringLiteral("$i64");
const QString BytesTag = QStringLiteral("$bytes");
const QString ListKey = QStringLiteral("$list");
constexpr qint64 ExactInDouble = Q_INT64_C(9007199254740992); // 2^53, beyond it JSON readers lose digits

bool fail(QString *error, const QString &place, const QString &reason)
{
    *error = QStringLiteral("%1: %2").arg(place.isEmpty() ? QStringLiteral("/") : place, reason);
    return false;
}

bool readInt(const QJsonValue &json, int *number)
{
    const double value = json.toDouble(std::numeric_limits<double>::quiet_NaN());
    if (!(value >= std::numeric_limits<int>::min() && value <= std::numeric_limits<int>::max()) ||
        value != std::floor(value))
        return false;
    *number = static_cast<int>(value);
    return true;
}

bool parseRect(const QJsonValue &json, const QString &place, QVariant *value, QString *error)
{
    const QJsonArray numbers = json.toArray();
    if (!json.isArray() || numbers.size() != 4)
        return fail(error, place, QStringLiteral("expected four numbers: [x, y, width, height]"));
    int part[4] = {};
    for (int i = 0; i < 4; ++i) {
        if (!readInt(numbers.at(i), &part[i]))
            return fail(error, QStringLiteral("%1/%2").arg(place).arg(i), QStringLiteral("expected a whole number"));
    }
    *value = QRect(part[0], part[1], part[2], part[3]);
    return true;
}

bool parseTagged(const QString &tag, const QJsonValue &json, const QString &place, QVariant *value, QString *error)
{
    if (tag == RectTag)
        return parseRect(json, place, value, error);
    bool valid = false;
    if (tag == UnsignedTag) {
        *value = json.toString().toULongLong(&valid);
        return valid || fail(error, place, QStringLiteral("expected a string with an unsigned 64-bit number"));
    }
    if (tag == SignedTag) {
        *value = json.toString().toLongLong(&valid);
        return valid || fail(error, place, QStringLiteral("expected a string with a 64-bit number"));
    }
    if (tag == BytesTag) {
        const auto bytes =
            QByteArray::fromBase64Encoding(json.toString().toLatin1(), QByteArray::AbortOnBase64DecodingErrors);
        *value = bytes.decoded;
        return (json.isString() && bytes) || fail(error, place, QStringLiteral("expected a string in base64"));
    }
    return fail(error, place, QStringLiteral("unknown kind of value"));
}

bool parseObject(const QJsonObject &json, const QString &place, QVariantMap *map, QString *error)
{
    for (auto it = json.constBegin(); it != json.constEnd(); ++it) {
        if (!parseValue(it.value(), place + QLatin1Char('/') + it.key(), &(*map)[it.key()], error))
            return false;
    }
    return true;
}

bool parseArray(const QJsonArray &json, const QString &place, QVariantList *list, QString *error)
{
    list->reserve(json.size());
    for (const QJsonValue item : json) {
        list->append(QVariant());
        if (!parseValue(item, QStringLiteral("%1/%2").arg(place).arg(list->size() - 1), &list->last(), error))
            return false;
    }
    return true;
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

QJsonArray arrayOf(const QVariantList &list)
{
    QJsonArray array;
    for (const QVariant &item : list)
        array.append(cli::toJson(item));
    return array;
}

} // namespace

bool parseJson(const QByteArray &text, QJsonDocument *document, QString *error)
{
    QJsonParseError parseError;
    *document = QJsonDocument::fromJson(text, &parseError);
    if (parseError.error == QJsonParseError::NoError)
        return true;
    *error = QStringLiteral("%1: %2").arg(position(text, parseError.offset), parseError.errorString());
    return false;
}

bool parseValue(const QJsonValue &json, const QString &place, QVariant *value, QString *error)
{
    if (json.isObject()) {
        const QJsonObject object = json.toObject();
        const QString first = object.isEmpty() ? QString() : object.constBegin().key();
        if (object.size() == 1 && first.startsWith(QLatin1Char('$')))
            return parseTagged(first, object.value(first), place + QLatin1Char('/') + first, value, error);
        QVariantMap map;
        const bool taken = parseObject(object, place, &map, error);
        *value = map;
        return taken;
    }
    if (json.isArray()) {
        QVariantList list;
        const bool taken = parseArray(json.toArray(), place, &list, error);
        *value = list;
        return taken;
    }
    *value = json.toVariant();
    if (json.isDouble()) {
        int number = 0;
        if (readInt(json, &number))
            *value = number;
    } else if (json.isNull()) {
        *value = QVariant();
    }
    return true;
}

bool parseBag(const QByteArray &json, rpc::Bag *bag, QString *error)
{
    QJsonDocument document;
    if (!parseJson(json, &document, error))
        return false;
    if (!document.isObject()) {
        *error = QStringLiteral("/: expected a JSON object");
        return false;
    }
    QJsonObject object = document.object();
    const QJsonValue list = object.take(ListKey);
    if (!list.isUndefined() && !list.isArray())
        return fail(error, QLatin1Char('/') + ListKey, QStringLiteral("expected an array"));
    return parseObject(object, QString(), &bag->values, error) &&
           parseArray(list.toArray(), QLatin1Char('/') + ListKey, &bag->list, error);
}

QJsonValue toJson(const QVariant &value)
{
    switch (value.userType()) {
    case QMetaType::Bool:
        return value.toBool();
    case QMetaType::Int:
    case QMetaType::UInt:
    case QMetaType::LongLong:
        return integer(value.toLongLong());
    case QMetaType::ULongLong:
        return QJsonObject{{UnsignedTag, QString::number(value.toULongLong())}};
    case QMetaType::Double:
        return value.toDouble();
    case QMetaType::QString:
        return value.toString();
    case QMetaType::QByteArray:
        return QJsonObject{{BytesTag, QString::fromLatin1(value.toByteArray().toBase64())}};
    case QMetaType::QVariantList:
    case QMetaType::QStringList:
        return arrayOf(value.toList());
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
    return QJsonValue::Null;
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
