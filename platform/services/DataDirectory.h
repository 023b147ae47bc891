#pragma once
#include <QString>

namespace tarn::services {

/// "$XDG_DATA_HOME/tarn", made if missing, open to this user only.
/// @param error receives the reason when the result is empty: not a directory, a symbolic link, another user's
QString dataDirectory(QString *error);

/// Exclusive use of the data directory by one process, for as long as the object lives. Survives no process: a killed
/// holder leaves nothing behind.
class DataLock
{
public:
    explicit DataLock(const QString &directory);
    ~DataLock();
    DataLock(const DataLock &) = delete;
    DataLock &operator=(const DataLock &) = delete;

    /// Tries without waiting. False with error empty: another process holds it.
    bool tryLock(QString *error);
    qint64 holder() const; ///< process id of the other holder, 0 if there is none

private:
    int m_file = -1;
    QString m_openError;
};

} // namespace tarn::services
