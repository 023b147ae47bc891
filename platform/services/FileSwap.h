#pragma once
#include "services/Failure.h"
#include <filesystem>
#include <functional>
#include <vector>

namespace tarn::services {

/// Replaces files of a product's directory by staged ones, all or none, also when the process or the machine stops in
/// between: the next process rolls back. The work area ".tarn-upgrade" lies in the directory itself, so that files are
/// renamed and linked and never copied. One thread at a time. The functions throw Failure or
/// std::filesystem::filesystem_error.
class FileSwap
{
public:
    /// The name of the work area, which no package may bring at any depth.
    static const char *const AreaName;

    explicit FileSwap(const QString &directory);

    QString staging() const; ///< takes the new files under their paths in the directory
    /// Calls stage() to fill an empty staging area, then replaces the files; everything is as it was when this throws.
    /// First rolls back an interrupted exchange.
    void replace(const std::function<void()> &stage);
    /// Restores the old files and removes the work area. The area is kept when a file could not be restored.
    void rollBack();

private:
    using Path = std::filesystem::path;

    void checkTarget(const Path &relative, const std::filesystem::file_status &staged) const;
    void requireLinks() const;
    void swapAll() const;
    void restore(const Path &relative) const;
    void removeArea() const;

    const Path m_directory;
    const Path m_area;
    const Path m_new;  ///< staged files, which are linked into the directory
    const Path m_old;  ///< replaced files, until they are back, and the directories that were there before
    const Path m_mark; ///< exists while the directory may have new files and old ones
};

} // namespace tarn::services
