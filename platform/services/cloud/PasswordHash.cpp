#include "services/cloud/PasswordHash.h"
#include <QList>
#include <QSemaphore>
#include <sodium.h>

namespace tarn::services {

namespace {

constexpr int AtATime = 2;
constexpr int Turns = 3; // RPC workers are left for other calls

constexpr char Start[] = "$argon2id$v=19$m=65536,t=2,p=1$"; // libsodium's interactive costs
constexpr int Parts = 6;
constexpr int SaltPart = 4;
constexpr int HashPart = 5;
constexpr int HashSize = 32;

QByteArray decoded(const QByteArray &text)
{
    return QByteArray::fromBase64(text, QByteArray::Base64Encoding | QByteArray::OmitTrailingEquals);
}

QSemaphore &places()
{
    static QSemaphore semaphore(AtATime);
    return semaphore;
}

QSemaphore &turns()
{
    static QSemaphore semaphore(Turns);
    return semaphore;
}

} // namespace

HashTurn::HashTurn()
    : m_isGiven(turns().tryAcquire())
{
}

HashTurn::~HashTurn()
{
    if (m_isPlaced)
        places().release();
    if (m_isGiven)
        turns().release();
}

void HashTurn::wait()
{
    if (!m_isPlaced)
        places().acquire();
    m_isPlaced = true;
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

// The library's own comparison calls a lack of memory a mismatch; so it is done here, with the salt out of the text
// "$argon2id$v=19$m=65536,t=2,p=1$SALT$HASH".
PasswordCheck checkPassword(const QByteArray &hash, const Secret &password)
{
    if (hash.isEmpty()) // takes as long as a comparison, and as much memory
        return hashPassword(password).isEmpty() ? PasswordCheck::Failed : PasswordCheck::Differs;
    initSodium();
    const QList<QByteArray> parts = hash.split('$');
    if (parts.size() != Parts || !hash.startsWith(Start))
        return PasswordCheck::Failed;
    const QByteArray salt = decoded(parts.at(SaltPart));
    const QByteArray expected = decoded(parts.at(HashPart));
    if (salt.size() != int{crypto_pwhash_SALTBYTES} || expected.size() != HashSize)
        return PasswordCheck::Failed;
    Secret found(HashSize);
    if (crypto_pwhash(found.data(), HashSize, password.chars(), static_cast<unsigned long long>(password.size()),
                      reinterpret_cast<const unsigned char *>(salt.constData()), crypto_pwhash_OPSLIMIT_INTERACTIVE,
                      crypto_pwhash_MEMLIMIT_INTERACTIVE, crypto_pwhash_ALG_ARGON2ID13) != 0)
        return PasswordCheck::Failed;
    return sodium_memcmp(found.data(), expected.constData(), HashSize) == 0 ? PasswordCheck::Matches
                                                                            : PasswordCheck::Differs;
}

} // namespace tarn::services
