#pragma once
#include <QString>

namespace tarn::services {

/// This user's processes that run an executable file, also one that was replaced since, whatever
/// their names; a script's is its interpreter, so that scripts are never found. Any thread.
class RunningProgram
{
public:
    /// @param file absolute path without links; an empty one is never running
    explicit RunningProgram(const QString &file);

    bool isRunning() const;
    /// Kills them and waits until they have ended.
    /// @return the error, empty when none is left
    QString end(int timeoutMs) const;

private:
    QByteArray m_file;
};

} // namespace tarn::services
