#include "services/FileSwap.h"
#include "services/Files.h"
#include <QFile>
#include <sys/stat.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace tarn::services {

namespace {

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

// Relative to the directory, parents first. A missing directory has no paths.
std::vector<fs::path> pathsIn(const fs::path &directory)
{
    std::vector<fs::path> paths;
    if (!isThere(directory))
        return paths;
    for (const fs::directory_entry &entry : fs::recursive_directory_iterator(directory))
        paths.push_back(entry.path().lexically_relative(directory));
    return paths;
}

bool isSameFile(const fs::path &one, const fs::path &other) // by inode: a symbolic link to the file is another file
{
    struct stat first = {};
    struct stat second = {};
    return ::lstat(one.c_str(), &first) == 0 && ::lstat(other.c_str(), &second) == 0 && first.st_dev == second.st_dev &&
           first.st_ino == second.st_ino;
}

} // namespace

const char *const FileSwap::AreaName = ".tarn-upgrade";

FileSwap::FileSwap(const QString &directory)
    : m_directory(QFile::encodeName(directory).toStdString())
    , m_area(m_directory / AreaName)
    , m_new(m_area / "new")
    , m_old(m_area / "old")
    , m_mark(m_area / "mark")
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
        requireLinks();
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

// Some file systems have no hard links, and would refuse the first one in the middle of the exchange.
void FileSwap::requireLinks() const
{
    const Path probe = m_area / "probe";
    writeDurably(toText(probe), {});
    std::error_code error;
    fs::create_hard_link(probe, m_area / "link", error);
    failIf(bool(error), QStringLiteral("%1 allows no hard links, which an upgrade needs: %2")
                            .arg(toText(m_directory), QString::fromStdString(error.message())));
}

// The new files are on the disk before the mark, the mark before the first change, and all changes before the mark is
// removed. The old copies are deleted last. A new directory is made, not renamed: files that a program writes into it
// must not come into the work area.
void FileSwap::swapAll() const
{
    const std::vector<Path> paths = pathsIn(m_new);
    for (const Path &path : paths) {
        checkTarget(path, fs::symlink_status(m_new / path));
        if (isDirectory(m_new / path) && isThere(m_directory / path))
            fs::create_directories(m_old / path); // tells it from a new directory
    }
    syncFileSystem(staging());
    writeDurably(toText(m_mark), {});
    for (const Path &path : paths) {
        const Path target = m_directory / path;
        if (isDirectory(m_new / path)) {
            if (fs::create_directory(target))
                fs::permissions(target, fs::status(m_new / path).permissions());
            continue;
        }
        if (isThere(target))
            fs::rename(target, m_old / path);
        fs::create_hard_link(m_new / path, target);
    }
    syncFileSystem(staging());
    fs::remove(m_mark);
    errorOf([this] { removeArea(); }); // the next replace() removes remaining files
}

void FileSwap::rollBack()
{
    if (isThere(m_mark)) {
        std::vector<Path> paths = pathsIn(m_new);
        const std::vector<Path> replaced = pathsIn(m_old); // also where a staged file was deleted
        paths.insert(paths.end(), replaced.cbegin(), replaced.cend());
        QString error;
        for (auto path = paths.crbegin(); path != paths.crend(); ++path) {
            const QString failure = errorOf([&] { restore(*path); });
            error = failure.isEmpty() ? error : failure;
        }
        failIf(!error.isEmpty(), error);
        syncFileSystem(toText(m_area));
        fs::remove(m_mark);
    }
    if (isThere(m_area))
        removeArea();
}

// The mark is off the disk before the files that it announces.
void FileSwap::removeArea() const
{
    syncToDisk(toText(m_area));
    fs::remove_all(m_area);
}

// Each step of the swap may have been done or not, and files may have been deleted or replaced since; doing this twice
// changes nothing. A new directory stays where it has files: a program wrote them after the swap.
void FileSwap::restore(const Path &path) const
{
    const Path target = m_directory / path;
    if (isDirectory(m_new / path) || isDirectory(m_old / path)) {
        if (!isThere(m_old / path))
            ::rmdir(target.c_str());
    } else if (isThere(m_old / path)) {
        fs::create_directories(target.parent_path());
        fs::rename(m_old / path, target);
    } else if (isSameFile(target, m_new / path)) {
        fs::remove(target);
    }
}

} // namespace tarn::services
