#include "PasswordHash.h"
#include <QSemaphore>
#include <sodium.h>

namespace tarn::services {

namespace {

constexpr int AtATime = 2;

QSemaphore &places()
{
    static QSemaphore semaphore(AtATime);
    return semaphore;
}

} // namespace

QByteArray hashPassword(const Secret &password)
{
    initSodium();
    places().acquire();
    const QSemaphoreReleaser releaser(places());
    QByteArray hash(crypto_pwhash_STRBYTES, '\0');
    const int failed =
        crypto_pwhash_str(hash.data(), password.chars(), static_cast<unsigned long long>(password.size()),
                          crypto_pwhash_OPSLIMIT_INTERACTIVE, crypto_pwhash_MEMLIMIT_INTERACTIVE);
    return failed != 0 ? QByteArray() : QByteArray(hash.constData());
}

bool passwordMatches(const QByteArray &hash, const Secret &password)
{
    if (hash.isEmpty()) {
        hashPassword(password); // takes as long as a comparison
        return false;
    }
    initSodium();
    places().acquire();
    const QSemaphoreReleaser releaser(places());
    return crypto_pwhash_str_verify(hash.constData(), password.chars(),
                                    static_cast<unsigned long long>(password.size())) == 0;
}

} // namespace tarn::services
