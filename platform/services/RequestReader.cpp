#include "services/RequestReader.h"
#include <limits>

namespace tarn::services {

namespace {

bool isInteger(const QVariant &value)
{
    switch (value.userType()) {
    case QMetaType::Int:
    case QMetaType::UInt:
    case QMetaType::LongLong:
    case QMetaType::ULongLong:
        return true;
    default:
        return false;
    }
}

} // namespace

void RequestReader::fail(const QString &error)
{
    if (m_error.isEmpty())
        m_error = error;
}

QString RequestReader::text(const QString &key, int maxSize)
{
    const QVariant value = m_values.value(key);
    if (!value.isValid())
        fail(QStringLiteral("%1 is missing").arg(key));
    else if (value.userType() != QMetaType::QString)
        fail(QStringLiteral("%1: expected a string").arg(key));
    else if (value.toString().size() > maxSize)
        fail(QStringLiteral("%1 is longer than %2 characters").arg(key, QString::number(maxSize)));
    else
        return value.toString();
    return {};
}

QString RequestReader::name(const QString &key)
{
    const QString text = this->text(key, MaxName);
    if (text.isEmpty())
        fail(QStringLiteral("%1: expected 1 to %2 characters").arg(key, QString::number(MaxName)));
    return text;
}

QString RequestReader::optionalText(const QString &key, int maxSize)
{
    return m_values.value(key).isNull() ? QString() : text(key, maxSize);
}

bool RequestReader::flag(const QString &key, bool otherwise)
{
    const QVariant value = m_values.value(key, otherwise);
    if (value.userType() != QMetaType::Bool)
        fail(QStringLiteral("%1: expected true or false").arg(key));
    return value.userType() == QMetaType::Bool ? value.toBool() : otherwise;
}

int RequestReader::integer(const QString &key)
{
    const QVariant value = m_values.value(key);
    if (!isInteger(value)) {
        fail(QStringLiteral("%1: expected an integer").arg(key));
        return 0;
    }
    bool fits = false;
    const qlonglong wide = value.toLongLong(&fits);
    if (fits && wide >= std::numeric_limits<int>::min() && wide <= std::numeric_limits<int>::max())
        return static_cast<int>(wide);
    fail(QStringLiteral("%1 does not fit into 32 bits").arg(key));
    return 0;
}

} // namespace tarn::services
