#pragma once
#include <QByteArray>
#include <QString>
#include <optional>

namespace tarn::services {

/// Bytes of a secret, overwritten when the object is destroyed. They are never copied, so there is one place to
/// overwrite.
class Secret
{
public:
    Secret() = default;
    explicit Secret(QByteArray bytes) ///< takes the caller's only copy over
        : m_bytes(std::move(bytes))
    {
    }
    explicit Secret(const QString &text) ///< as UTF-8; the text itself stays the caller's
        : m_bytes(text.toUtf8())
    {
    }
    explicit Secret(int size) ///< zeros
        : m_bytes(size, '\0')
    {
    }
    Secret(Secret &&other) noexcept = default;
    Secret &operator=(Secret &&other) noexcept = default; // swaps: the other one overwrites the bytes of this one
    Secret(const Secret &) = delete;
    Secret &operator=(const Secret &) = delete;
    ~Secret();

    bool isEmpty() const { return m_bytes.isEmpty(); }
    int size() const { return m_bytes.size(); }
    const char *chars() const { return m_bytes.constData(); }
    const unsigned char *data() const { return reinterpret_cast<const unsigned char *>(m_bytes.constData()); }
    unsigned char *data() { return reinterpret_cast<unsigned char *>(m_bytes.data()); }
    QString toText() const { return QString::fromUtf8(m_bytes); }

private:
    QByteArray m_bytes;
};

/// Overwrites a text that nothing else shares.
void wipe(QString *text);

/// Random bytes as lower-case hex.
QString randomHex(int bytes);

/// Argon2id with libsodium's interactive costs (64 MiB, tens of milliseconds). Any thread. Throws Failure when there is
/// not enough memory.
/// @return an ASCII text with salt and costs
QByteArray hashPassword(const Secret &password);

/// Whether a password is the hashed one. Throws Failure where it cannot be compared, for want of memory or a bad hash.
/// @param hash a result of hashPassword(); an empty one costs the same time and differs
bool isPassword(const QByteArray &hash, const Secret &password);

/// Keeps secrets unreadable on the disk, with a key in a file beside them ("cloud.key", 0600). It protects a copy of
/// the data alone (a backup of one file), not a copy of both. Any thread after construction.
///
/// A key file that is missing, broken or open to others is replaced (the old one is moved aside); data sealed with
/// the old key are lost then. One that cannot be read is left alone: the functions throw Failure then, until the
/// services start again. The constructor makes libsodium ready for everything here; it throws std::runtime_error when
/// there is no source of randomness.
class Vault
{
public:
    explicit Vault(const QString &directory);

    void requireKey() const;
    QByteArray seal(const Secret &plain) const;
    /// No value when it was sealed with another key, or changed.
    std::optional<Secret> open(const QByteArray &sealed) const;

private:
    void useKeyOf(const QString &file);

    Secret m_key;
    QString m_error;
};

} // namespace tarn::services
