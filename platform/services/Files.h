#pragma once
#include "services/Failure.h"
#include <QByteArray>
#include <atomic>

class QFile;
class QSettings;

/// Files that must survive a crash of the machine or keep other users out. Any thread.
namespace tarn::services {

/// Bytes that downloads and installations leave free, so that the databases can always be written.
constexpr qint64 SpaceReserve = 64 * 1024 * 1024;

/// The failure of the last system call on a file: its name and the text of errno.
Failure systemFailure(const QString &file);
QString systemError(); ///< the text of errno

/// Throws Failure when this many more bytes would use up the reserve.
void requireSpace(const QString &directory, qint64 bytes);

void syncToDisk(const QString &path);          ///< one file or directory; throws Failure
void syncFileSystem(const QString &directory); ///< everything on the directory's file system; throws Failure

/// Replaces a file as a whole, readable for its owner alone; the new content and name are on the disk afterwards.
/// Throws Failure.
void writeDurably(const QString &file, const QByteArray &content);

/// Renames a file to "<file>.broken-<time>", with a log line that gives the reason.
/// @return the new name; empty with errno when it could not be renamed
QString moveAside(const QString &file, const QString &reason);

/// Opens a regular file for reading; false with errno for anything else, links included. It never blocks.
bool openRegular(const QString &name, QFile *file);

struct WrongChecksum : Failure
{
    using Failure::Failure;
};

/// Reads an open package from its start to its end. Throws WrongChecksum unless it has this SHA-256 (hex), and Failure
/// when it cannot be read or stopping is set.
void requireChecksum(QFile *file, const QString &sha256, const std::atomic<bool> &stopping);

/// "$XDG_DATA_HOME/tarn", made if missing, open to this user only. Throws Failure when it cannot be made, is no
/// directory (a symbolic link neither) or another user's.
QString dataDirectory();

/// "cfg.ini" in a directory; the name of no file where it is missing, or something that would block its reader.
QString settingsFile(const QString &directory);
/// A text of an INI file, which QSettings splits at its commas; without double quotes, the spaces after them are lost.
QString iniText(const QSettings &settings, const QString &key);

/// A file that is no regular file, too large, another user's or open to other users.
struct BadFile : Failure
{
    using Failure::Failure;
};

/// The content of a file that only this user may read; null when there is none. Throws BadFile, or another Failure
/// where the file may be sound and must be left as it is.
QByteArray readPrivateFile(const QString &file, qint64 maxSize);

} // namespace tarn::services
