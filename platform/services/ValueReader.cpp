#include "services/ValueReader.h"
#include <algorithm>
#include <limits>

namespace tarn::services {

void ValueReader::expect(bool holds, const QString &key, const QString &wanted) const
{
    require(holds, QStringLiteral("%1: expected %2").arg(placeOf(key), wanted));
}

QString ValueReader::text(const QString &key, int maxSize) const
{
    const QVariant value = m_values.value(key);
    require(value.isValid(), QStringLiteral("%1 is missing").arg(placeOf(key)));
    expect(value.userType() == QMetaType::QString, key, QStringLiteral("a string"));
    require(value.toString().size() <= maxSize,
            QStringLiteral("%1 is longer than %2 characters").arg(placeOf(key), QString::number(maxSize)));
    return value.toString();
}

QString ValueReader::name(const QString &key) const
{
    const QString text = this->text(key, MaxName);
    expect(!text.isEmpty(), key, QStringLiteral("1 to %1 characters").arg(MaxName));
    return text;
}

QString ValueReader::optionalText(const QString &key, int maxSize) const
{
    return m_values.value(key).isNull() ? QString() : text(key, maxSize);
}

bool ValueReader::flag(const QString &key, bool otherwise) const
{
    const QVariant value = m_values.value(key);
    expect(value.isNull() || value.userType() == QMetaType::Bool, key, QStringLiteral("true or false"));
    return value.isNull() ? otherwise : value.toBool();
}

int ValueReader::integer(const QString &key) const
{
    using Limits = std::numeric_limits<int>;
    const QVariant value = m_values.value(key);
    const int type = value.userType(); // Int, UInt, LongLong and ULongLong have successive numbers
    expect(type >= QMetaType::Int && type <= QMetaType::ULongLong, key, QStringLiteral("an integer"));
    bool fits = false;
    const qlonglong wide = value.toLongLong(&fits);
    require(fits && wide >= Limits::min() && wide <= Limits::max(),
            QStringLiteral("%1 does not fit into 32 bits").arg(placeOf(key)));
    return static_cast<int>(wide);
}

bool isPlainText(const QString &text)
{
    const QVector<uint> points = text.toUcs4();
    return std::none_of(points.cbegin(), points.cend(), [](uint point) {
        const QChar::Category category = QChar::category(point);
        return category == QChar::Other_Control || category == QChar::Other_Format ||
               category == QChar::Separator_Line || category == QChar::Separator_Paragraph;
    });
}

} // namespace tarn::services
