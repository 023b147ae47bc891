#include "services/cloud/Vault.h"
#include "services/Files.h"
#include "services/Log.h"
#include <sodium.h>

namespace tarn::services {

namespace {

constexpr int KeySize = crypto_kdf_KEYBYTES;
constexpr int NonceSize = crypto_secretbox_NONCEBYTES;
constexpr int MacSize = crypto_secretbox_MACBYTES;
constexpr char KeyContext[crypto_kdf_CONTEXTBYTES + 1] = "tarnvalt";

} // namespace

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
    QByteArray bytes;
    QString fault;
    try {
        bytes = readPrivateFile(file, KeySize);
        if (bytes.size() == KeySize)
            return useKey(Secret(std::move(bytes)));
        fault = bytes.isNull() ? QString() : QStringLiteral("it is no key");
    } catch (const BadFile &bad) { // one that cannot be read now may be sound: nothing is sealed with another key
        fault = bad.text();
    }
    if (!fault.isEmpty() && moveAside(file, fault + QStringLiteral("; the remembered sign-in is lost")).isEmpty())
        throw Failure(systemError());
    Secret master(KeySize);
    crypto_kdf_keygen(master.data());
    writeDurably(file, QByteArray::fromRawData(master.chars(), master.size()));
    useKey(master);
}

void Vault::useKey(const Secret &master)
{
    m_sealKey = Secret(int{crypto_secretbox_KEYBYTES});
    crypto_kdf_derive_from_key(m_sealKey.data(), crypto_secretbox_KEYBYTES, 1, KeyContext, master.data());
}

void Vault::requireKey() const
{
    if (!m_error.isEmpty())
        throw Failure(m_error);
}

QByteArray Vault::seal(const Secret &plain) const
{
    requireKey();
    QByteArray sealed(NonceSize + MacSize + plain.size(), '\0');
    auto *const nonce = reinterpret_cast<unsigned char *>(sealed.data());
    randombytes_buf(nonce, NonceSize);
    crypto_secretbox_easy(nonce + NonceSize, plain.data(), static_cast<unsigned long long>(plain.size()), nonce,
                          m_sealKey.data());
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
    if (crypto_secretbox_open_easy(plain.data(), nonce + NonceSize, size, nonce, m_sealKey.data()) != 0)
        return std::nullopt;
    return plain;
}

} // namespace tarn::services
