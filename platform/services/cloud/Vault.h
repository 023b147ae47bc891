#pragma once
#include "Secret.h"
#include <QByteArray>
#include <QString>
#include <optional>

namespace tarn::services {

/// Keeps secrets unreadable on the disk, with a key in a file beside them ("cloud.key", 0600). It guards a copy of the
/// data alone (a backup, a disk image of one file), not against whoever can read both. Any thread after construction.
///
/// A key file that is missing, broken or open to others is replaced; what was sealed with the old key is lost then.
class Vault
{
public:
    explicit Vault(const QString &directory);

    /// Why nothing can be sealed, empty when all is well.
    QString error() const { return m_error; }
    QByteArray seal(const Secret &plain) const; ///< only without error()
    /// Nothing when it was sealed by another vault, or changed.
    std::optional<Secret> open(const QByteArray &sealed) const;
    /// A keyed hash, for short secrets that anybody could try out otherwise.
    QByteArray fingerprint(const Secret &secret, const QString &context) const;

private:
    bool readKey(const QString &file);
    void makeKey(const QString &file);

    Secret m_sealKey;
    Secret m_hashKey;
    QString m_error;
};

/// Reads a file of this user's own that nobody else may read.
/// @param error receives the reason when there is no result; empty when there is no such file
std::optional<QByteArray> readPrivateFile(const QString &file, qint64 maxSize, QString *error);

} // namespace tarn::services
