#pragma once
#include "services/Failure.h"

namespace tarn::services {

/// "$XDG_DATA_HOME/tarn", made if missing, open to this user only. Throws Failure when it cannot be made, is no
/// directory (a symbolic link neither) or another user's.
QString dataDirectory();

/// Exclusive use of the data directory by one process, for as long as the object lives. A killed holder leaves nothing
/// behind.
class DataLock
{
public:
    explicit DataLock(const QString &directory);
    ~DataLock();
    DataLock(const DataLock &) = delete;
    DataLock &operator=(const DataLock &) = delete;

    /// Tries without waiting; throws Failure when the directory cannot be locked at all.
    /// @return false when another process holds it
    bool tryLock();
    qint64 holder() const; ///< process id of the other holder, 0 if there is none

private:
    const QString m_name;
    int m_file = -1;
};

} // namespace tarn::services
