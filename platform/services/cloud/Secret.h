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
    explicit Secret(QByteArray bytes);    ///< takes the caller's only copy over
    explicit Secret(const QString &text); ///< as UTF-8; the text itself stays the caller's
    explicit Secret(int size);            ///< zeros
    Secret(Secret &&other) noexcept;
    Secret &operator=(Secret &&other) noexcept;
    Secret(const Secret &) = delete;
    Secret &operator=(const Secret &) = delete;
    ~Secret();

    bool isEmpty() const { return m_bytes.isEmpty(); }
    int size() const { return m_bytes.size(); }
    const char *chars() const { return m_bytes.constData(); }
    const unsigned char *data() const;
    unsigned char *data();
    QString toText() const { return QString::fromUtf8(m_bytes); }

private:
    void wipe();

    QByteArray m_bytes;
};

/// Overwrites a text that nothing else shares.
void wipe(QString *text);

/// Milliseconds since 1970, or whatever a test counts.
qint64 systemTime();

/// Random bytes as lower-case hex.
QString randomHex(int bytes);

} // namespace tarn::services
