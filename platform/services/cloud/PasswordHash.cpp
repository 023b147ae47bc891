#include "services/cloud/PasswordHash.h"
#include <cerrno>
#include <sodium.h>

namespace tarn::services {

QSemaphore &hashPlaces()
{
    constexpr int AtATime = 2; // 64 MiB each
    static QSemaphore places(AtATime);
    return places;
}

QByteArray hashPassword(const Secret &password)
{
    initSodium();
    QByteArray hash(crypto_pwhash_STRBYTES, '\0');
    const int failed =
        crypto_pwhash_str(hash.data(), password.chars(), static_cast<unsigned long long>(password.size()),
                          crypto_pwhash_OPSLIMIT_INTERACTIVE, crypto_pwhash_MEMLIMIT_INTERACTIVE);
    return failed != 0 ? QByteArray() : QByteArray(hash.constData());
}

PasswordCheck checkPassword(const QByteArray &hash, const Secret &password)
{
    if (hash.isEmpty()) // takes the time and memory of a comparison
        return hashPassword(password).isEmpty() ? PasswordCheck::Failed : PasswordCheck::Differs;
    initSodium();
    errno = 0;
    if (crypto_pwhash_str_verify(hash.constData(), password.chars(),
                                 static_cast<unsigned long long>(password.size())) == 0)
        return PasswordCheck::Matches;
    return errno == EINVAL ? PasswordCheck::Differs : PasswordCheck::Failed; // EINVAL: compared, and different
}

} // namespace tarn::services
