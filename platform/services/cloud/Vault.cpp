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

unsigned char *bytes(QByteArray &array)
{
    return reinterpret_cast<unsigned char *>(array.data());
}

const unsigned char *bytes(const QByteArray &array)
{
    return reinterpret_cast<const unsigned char *>(array.constData());
}

} // namespace

Vault::Vault(const QString &directory)
{
    initSodium();
    const QString file = directory + QStringLiteral("/cloud.key");
    PrivateFile read = readPrivateFile(file, KeySize);
    if (read.state == PrivateFile::Sound && read.bytes.size() != KeySize)
        read = {PrivateFile::Bad, {}, QStringLiteral("it is no key")};
    if (read.state == PrivateFile::Sound)
        useKey(Secret(std::move(read.bytes)));
    else if (read.state == PrivateFile::Unreadable)
        m_error = read.error; // it may be sound: nothing is sealed with another one
    else if (read.state == PrivateFile::Bad)
        m_error = moveAside(file, read.error + QStringLiteral("; the remembered sign-in is lost"));
    if (m_error.isEmpty() && read.state != PrivateFile::Sound)
        makeKey(file);
    if (!m_error.isEmpty())
        qCCritical(servicesLog).noquote() << QStringLiteral("%1: %2").arg(file, m_error);
}

void Vault::useKey(const Secret &master)
{
    m_sealKey = Secret(int{crypto_secretbox_KEYBYTES});
    crypto_kdf_derive_from_key(m_sealKey.data(), crypto_secretbox_KEYBYTES, 1, KeyContext, master.data());
}

void Vault::makeKey(const QString &file)
{
    Secret master(KeySize);
    crypto_kdf_keygen(master.data());
    m_error = writeDurably(file, QByteArray::fromRawData(master.chars(), master.size()));
    if (m_error.isEmpty())
        useKey(master);
}

QByteArray Vault::seal(const Secret &plain) const
{
    QByteArray sealed(NonceSize + MacSize + plain.size(), '\0');
    unsigned char *nonce = bytes(sealed);
    randombytes_buf(nonce, NonceSize);
    crypto_secretbox_easy(nonce + NonceSize, plain.data(), static_cast<unsigned long long>(plain.size()), nonce,
                          m_sealKey.data());
    return sealed;
}

std::optional<Secret> Vault::open(const QByteArray &sealed) const
{
    if (!m_error.isEmpty() || sealed.size() < NonceSize + MacSize)
        return std::nullopt;
    Secret plain(sealed.size() - NonceSize - MacSize);
    const unsigned char *nonce = bytes(sealed);
    const auto size = static_cast<unsigned long long>(sealed.size() - NonceSize);
    if (crypto_secretbox_open_easy(plain.data(), nonce + NonceSize, size, nonce, m_sealKey.data()) != 0)
        return std::nullopt;
    return plain;
}

} // namespace tarn::services
