#include "Vault.h"
#include "../Log.h"
#include <QFile>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sodium.h>
#include <sys/stat.h>
#include <unistd.h>

namespace tarn::services {

namespace {

constexpr int KeySize = crypto_kdf_KEYBYTES;
constexpr int NonceSize = crypto_secretbox_NONCEBYTES;
constexpr int MacSize = crypto_secretbox_MACBYTES;
constexpr char KeyContext[crypto_kdf_CONTEXTBYTES + 1] = "tarnvalt";

QString systemError()
{
    return QString::fromLocal8Bit(std::strerror(errno));
}

unsigned char *bytes(QByteArray &array)
{
    return reinterpret_cast<unsigned char *>(array.data());
}

const unsigned char *bytes(const QByteArray &array)
{
    return reinterpret_cast<const unsigned char *>(array.constData());
}

Secret derive(const Secret &master, quint64 number, int size)
{
    Secret key(size);
    crypto_kdf_derive_from_key(key.data(), static_cast<size_t>(size), number, KeyContext, master.data());
    return key;
}

QString checkFile(int descriptor)
{
    struct stat info = {};
    if (::fstat(descriptor, &info) != 0)
        return systemError();
    if (!S_ISREG(info.st_mode))
        return QStringLiteral("it is no file");
    if (info.st_uid != ::geteuid())
        return QStringLiteral("it belongs to another user");
    return (info.st_mode & 077) != 0 ? QStringLiteral("it is open to other users") : QString();
}

} // namespace

std::optional<QByteArray> readPrivateFile(const QString &file, qint64 maxSize, QString *error)
{
    error->clear();
    const int descriptor = ::open(QFile::encodeName(file).constData(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
    if (descriptor < 0) {
        if (errno != ENOENT)
            *error = systemError();
        return std::nullopt;
    }
    QFile opened;
    if (!opened.open(descriptor, QIODevice::ReadOnly, QFileDevice::AutoCloseHandle)) {
        ::close(descriptor);
        *error = opened.errorString();
        return std::nullopt;
    }
    *error = checkFile(descriptor);
    if (error->isEmpty() && opened.size() > maxSize)
        *error = QStringLiteral("it is too large");
    if (!error->isEmpty())
        return std::nullopt;
    return opened.read(maxSize);
}

Vault::Vault(const QString &directory)
{
    initSodium();
    const QString file = directory + QStringLiteral("/cloud.key");
    if (!readKey(file))
        makeKey(file);
    if (!m_error.isEmpty())
        qCCritical(servicesLog).noquote() << QStringLiteral("%1: %2").arg(file, m_error);
}

bool Vault::readKey(const QString &file)
{
    QString error;
    const auto read = readPrivateFile(file, KeySize + 1, &error);
    if (read && read->size() == KeySize) {
        const Secret master(*read);
        m_sealKey = derive(master, 1, crypto_secretbox_KEYBYTES);
        m_hashKey = derive(master, 2, crypto_generichash_KEYBYTES);
        return true;
    }
    if (read)
        error = QStringLiteral("it is no key");
    if (!error.isEmpty())
        qCWarning(servicesLog).noquote()
            << QStringLiteral("%1 is replaced: %2; what was remembered is lost").arg(file, error);
    return false;
}

void Vault::makeKey(const QString &file)
{
    const QByteArray name = QFile::encodeName(file);
    if (::unlink(name.constData()) != 0 && errno != ENOENT) {
        m_error = systemError();
        return;
    }
    const int descriptor = ::open(name.constData(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600);
    if (descriptor < 0) {
        m_error = systemError();
        return;
    }
    Secret master(KeySize);
    crypto_kdf_keygen(master.data());
    const bool written = ::write(descriptor, master.data(), KeySize) == KeySize && ::fsync(descriptor) == 0;
    if (!written)
        m_error = systemError();
    ::close(descriptor);
    m_sealKey = derive(master, 1, crypto_secretbox_KEYBYTES);
    m_hashKey = derive(master, 2, crypto_generichash_KEYBYTES);
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

QByteArray Vault::fingerprint(const Secret &secret, const QString &context) const
{
    QByteArray hash(crypto_generichash_BYTES, '\0');
    const QByteArray salt = context.toUtf8() + '\0';
    crypto_generichash_state state;
    crypto_generichash_init(&state, m_hashKey.data(), crypto_generichash_KEYBYTES, crypto_generichash_BYTES);
    crypto_generichash_update(&state, bytes(salt), static_cast<unsigned long long>(salt.size()));
    crypto_generichash_update(&state, secret.data(), static_cast<unsigned long long>(secret.size()));
    crypto_generichash_final(&state, bytes(hash), crypto_generichash_BYTES);
    return hash;
}

} // namespace tarn::services
