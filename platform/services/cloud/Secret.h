#pragma once
#include <QByteArray>
#include <QString>

namespace tarn::services {

/// Makes libsodium ready; any number of calls, any thread. Throws std::runtime_error when there is no source of
/// randomness.
void initSodium();

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

} // namespace tarn::services
