#include "services/FileSwap.h"
#include <QFile>
#include <QSaveFile>
#include <sys/stat.h>

namespace fs = std::filesystem;

namespace tarn::services {

namespace {

QString shown(const fs::path &path)
{
    return QString::fromStdString(path.string()).left(300);
}

bool isThere(const fs::path &path) // also a link that leads nowhere
{
    return fs::symlink_status(path).type() != fs::file_type::not_found;
}

bool isInside(const fs::path &path, const fs::path &directory)
{
    const fs::path relative = path.lexically_relative(directory);
    return !relative.empty() && *relative.begin() != "..";
}

// Runs work, whose failures are exceptions of the file system.
template <class Work>
QString guarded(Work work)
{
    try {
        return work();
    } catch (const fs::filesystem_error &failure) {
        return QString::fromLocal8Bit(failure.what()).left(500);
    }
}

} // namespace

FileSwap::FileSwap(const QString &directory)
    : m_directory(QFile::encodeName(directory).toStdString())
    , m_area(m_directory / ".tarn-upgrade")
{
}

QString FileSwap::staging() const
{
    return QFile::decodeName(QByteArray::fromStdString((m_area / "new").string()));
}

QString FileSwap::prepare()
{
    const QString error = rollBack();
    if (!error.isEmpty())
        return error;
    return guarded([this] {
        fs::create_directories(m_area / "new");
        fs::create_directories(m_area / "old");
        return QString();
    });
}

QString FileSwap::checkStaged() const
{
    return guarded([this]() -> QString {
        const fs::path root = m_area / "new";
        for (const fs::directory_entry &entry : fs::recursive_directory_iterator(root)) {
            const fs::path relative = entry.path().lexically_relative(root);
            const fs::file_status status = entry.symlink_status();
            if (fs::is_symlink(status)) {
                const fs::path target = (relative.parent_path() / fs::read_symlink(entry.path())).lexically_normal();
                if (target.is_absolute() || (!target.empty() && *target.begin() == ".."))
                    return QStringLiteral("a link leads out of the product's folder: %1").arg(shown(relative));
            } else if (fs::is_regular_file(status) || fs::is_directory(status)) {
                const auto ours = fs::perms::owner_all | fs::perms::group_read | fs::perms::group_exec |
                                  fs::perms::others_read | fs::perms::others_exec;
                fs::permissions(entry.path(), (status.permissions() & ours) | fs::perms::owner_write);
            } else {
                return QStringLiteral("neither a file nor a directory: %1").arg(shown(relative));
            }
            const QString error = checkTarget(relative, fs::is_directory(status));
            if (!error.isEmpty())
                return error;
        }
        return {};
    });
}

// The product's folder may have links of its own.
QString FileSwap::checkTarget(const Path &relative, bool isDirectory) const
{
    if (*relative.begin() == ".tarn-upgrade")
        return QStringLiteral("the name is reserved: %1").arg(shown(relative));
    const fs::path target = m_directory / relative;
    const fs::path parent = fs::weakly_canonical(target.parent_path());
    if (parent != fs::canonical(m_directory) && !isInside(parent, fs::canonical(m_directory)))
        return QStringLiteral("a link in the product's folder leads elsewhere: %1").arg(shown(relative));
    if (isThere(target) && fs::is_directory(target) != isDirectory)
        return QStringLiteral("a file here and a directory there: %1").arg(shown(relative));
    return {};
}

QVector<FileSwap::Entry> FileSwap::plan() const
{
    QVector<Entry> entries;
    const fs::path root = m_area / "new";
    for (const fs::directory_entry &entry : fs::recursive_directory_iterator(root)) {
        const fs::path relative = entry.path().lexically_relative(root);
        const bool isDirectory = entry.is_directory() && !entry.is_symlink();
        const bool there = isThere(m_directory / relative);
        if (isDirectory && there)
            continue;
        entries.append({isDirectory ? 'D' : there ? 'R' : 'N', relative.string()});
    }
    return entries;
}

QString FileSwap::apply()
{
    const QString error = guarded([this] {
        const QVector<Entry> entries = plan();
        writeJournal(entries);
        for (const Entry &entry : entries)
            swap(entry);
        fs::remove(m_area / "journal"); // from here on it is done
        return QString();
    });
    if (error.isEmpty()) {
        discard();
        return error;
    }
    const QString worse = rollBack();
    return worse.isEmpty() ? error : QStringLiteral("%1; rolling back: %2").arg(error, worse);
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

QString FileSwap::rollBack()
{
    return guarded([this] {
        const QVector<Entry> entries = readJournal();
        for (auto entry = entries.crbegin(); entry != entries.crend(); ++entry)
            undo(*entry);
        fs::remove_all(m_area);
        return QString();
    });
}

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

void FileSwap::discard()
{
    std::error_code ignored;
    fs::remove_all(m_area, ignored);
}

// On the disk before the first file is touched: kind, path and a zero byte for each entry.
void FileSwap::writeJournal(const QVector<Entry> &entries) const
{
    QByteArray text;
    for (const Entry &entry : entries)
        text += entry.kind + QByteArray::fromStdString(entry.path) + '\0';
    QSaveFile file(QFile::decodeName(QByteArray::fromStdString((m_area / "journal").string())));
    if (!file.open(QIODevice::WriteOnly) || file.write(text) != text.size() || !file.commit())
        throw fs::filesystem_error(file.errorString().toStdString(), m_area / "journal",
                                   std::make_error_code(std::errc::io_error));
}

QVector<FileSwap::Entry> FileSwap::readJournal() const
{
    QVector<Entry> entries;
    QFile file(QFile::decodeName(QByteArray::fromStdString((m_area / "journal").string())));
    if (!file.open(QIODevice::ReadOnly))
        return entries;
    for (const QByteArray &line : file.readAll().split('\0')) {
        if (line.size() > 1)
            entries.append({line.at(0), line.mid(1).toStdString()});
    }
    return entries;
}

} // namespace tarn::services
