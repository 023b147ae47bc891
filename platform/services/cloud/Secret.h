#pragma once
#include <QByteArray>
#include <QSemaphore>
#include <QString>

namespace tarn::services {

/// Bytes of a secret, overwritten when the object is destroyed. They are never copied, so there is one place to overwrite.
class Secret
{
public:
    Secret() = default;
    explicit Secret(QByteArray bytes);   ///< takes the caller's only copy over
    explicit Secret(const QString &text) ///< as UTF-8; the text itself stays the caller's
        : m_bytes(text.toUtf8())
    {
    }
    explicit Secret(int size) ///< zeros
        : m_bytes(size, '\0')
    {
    }
    Secret(Secret &&other) noexcept { m_bytes.swap(other.m_bytes); }
    Secret &operator=(Secret &&other) noexcept
    {
        m_bytes.swap(other.m_bytes); // the other one overwrites the bytes of this one
        return *this;
    }
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

/// The places for hashing, which takes much memory and time. A caller for others takes one without waiting, so that
/// many sign-ins at once do not occupy every RPC worker.
QSemaphore &hashPlaces();

/// Argon2id with libsodium's interactive costs (64 MiB, tens of milliseconds). Any thread. Throws Failure when there is
/// not enough memory.
/// @return an ASCII text with salt and costs
QByteArray hashPassword(const Secret &password);

/// Whether a password is the hashed one. Throws Failure where it cannot be compared, for want of memory or a bad hash.
/// @param hash a result of hashPassword(); an empty one costs the same time and differs
bool isPassword(const QByteArray &hash, const Secret &password);

} // namespace tarn::services
