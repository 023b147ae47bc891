#include "services/cloud/Secret.h"
#include "services/Failure.h"
#include <cerrno>
#include <sodium.h>
#include <utility>

namespace tarn::services {

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
    QByteArray random(bytes, '\0');
    randombytes_buf(random.data(), static_cast<size_t>(bytes));
    return QString::fromLatin1(random.toHex());
}

QSemaphore &hashPlaces()
{
    constexpr int AtATime = 2; // 64 MiB each
    static QSemaphore places(AtATime);
    return places;
}

QByteArray hashPassword(const Secret &password)
{
    QByteArray hash(crypto_pwhash_STRBYTES, '\0');
    if (crypto_pwhash_str(hash.data(), password.chars(), static_cast<unsigned long long>(password.size()),
                          crypto_pwhash_OPSLIMIT_INTERACTIVE, crypto_pwhash_MEMLIMIT_INTERACTIVE) != 0)
        throw Failure(QStringLiteral("not enough memory for the password's hash"));
    return QByteArray(hash.constData());
}

bool isPassword(const QByteArray &hash, const Secret &password)
{
    if (hash.isEmpty()) {
        hashPassword(password); // takes the time and memory of a comparison
        return false;
    }
    errno = 0;
    if (crypto_pwhash_str_verify(hash.constData(), password.chars(),
                                 static_cast<unsigned long long>(password.size())) == 0)
        return true;
    if (errno != EINVAL) // EINVAL: compared, and different
        throw Failure(QStringLiteral("a password cannot be checked, perhaps for want of memory"));
    return false;
}

} // namespace tarn::services
