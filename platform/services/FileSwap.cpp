#include "services/FileSwap.h"
#include "services/Files.h"
#include <QFile>
#include <algorithm>
#include <unistd.h>

namespace fs = std::filesystem;

namespace tarn::services {

namespace {

constexpr qint64 MaxJournal = 256 * 1024 * 1024; // bytes

QString shown(const fs::path &path)
{
    return QString::fromStdString(path.string()).left(300);
}

QString toText(const fs::path &path)
{
    return QFile::decodeName(QByteArray::fromStdString(path.string()));
}

bool isThere(const fs::path &path) // also a link to nothing
{
    return fs::symlink_status(path).type() != fs::file_type::not_found;
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

bool hasFiles(const fs::path &directory)
{
    if (!isThere(directory))
        return false;
    const fs::recursive_directory_iterator all(directory);
    return std::any_of(begin(all), end(all),
                       [](const fs::directory_entry &entry) { return !fs::is_directory(entry.symlink_status()); });
}

} // namespace

const char *const FileSwap::AreaName = ".tarn-upgrade";

FileSwap::FileSwap(const QString &directory)
    : m_directory(QFile::encodeName(directory).toStdString())
    , m_area(m_directory / AreaName)
{
}

QString FileSwap::staging() const
{
    return toText(m_area / "new");
}

QString FileSwap::journalFile() const
{
    return toText(m_area / "journal");
}

void FileSwap::prepare()
{
    rollBack();
    fs::create_directories(m_area / "new");
    fs::create_directories(m_area / "old");
}

void FileSwap::checkStaged() const
{
    const fs::path root = m_area / "new";
    for (const fs::directory_entry &entry : fs::recursive_directory_iterator(root))
        checkTarget(entry.path().lexically_relative(root), entry.symlink_status());
}

// A product may have links to its own directories. A staged link below such a link would not lead where its text says.
void FileSwap::checkTarget(const Path &relative, const fs::file_status &staged) const
{
    const fs::path root = fs::canonical(m_directory);
    const fs::path target = m_directory / relative;
    const fs::path parent = fs::weakly_canonical(target.parent_path());
    const bool isDetour = parent != (root / relative).parent_path();
    if (isDetour && (!isInside(parent, root) || isInside(parent, root / AreaName) || fs::is_symlink(staged)))
        throw Failure(QStringLiteral("a link in the product's folder leads elsewhere: %1").arg(shown(relative)));
    if (isThere(target) && fs::is_directory(target) != fs::is_directory(staged))
        throw Failure(QStringLiteral("a file here and a directory there: %1").arg(shown(relative)));
}

std::vector<FileSwap::Entry> FileSwap::plan() const
{
    std::vector<Entry> entries;
    const fs::path root = m_area / "new";
    for (const fs::directory_entry &entry : fs::recursive_directory_iterator(root)) {
        const fs::path relative = entry.path().lexically_relative(root);
        const bool isDirectory = fs::is_directory(entry.symlink_status());
        const bool there = isThere(m_directory / relative);
        if (isDirectory && there)
            continue;
        entries.push_back({isDirectory ? 'D' : there ? 'R' : 'N', relative.string()});
    }
    return entries;
}

void FileSwap::apply()
{
    const QString error = errorOf([this] { swapAll(plan()); });
    if (!error.isEmpty())
        giveUp(error);
}

// The new files are on the disk before the journal, the journal before the first rename, and all renames before the
// journal is removed. The old copies are deleted last.
void FileSwap::swapAll(const std::vector<Entry> &entries) const
{
    syncFileSystem(staging());
    writeJournal(entries);
    for (const Entry &entry : entries)
        swap(entry);
    syncFileSystem(staging());
    fs::remove(m_area / "journal");
    errorOf([this] { // prepare() removes remaining files before the next swap
        syncToDisk(toText(m_area));
        fs::remove_all(m_area);
    });
}

void FileSwap::swap(const Entry &entry) const
{
    const fs::path target = m_directory / entry.path;
    if (entry.kind == 'D') {
        fs::create_directory(target);
        fs::permissions(target, fs::status(m_area / "new" / entry.path).permissions());
        return;
    }
    if (entry.kind == 'R') {
        const fs::path kept = m_area / "old" / entry.path;
        fs::create_directories(kept.parent_path());
        fs::rename(target, kept);
    }
    fs::rename(m_area / "new" / entry.path, target);
}

void FileSwap::rollBack()
{
    if (!isThere(m_area))
        return;
    const bool wasSwapping = isThere(m_area / "journal");
    const std::vector<Entry> entries = readJournal();
    std::for_each(entries.crbegin(), entries.crend(), [this](const Entry &entry) { undo(entry); });
    if (wasSwapping && hasFiles(m_area / "old"))
        throw Failure(
            QStringLiteral("%1 still holds old files that could not be restored").arg(toText(m_area / "old")));
    if (wasSwapping)
        syncFileSystem(toText(m_area));
    fs::remove_all(m_area);
}

void FileSwap::giveUp(const QString &error)
{
    const QString worse = errorOf([this] { rollBack(); });
    throw Failure(worse.isEmpty() ? error : QStringLiteral("%1; rolling back: %2").arg(error, worse));
}

// Each step may have been done or not; doing it twice changes nothing.
void FileSwap::undo(const Entry &entry) const
{
    const fs::path target = m_directory / entry.path;
    if (entry.kind == 'R') {
        if (isThere(m_area / "old" / entry.path))
            fs::rename(m_area / "old" / entry.path, target);
    } else if (entry.kind == 'N') {
        if (!isThere(m_area / "new" / entry.path))
            fs::remove(target);
    } else if (isThere(target) && fs::is_empty(target)) {
        fs::remove(target);
    }
}

// Kind, path and a zero byte for each entry; at the end 'E' and the number of entries.
void FileSwap::writeJournal(const std::vector<Entry> &entries) const
{
    QByteArray text;
    for (const Entry &entry : entries)
        text += entry.kind + QByteArray::fromStdString(entry.path) + '\0';
    writeDurably(journalFile(), text + 'E' + QByteArray::number(static_cast<int>(entries.size())) + '\0');
    readJournal();
}

// Nothing when there is no journal. A journal that is not complete or names a path outside is an error.
std::vector<FileSwap::Entry> FileSwap::readJournal() const
{
    std::vector<Entry> entries;
    if (!isThere(m_area / "journal"))
        return entries;
    QList<QByteArray> lines;
    const QString error = errorOf([&] { lines = readPrivateFile(journalFile(), MaxJournal).split('\0'); });
    if (!error.isEmpty())
        throw Failure(QStringLiteral("%1: %2").arg(journalFile(), error));
    const bool isClosed = lines.takeLast().isEmpty() && !lines.isEmpty();
    const QByteArray end = isClosed ? lines.takeLast() : QByteArray();
    bool isSound = isClosed && end == 'E' + QByteArray::number(lines.size());
    for (const QByteArray &line : qAsConst(lines)) {
        const Entry entry{line.isEmpty() ? '\0' : line.at(0), line.mid(1).toStdString()};
        isSound = isSound && QByteArray("RND").contains(entry.kind) && isPlainRelative(entry.path);
        entries.push_back(entry);
    }
    if (!isSound)
        throw Failure(QStringLiteral("%1 is damaged: nothing is changed; the old files are beside it in \"old\"")
                          .arg(journalFile()));
    return entries;
}

} // namespace tarn::services
