#include "services/RequestReader.h"
#include <limits>

namespace tarn::services {

QString RequestReader::text(const QString &key, int maxSize) const
{
    const QVariant value = m_values.value(key);
    require(value.isValid(), QStringLiteral("%1 is missing").arg(key));
    require(value.userType() == QMetaType::QString, QStringLiteral("%1: expected a string").arg(key));
    require(value.toString().size() <= maxSize,
            QStringLiteral("%1 is longer than %2 characters").arg(key, QString::number(maxSize)));
    return value.toString();
}

QString RequestReader::name(const QString &key) const
{
    const QString text = this->text(key, MaxName);
    require(!text.isEmpty(), QStringLiteral("%1: expected 1 to %2 characters").arg(key, QString::number(MaxName)));
    return text;
}

QString RequestReader::optionalText(const QString &key, int maxSize) const
{
    return m_values.value(key).isNull() ? QString() : text(key, maxSize);
}

bool RequestReader::flag(const QString &key, bool otherwise) const
{
    const QVariant value = m_values.value(key, otherwise);
    require(value.userType() == QMetaType::Bool, QStringLiteral("%1: expected true or false").arg(key));
    return value.toBool();
}

int RequestReader::integer(const QString &key) const
{
    using Limits = std::numeric_limits<int>;
    const QVariant value = m_values.value(key);
    const int type = value.userType();
    require(type == QMetaType::Int || type == QMetaType::UInt || type == QMetaType::LongLong ||
                type == QMetaType::ULongLong,
            QStringLiteral("%1: expected an integer").arg(key));
    bool fits = false;
    const qlonglong wide = value.toLongLong(&fits);
    require(fits && wide >= Limits::min() && wide <= Limits::max(),
            QStringLiteral("%1 does not fit into 32 bits").arg(key));
    return static_cast<int>(wide);
}

} // namespace tarn::services
