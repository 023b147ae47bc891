#include "services/FileSwap.h"
#include "services/Files.h"
#include <QFile>
#include <algorithm>
#include <unistd.h>

namespace fs = std::filesystem;

namespace tarn::services {

namespace {

constexpr qint64 MaxJournal = 256 * 1024 * 1024; // bytes

QString toText(const fs::path &path)
{
    return QFile::decodeName(QByteArray::fromStdString(path.string()));
}

bool isThere(const fs::path &path) // also a link to nothing
{
    return fs::symlink_status(path).type() != fs::file_type::not_found;
}

bool isDirectory(const fs::path &path) // and no link to one
{
    return fs::is_directory(fs::symlink_status(path));
}

bool isInside(const fs::path &path, const fs::path &directory)
{
    const fs::path relative = path.lexically_relative(directory);
    return !relative.empty() && *relative.begin() != "..";
}

bool isPlainRelative(const fs::path &path)
{
    return !path.empty() && path.is_relative() && std::find(path.begin(), path.end(), "..") == path.end();
}

} // namespace

const char *const FileSwap::AreaName = ".tarn-upgrade";

FileSwap::FileSwap(const QString &directory)
    : m_directory(QFile::encodeName(directory).toStdString())
    , m_area(m_directory / AreaName)
    , m_new(m_area / "new")
    , m_old(m_area / "old")
    , m_journal(m_area / "journal")
{
}

QString FileSwap::staging() const
{
    return toText(m_new);
}

void FileSwap::replace(const std::function<void()> &stage)
{
    rollBack(); // else the work area may hold files that could not be restored
    const QString error = errorOf([&] {
        fs::create_directories(m_new);
        fs::create_directories(m_old);
        stage();
        swapAll();
    });
    if (error.isEmpty())
        return;
    const QString worse = errorOf([this] { rollBack(); });
    throw Failure(worse.isEmpty() ? error : QStringLiteral("%1; rolling back: %2").arg(error, worse));
}

// A product may have links to its own directories. A staged link below such a link would not lead where its text says.
void FileSwap::checkTarget(const Path &relative, const fs::file_status &staged) const
{
    const fs::path root = fs::canonical(m_directory);
    const fs::path target = m_directory / relative;
    const fs::path parent = fs::weakly_canonical(target.parent_path());
    const bool isDetour = parent != (root / relative).parent_path();
    failIf(isDetour && (!isInside(parent, root) || isInside(parent, root / AreaName) || fs::is_symlink(staged)),
           QStringLiteral("a link in the product's folder leads elsewhere: %1").arg(toText(relative).left(300)));
    failIf(isThere(target) && fs::is_directory(target) != fs::is_directory(staged),
           QStringLiteral("a file here and a directory there: %1").arg(toText(relative).left(300)));
}

// The staged files, and the directories that the product does not have yet. All must have a place inside the product's
// directory.
std::vector<fs::path> FileSwap::plan() const
{
    std::vector<Path> paths;
    for (const fs::directory_entry &entry : fs::recursive_directory_iterator(m_new)) {
        const Path relative = entry.path().lexically_relative(m_new);
        checkTarget(relative, entry.symlink_status());
        if (!isDirectory(entry.path()) || !isThere(m_directory / relative))
            paths.push_back(relative);
    }
    return paths;
}

// The new files are on the disk before the journal, the journal before the first rename, and all renames before the
// journal is removed. The old copies are deleted last. A new directory is made, not renamed: what a program writes into
// it must not come into the work area.
void FileSwap::swapAll() const
{
    const std::vector<Path> paths = plan();
    QByteArray text;
    for (const Path &path : paths)
        text += QByteArray::fromStdString(path.string()) + '\0';
    failIf(text.size() >= MaxJournal, QStringLiteral("the packages have too many files"));
    syncFileSystem(staging());
    writeDurably(toText(m_journal), text + '\0'); // the last zero byte says that it is complete
    for (const Path &path : paths) {
        if (isDirectory(m_new / path)) {
            fs::create_directory(m_directory / path);
            fs::permissions(m_directory / path, fs::status(m_new / path).permissions());
            continue;
        }
        if (isThere(m_directory / path)) {
            fs::create_directories((m_old / path).parent_path());
            fs::rename(m_directory / path, m_old / path);
        }
        fs::rename(m_new / path, m_directory / path);
    }
    syncFileSystem(staging());
    fs::remove(m_journal);
    errorOf([this] { removeArea(); }); // the next replace() removes remaining files
}

void FileSwap::rollBack()
{
    if (isThere(m_journal)) {
        const std::vector<Path> paths = readJournal();
        QString error;
        for (auto path = paths.crbegin(); path != paths.crend(); ++path) {
            const QString failure = errorOf([&] { restore(*path); });
            error = failure.isEmpty() ? error : failure;
        }
        failIf(!error.isEmpty(), error);
        syncFileSystem(toText(m_area));
        fs::remove(m_journal);
    }
    if (isThere(m_area))
        removeArea();
}

// The journal is off the disk before the files that it describes.
void FileSwap::removeArea() const
{
    syncToDisk(toText(m_area));
    fs::remove_all(m_area);
}

// Each step of the swap may have been done or not, and files may have been deleted since; doing this twice changes
// nothing. A new directory stays where it has files: a program wrote them after the swap.
void FileSwap::restore(const Path &path) const
{
    if (isDirectory(m_new / path)) {
        ::rmdir((m_directory / path).c_str());
        return;
    }
    if (!isThere(m_new / path)) {
        if (isThere(m_directory / path))
            fs::rename(m_directory / path, m_new / path);
        else
            fs::create_symlink("deleted", m_new / path); // else the restored old file would be taken for the new one
    }
    if (isThere(m_old / path)) {
        fs::create_directories((m_directory / path).parent_path());
        fs::rename(m_old / path, m_directory / path);
    }
}

// A journal that is not complete or names a path outside is an error.
std::vector<fs::path> FileSwap::readJournal() const
{
    QList<QByteArray> lines;
    const QString error = errorOf([&] { lines = readPrivateFile(toText(m_journal), MaxJournal).split('\0'); });
    failIf(!error.isEmpty(), QStringLiteral("%1: %2").arg(toText(m_journal), error));
    bool isSound = lines.takeLast().isEmpty() && !lines.isEmpty() && lines.takeLast().isEmpty();
    std::vector<Path> paths;
    for (const QByteArray &line : qAsConst(lines)) {
        paths.emplace_back(line.toStdString());
        isSound = isSound && isPlainRelative(paths.back());
    }
    failIf(!isSound, QStringLiteral("%1 is damaged: nothing is changed; the old files are beside it in \"old\"")
                         .arg(toText(m_journal)));
    return paths;
}

} // namespace tarn::services
