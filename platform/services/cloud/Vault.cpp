#include "services/cloud/Vault.h"
#include "services/Files.h"
#include <cerrno>
#include <sodium.h>

namespace tarn::services {

namespace {

constexpr int KeySize = crypto_secretbox_KEYBYTES;
constexpr int NonceSize = crypto_secretbox_NONCEBYTES;
constexpr int MacSize = crypto_secretbox_MACBYTES;

} // namespace

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

Vault::Vault(const QString &directory)
{
    if (sodium_init() < 0)
        throw std::runtime_error("libsodium finds no source of randomness");
    const QString file = directory + QStringLiteral("/cloud.key");
    m_error = errorOf([&] { useKeyOf(file); });
    if (!m_error.isEmpty())
        qCCritical(servicesLog).noquote() << QStringLiteral("%1: %2").arg(file, m_error);
}

void Vault::useKeyOf(const QString &file)
{
    QString fault;
    try {
        QByteArray bytes = readPrivateFile(file, KeySize);
        fault = bytes.isNull() || bytes.size() == KeySize ? QString() : QStringLiteral("it is no key");
        m_key = Secret(std::move(bytes));
        if (m_key.size() == KeySize)
            return;
    } catch (const BadFile &bad) { // after another failure the key may be sound: nothing is sealed with a new one
        fault = bad.text();
    }
    if (!fault.isEmpty() && moveAside(file, fault + QStringLiteral("; the remembered sign-in is lost")).isEmpty())
        throw Failure(systemError());
    m_key = Secret(KeySize);
    crypto_secretbox_keygen(m_key.data());
    writeDurably(file, QByteArray::fromRawData(m_key.chars(), KeySize));
}

void Vault::requireKey() const
{
    failIf(!m_error.isEmpty(), m_error);
}

QByteArray Vault::seal(const Secret &plain) const
{
    requireKey();
    QByteArray sealed(NonceSize + MacSize + plain.size(), '\0');
    auto *const nonce = reinterpret_cast<unsigned char *>(sealed.data());
    randombytes_buf(nonce, NonceSize);
    crypto_secretbox_easy(nonce + NonceSize, plain.data(), static_cast<unsigned long long>(plain.size()), nonce,
                          m_key.data());
    return sealed;
}

std::optional<Secret> Vault::open(const QByteArray &sealed) const
{
    requireKey();
    if (sealed.size() < NonceSize + MacSize)
        return std::nullopt;
    Secret plain(sealed.size() - NonceSize - MacSize);
    const auto *const nonce = reinterpret_cast<const unsigned char *>(sealed.constData());
    const auto size = static_cast<unsigned long long>(sealed.size() - NonceSize);
    if (crypto_secretbox_open_easy(plain.data(), nonce + NonceSize, size, nonce, m_key.data()) != 0)
        return std::nullopt;
    return plain;
}

} // namespace tarn::services
