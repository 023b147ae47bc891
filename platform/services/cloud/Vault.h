#pragma once
#include "services/cloud/Secret.h"
#include <optional>

namespace tarn::services {

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
    void useKey(const Secret &master);

    Secret m_sealKey;
    QString m_error;
};

} // namespace tarn::services
