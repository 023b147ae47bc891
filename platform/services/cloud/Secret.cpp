#include "services/cloud/Secret.h"
#include <QDateTime>
#include <sodium.h>
#include <stdexcept>
#include <utility>

namespace tarn::services {

void initSodium()
{
    if (sodium_init() < 0)
        throw std::runtime_error("libsodium finds no source of randomness");
}

Secret::Secret(QByteArray bytes)
    : m_bytes(std::move(bytes))
{
}

Secret::Secret(const QString &text)
    : m_bytes(text.toUtf8())
{
}

Secret::Secret(int size)
    : m_bytes(size, '\0')
{
}

Secret::Secret(Secret &&other) noexcept
    : m_bytes(std::exchange(other.m_bytes, {}))
{
}

Secret &Secret::operator=(Secret &&other) noexcept
{
    if (this != &other) {
        wipe();
        m_bytes = std::exchange(other.m_bytes, {});
    }
    return *this;
}

Secret::~Secret()
{
    wipe();
}

const unsigned char *Secret::data() const
{
    return reinterpret_cast<const unsigned char *>(m_bytes.constData());
}

unsigned char *Secret::data()
{
    return reinterpret_cast<unsigned char *>(m_bytes.data());
}

void Secret::wipe()
{
    if (!m_bytes.isEmpty())
        sodium_memzero(m_bytes.data(), static_cast<size_t>(m_bytes.size()));
}

void wipe(QString *text)
{
    if (!text->isEmpty())
        sodium_memzero(text->data(), static_cast<size_t>(text->size()) * sizeof(QChar));
    text->clear();
}

qint64 systemTime()
{
    return QDateTime::currentMSecsSinceEpoch();
}

QString randomHex(int bytes)
{
    initSodium();
    QByteArray random(bytes, '\0');
    randombytes_buf(random.data(), static_cast<size_t>(bytes));
    return QString::fromLatin1(random.toHex());
}

} // namespace tarn::services
