#include "services/cloud/Secret.h"
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

Secret::~Secret()
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

QString randomHex(int bytes)
{
    initSodium();
    QByteArray random(bytes, '\0');
    randombytes_buf(random.data(), static_cast<size_t>(bytes));
    return QString::fromLatin1(random.toHex());
}

} // namespace tarn::services
