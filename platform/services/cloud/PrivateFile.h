#pragma once
#include <QByteArray>
#include <QString>

/// Files of this user's own that nobody else may read.
namespace tarn::services {

struct PrivateFile
{
    /// Bad: not ours alone, no file at all or too large. Unreadable: it may be sound, and must be left as it is.
    enum State { Sound, Absent, Bad, Unreadable };
    State state = Unreadable;
    QByteArray bytes; ///< Sound
    QString error;    ///< Bad, Unreadable
};

PrivateFile readPrivateFile(const QString &file, qint64 maxSize);

/// Renames it to "<file>.broken-<time>", with a log line that gives the reason.
/// @return what went wrong, empty when all is well
QString moveAside(const QString &file, const QString &reason);

/// A file that appears whole, and stays when the machine stops right afterwards; there must be none of that name.
/// @return likewise
QString writeNewPrivateFile(const QString &file, const char *bytes, int size);

} // namespace tarn::services
