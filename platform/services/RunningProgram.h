#pragma once
#include <QString>

namespace tarn::services {

/// The processes of the own user that run a certain executable file, or what it was before it was replaced, whatever
/// their names; a script's is its interpreter, so that scripts are never found. Any thread.
class RunningProgram
{
public:
    /// @param file absolute path without links; an empty one is never running
    explicit RunningProgram(const QString &file);

    bool isRunning() const;
    /// Kills them and waits until they have gone.
    /// @return what went wrong, empty when none is left
    QString end(int timeoutMs) const;

private:
    QByteArray m_file;
};

} // namespace tarn::services
