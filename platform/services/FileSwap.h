#pragma once
#include <QByteArray>
#include <QString>
#include <QVector>
#include <filesystem>

namespace tarn::services {

/// Replaces files of a directory by staged ones, all or none: also when the process dies in between, as the next one
/// rolls back what a journal tells it. The work area is ".tarn-upgrade" in the directory itself, so that files are only
/// renamed. The functions return what went wrong, empty when all is well.
class FileSwap
{
public:
    explicit FileSwap(const QString &directory);

    QString staging() const; ///< files go here under their paths in the directory
    QString prepare();       ///< makes an empty work area; rolls back first what was interrupted
    /// Whether what is staged can be taken: files, directories and links that stay inside.
    QString checkStaged() const;
    QString apply(); ///< an error has been rolled back
    QString rollBack();
    void discard(); ///< removes the work area

private:
    struct Entry
    {
        char kind = 0; ///< 'R' replaced, 'N' new file, 'D' new directory
        std::string path;
    };
    using Path = std::filesystem::path;

    QVector<Entry> plan() const;
    QString checkTarget(const Path &relative, bool isDirectory) const;
    void writeJournal(const QVector<Entry> &entries) const;
    QVector<Entry> readJournal() const;
    void swap(const Entry &entry) const;
    void undo(const Entry &entry) const;

    const Path m_directory;
    const Path m_area;
};

} // namespace tarn::services
